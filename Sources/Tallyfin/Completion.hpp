#pragma once

// What the shells offer at the end of a line.

#include "TallyfinCore/Environment.hpp"

#include <string>
#include <vector>

namespace tallyfin::Command {

/// What may stand for the last of the words that are given, one line each: the word, and behind a tab what it
/// means where that is known. ":files" and ":folders" stand for those of the shell. Names of projects, agents
/// and sessions come from the cache alone, so that the answer is quick; without one there are none. Never
/// fails.
std::string offers(const std::vector<std::string>& given, Environment environment);

}  // namespace tallyfin::Command
