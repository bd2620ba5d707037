#pragma once

// What the shells offer at the end of a line.

#include "TallyfinCore/Environment.hpp"

#include <string>
#include <vector>

namespace tallyfin::Command {

/// What the last of the given words may become, one line each: the word, then a tab and its meaning where
/// that is known. A line of a tab and "files" or "folders" asks the shell to offer files or folders; no other
/// line begins with a tab. Names of projects, agents and sessions come from the cache alone, so that the
/// answer is quick; without one there are none. Never fails.
std::string offers(const std::vector<std::string>& given, Environment environment);

}  // namespace tallyfin::Command
