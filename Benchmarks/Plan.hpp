#pragma once

// What a corpus is to hold, decided before the first byte is written: projects, sessions, their transcripts
// with size and time, and who spent what.

#include "Random.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::corpus {

/// Milliseconds since 1970-01-01T00:00:00 UTC.
using Milliseconds = std::int64_t;

inline constexpr std::array<std::string_view, 2> homeNames = {".claude", ".claude-work"};

/// What the corpus should be like.
struct Options {
  std::string out;                ///< the directory that stands in for a user's home; made new
  std::uint64_t seed = 1;         ///< equal seeds (and equal other options) give equal bytes
  std::uint64_t bytes = 0;        ///< about how large all transcripts together become
  Milliseconds now = 0;           ///< nothing is later; the last session is still at work then
  std::int64_t days = 30;         ///< how far back from `now` the sessions reach
  std::string sources;            ///< the directory that holds the projects' working directories
  bool makeRepositories = false;  ///< make the working directories too, with a ".git" in each project
};

/// One transcript file: what one agent, or the main session, wrote.
struct Transcript {
  std::uint64_t seed = 0;
  std::uint64_t bytes = 0;               ///< about how large it becomes
  Milliseconds start = 0;                ///< time of the first line
  Milliseconds end = 0;                  ///< no line is later
  std::string agentId;                   ///< empty in a main session
  std::string agentName;                 ///< of a named agent
  std::string_view model;                ///< what most of its requests run on
  bool isOldFormat = false;              ///< usage without the split of the cache write
  std::vector<std::string> directories;  ///< working directories, the one it began in first
};

struct Session {
  std::string id;
  std::size_t home = 0;
  std::string branch;
  bool isRostered = false;               ///< a roster names its named agents
  std::optional<std::size_t> continued;  ///< the earlier session whose beginning its transcript repeats
  std::uint64_t repeatedBytes = 0;       ///< how much of that
  Transcript main;
  std::vector<Transcript> agents;
};

struct Project {
  std::string root;
  std::size_t home = 0;
  std::vector<std::string> subdirectories;  ///< full paths
  std::vector<std::string> worktrees;       ///< full paths
};

struct Plan {
  std::vector<Project> projects;
  std::vector<Session> sessions;  ///< by their end, the oldest first
};

Plan makePlan(const Options& options);

/// Appends `digits` lower-case hexadecimal digits.
void appendHex(std::string& out, std::uint64_t digits, Random& random);

/// Appends a version 4 UUID.
void appendUuid(std::string& out, Random& random);

}  // namespace tallyfin::corpus
