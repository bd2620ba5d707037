#pragma once

// From transcript lines to requests: the one place that knows the fields of a transcript. A line either
// changes one entry of a map or ends in a counter that says why not; nothing stops a scan.

#include "TallyfinCore/Records.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// What a scan saw and lost.
struct ScanDiagnostics {
  std::int64_t filesScanned = 0;              ///< transcripts listed, those that failed included
  std::vector<std::string> filesUnreadable;   ///< paths on which reading failed
  std::uint64_t bytesRead = 0;                ///< bytes of complete lines, over all files read to their end
  std::int64_t usageLinesSeen = 0;            ///< lines that passed the byte test
  std::int64_t linesRejectedInvalidJSON = 0;  ///< of these, not a JSON object
  std::int64_t linesRejectedNoMessage = 0;    ///< without a `message` object
  std::int64_t linesNotUsageBearing = 0;      ///< `message` has no `usage` object: no loss
  std::int64_t linesRejectedNoTimestamp = 0;  ///< no usable `timestamp`
  std::int64_t linesRejectedNoIdentity = 0;   ///< without `message.id` or a request id
  std::int64_t linesSkippedZeroUsage = 0;     ///< usage is all 0: no loss
  std::int64_t longestLineBytes = 0;
  std::string longestLinePath;      ///< the file of that line
  std::int64_t uniqueRequests = 0;  ///< requests after unification
  double duration = 0;              ///< seconds that the scan took
  /// Transcripts listed, by home; a home without a projects folder has no entry.
  std::map<std::string, std::int64_t> perHome;

  /// Lines that were lost: the four counters named "rejected".
  std::int64_t totalRejected() const;

  /// Takes a line of so many bytes into account as the longest, if it is longer than any before.
  void noteLine(std::int64_t bytes, const std::string& path);

  /// Adds another scan's share: counts are summed, unreadable files appended, the longer line kept (this
  /// one's on a tie). `uniqueRequests` and `duration` stay.
  void merge(const ScanDiagnostics& other);
};

/// A Claude home directory.
struct SourceHome {
  std::string name;          ///< the directory's name, such as ".claude"
  std::string projectsPath;  ///< root of the transcripts
  std::string teamsPath;     ///< root of the agent rosters

  SourceHome(const std::string& homeName, const std::string& home);

  /// The four homes below `home`; an earlier one wins the attribution of a request that stands in several.
  static std::vector<SourceHome> defaults(const std::string& home);

  friend bool operator==(const SourceHome&, const SourceHome&) = default;
};

/// What a scan gave.
struct ScanResult {
  std::vector<UsageRecord> records;  ///< in listing order of the files, then order of first appearance
  ScanDiagnostics diagnostics;
};

/// One transcript to read: its path and the name of its home. The position in the listing is its rank.
struct TranscriptFile {
  std::string path;
  InternedText home;
};

namespace Scanner {

/// The transcripts of all homes: first home first, each home's sorted by path. Sets `perHome` in
/// `diagnostics`; a home without a projects folder leaves no entry.
std::vector<TranscriptFile> listing(const std::vector<SourceHome>& homes, ScanDiagnostics& diagnostics);

/// Paths of the transcripts (extension jsonl) below `root`, sorted; absent when there is no such directory.
std::optional<std::vector<std::string>> jsonlFiles(const std::string& root);

/// Feeds one line, without its line feed, into `records` and `diagnostics`. Never fails.
void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, ScanDiagnostics& diagnostics);

/// What a scan gave, its requests by key.
struct KeyedScan {
  RecordMap records;
  ScanDiagnostics diagnostics;
};

/// Reads every transcript from scratch, on all processors when `parallel`. The result does not depend on the
/// number of threads. `clock` times the scan.
KeyedScan scanKeyed(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock);

/// The same as a list.
ScanResult scan(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock);

/// Unifies two copies of a request: the one with the lower rank describes it, `stored` when both are equal;
/// each count is the higher one, the time the earlier.
void unify(UsageRecord& stored, const UsageRecord& incoming);

}  // namespace Scanner
}  // namespace tallyfin
