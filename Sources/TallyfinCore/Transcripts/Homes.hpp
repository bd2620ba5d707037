#pragma once

// Finds the Claude homes and the transcripts in them.

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

  /// The home named `homeName` in the directory `home`.
  SourceHome(const std::string& homeName, const std::string& home);

  /// The four homes in the directory `home`. A request that occurs in several homes is attributed to the
  /// first of them.
  static std::vector<SourceHome> defaults(const std::string& home);

  friend bool operator==(const SourceHome&, const SourceHome&) = default;
};

/// The four Claude homes in TALLYFIN_HOME or, if that is unset or empty, in the user's home. A leading tilde
/// is expanded.
std::vector<SourceHome> sourceHomes(const Environment& environment);

/// Why no file may be written at `path`; absent if one may. The `projects` and `teams` folders of the homes
/// in TALLYFIN_HOME and in the user's home are read only, also through links.
std::optional<std::string> whyNotWritable(const std::string& path, const Environment& environment);

/// A transcript to read. Its position in the listing is its rank.
struct TranscriptFile {
  std::string path;
  InternedText home;
  std::optional<FileAttributes> attributes = {};  ///< at the time of listing; absent if they cannot be read
};

namespace Scanner {

/// The transcripts of all homes, in the order of the homes and sorted by path within each. Sets `perHome` in
/// `diagnostics`, without entries for homes that have no projects folder, and adds folders that could not be
/// listed. Uses up to `threads` threads.
std::vector<TranscriptFile> listing(const std::vector<SourceHome>& homes, ScanDiagnostics& diagnostics,
                                    std::size_t threads = 1);

/// Paths of the transcripts (extension jsonl) below `root`, sorted; absent if `root` is not a directory.
std::optional<std::vector<std::string>> jsonlFiles(const std::string& root);

}  // namespace Scanner
}  // namespace tallyfin
