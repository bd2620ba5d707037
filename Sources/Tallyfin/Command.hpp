#pragma once

// The command `tallyfin`: the core's exports and checks for people and scripts, and an example of a host that
// embeds the core. Nothing here asks the process for anything.

#include "TallyfinCore/Environment.hpp"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Command {

/// Exit statuses.
inline constexpr int done = 0;        ///< for `verify`: clean
inline constexpr int failed = 1;      ///< the work failed, or `verify` found a divergence
inline constexpr int wrongUsage = 2;  ///< nothing was done

/// Where the command writes.
struct Console {
  std::function<bool(std::string_view)> document;  ///< standard output; false when nobody takes it
  std::function<void(std::string_view)> message;   ///< standard error
  bool isTerminal = false;                         ///< whether a person watches standard error
};

/// Runs the command with its arguments, without its own name; gives the exit status.
int run(const std::vector<std::string>& arguments, Environment environment, const Console& console);

}  // namespace tallyfin::Command
