#pragma once

// Completion of command lines in shells.

#include "TallyfinCore/Environment.hpp"

#include <string>
#include <vector>

namespace tallyfin::Command {

/// The possible completions of the last word in `given`, one per line: the word, then a tab and its meaning
/// if there is one. A line of a tab and "files" or "folders" tells the shell to complete files or folders; no
/// other line starts with a tab. Names of projects, agents and sessions come only from the cache, to answer
/// quickly; without a cache no names are offered. Never fails.
std::string offers(const std::vector<std::string>& given, Environment environment);

}  // namespace tallyfin::Command
