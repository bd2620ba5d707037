#pragma once

// The command `tallyfin`: the server's answers, tables and documents of the same figures, and checks, for
// people and scripts. Nothing here asks the process for anything; `main` hands in all of it.

#include "Tallyfin/Console.hpp"
#include "TallyfinCore/Environment.hpp"

#include <string>
#include <vector>

namespace tallyfin::Command {

/// Exit statuses.
inline constexpr int done = 0;
inline constexpr int failed = 1;      ///< the work failed, or `verify` found a divergence
inline constexpr int wrongUsage = 2;  ///< nothing was done
inline constexpr int overBudget = 3;
inline constexpr int unknownBudget = 4;  ///< requests without a price: within the budget, or not

/// Runs the command with its arguments, without its own name; gives the exit status.
int run(const std::vector<std::string>& arguments, Environment environment, const Console& console);

}  // namespace tallyfin::Command
