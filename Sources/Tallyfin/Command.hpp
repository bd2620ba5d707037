#pragma once

// The command `tallyfin`: prints the server's answers, and tables, documents and checks based on the same
// figures, for people and scripts. Nothing here reads the clock, environment or streams of the process;
// `main` passes them in.

#include "Tallyfin/Console.hpp"
#include "TallyfinCore/Environment.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// Exit statuses.
inline constexpr int done = 0;
inline constexpr int failed = 1;      ///< the work failed, or `verify` found a difference
inline constexpr int wrongUsage = 2;  ///< nothing was done
inline constexpr int overBudget = 3;  ///< the budget is exceeded
/// It is unknown whether the budget is exceeded, because requests have no price or something could not be
/// read.
inline constexpr int unknownBudget = 4;

/// A sentence of the command names at most this many models without a price, or with an own price, and counts
/// the others.
inline constexpr std::size_t mostNames = 20;

/// Runs the command; `arguments` does not contain the program's name. Returns the exit status.
int run(const std::vector<std::string>& arguments, Environment environment, const Console& console);

}  // namespace tallyfin::Command
