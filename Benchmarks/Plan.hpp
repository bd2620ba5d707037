#pragma once

// The plan of a corpus, made before anything is written: projects, sessions, their transcripts with size and
// time, and the agents that make requests.

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

/// The options of a corpus.
struct Options {
  std::string out;                ///< the directory used as a user's home; created
  std::uint64_t seed = 1;         ///< equal seeds and other options give equal bytes
  std::uint64_t bytes = 0;        ///< approximate total size of all transcripts
  Milliseconds now = 0;           ///< no line is later; the last session is still active at this time
  std::int64_t days = 30;         ///< how many days before `now` the sessions begin
  std::string sources;            ///< the parent of the projects' working directories
  bool makeRepositories = false;  ///< also create the working directories, with a ".git" in each project
};

/// One transcript file, written by the main session or by one agent.
struct Transcript {
  std::uint64_t seed = 0;
  std::uint64_t bytes = 0;               ///< approximate size
  Milliseconds start = 0;                ///< time of the first line
  Milliseconds end = 0;                  ///< no line is later
  std::string agentId;                   ///< empty in a main session
  std::string agentName;                 ///< empty unless the agent is named
  std::string_view model;                ///< the model of most requests
  bool isOldFormat = false;              ///< usage does not split the cache write
  std::vector<std::string> directories;  ///< working directories, starting with the initial one
};

struct Session {
  std::string id;
  std::size_t home = 0;
  std::string branch;
  bool isRostered = false;               ///< a roster lists its named agents
  std::optional<std::size_t> continued;  ///< earlier session whose first lines its transcript repeats
  std::uint64_t repeatedBytes = 0;       ///< approximate size of those lines
  Transcript main;
  std::vector<Transcript> agents;
};

struct Project {
  std::string root;
  std::size_t home = 0;
  std::vector<std::string> subdirectories;  ///< absolute paths
  std::vector<std::string> worktrees;       ///< absolute paths
};

struct Plan {
  std::vector<Project> projects;
  std::vector<Session> sessions;  ///< sorted by end, oldest first
};

Plan makePlan(const Options& options);

/// Appends `digits` lower-case hexadecimal digits.
void appendHex(std::string& out, std::uint64_t digits, Random& random);

/// Appends a version 4 UUID.
void appendUuid(std::string& out, Random& random);

}  // namespace tallyfin::corpus
