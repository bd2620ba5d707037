#pragma once

// The Claude homes and the transcripts that lie in them.

#include "Platform/Descriptor.hpp"
#include "Platform/InternedText.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin {

/// A Claude home directory.
struct SourceHome {
  std::string name;          ///< the directory's name, such as ".claude"
  std::string projectsPath;  ///< root of the transcripts
  std::string teamsPath;     ///< root of the agent rosters

  /// The home of that name, below the directory `home`.
  SourceHome(const std::string& homeName, const std::string& home);

  /// The four homes below `home`. A request that stands in several homes is attributed to the first of them.
  static std::vector<SourceHome> defaults(const std::string& home);

  friend bool operator==(const SourceHome&, const SourceHome&) = default;
};

/// The four Claude homes, below TALLYFIN_HOME or the user's home. An empty variable counts as unset; a
/// leading tilde is expanded.
std::vector<SourceHome> sourceHomes(const Environment& environment);

/// Why no file may be written at `path`; absent when one may. Nothing is written in the `projects` and
/// `teams` folders of the homes below TALLYFIN_HOME and the user's home, nor through a link that leads there.
std::optional<std::string> whyNotWritable(const std::string& path, const Environment& environment);

/// One transcript to read: its path and the name of its home. The position in the listing is its rank.
struct TranscriptFile {
  std::string path;
  InternedText home;
  std::optional<FileAttributes> attributes = {};  ///< when it was listed; absent when they cannot be had
};

namespace Scanner {

/// The transcripts of all homes: first home first, each home's sorted by path. Sets `perHome` in
/// `diagnostics`, where a home without a projects folder leaves no entry, and adds folders that could not be
/// listed. `threads` may work on it.
std::vector<TranscriptFile> listing(const std::vector<SourceHome>& homes, ScanDiagnostics& diagnostics,
                                    std::size_t threads = 1);

/// Paths of the transcripts (extension jsonl) below `root`, sorted; absent when there is no such directory.
std::optional<std::vector<std::string>> jsonlFiles(const std::string& root);

}  // namespace Scanner
}  // namespace tallyfin
