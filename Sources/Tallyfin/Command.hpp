#pragma once

// The command `tallyfin`: the server's answers, tables and documents of the same figures, and checks, for
// people and scripts. Nothing here asks the process for its clock, environment or streams; `main` passes all
// of them in.

#include "Tallyfin/Console.hpp"
#include "TallyfinCore/Environment.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// Exit statuses.
inline constexpr int done = 0;
inline constexpr int failed = 1;      ///< the work failed, or `verify` found a divergence
inline constexpr int wrongUsage = 2;  ///< nothing was done
inline constexpr int overBudget = 3;  ///< the budget is exceeded
/// Whether the budget holds is not known, since requests have no price or something could not be read.
inline constexpr int unknownBudget = 4;

/// The models without a price, or with an own one, that a sentence of the command names; it counts the
/// others.
inline constexpr std::size_t mostNames = 20;

/// Runs the command with its arguments, without its own name; gives the exit status.
int run(const std::vector<std::string>& arguments, Environment environment, const Console& console);

}  // namespace tallyfin::Command
