#pragma once

// Counts what a scan read and lost. Every line that cannot be used increments one of these counters.

#include "Platform/Files.hpp"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// Counts of the lines of one file or of all files.
struct LineCounters {
  std::int64_t usageLinesSeen = 0;            ///< lines that contain the bytes of the key "usage"
  std::int64_t linesNotUsageBearing = 0;      ///< of these, `message` has no `usage` object: no loss
  std::int64_t linesRejectedInvalidJSON = 0;  ///< not a JSON object
  std::int64_t linesRejectedNoMessage = 0;    ///< no `message` object
  std::int64_t linesRejectedNoTimestamp = 0;  ///< no usable `timestamp`
  std::int64_t linesRejectedNoIdentity = 0;   ///< no `message.id` or no request id
  std::int64_t linesSkippedZeroUsage = 0;     ///< all usage counts are 0; not a loss
  std::int64_t longestLineBytes = 0;          ///< length of the longest line

  /// The number of lines lost. Counters from a damaged cache file may have any value, so the sum saturates at
  /// the smallest and largest values.
  std::int64_t totalRejected() const;

  /// Adds the counters. `longestLineBytes` becomes the larger of both.
  void add(const LineCounters& other);

  friend bool operator==(const LineCounters&, const LineCounters&) = default;
};

/// The counters of one transcript.
using FileDiagnostics = LineCounters;

/// The names under which a counter is shown.
struct LineCounter {
  std::int64_t LineCounters::*member;
  bool isLoss;             ///< its lines are missing from the figures
  std::string_view label;  ///< name in tally_provenance
  std::string_view item;   ///< name in the provenance document
  std::string_view note;   ///< remark beside `item`; may be empty
};

/// All counters of lines. Code that sums, stores or shows counters iterates over this list.
inline constexpr std::array<LineCounter, 7> lineCounters = {{
    {&LineCounters::usageLinesSeen, false, "usage lines seen", "usage_lines_seen", ""},
    {&LineCounters::linesNotUsageBearing, false, "lines without usage", "lines_not_usage_bearing",
     "normal, not a failure: the word usage appeared inside a tool result"},
    {&LineCounters::linesRejectedInvalidJSON, true, "rejected: invalid JSON", "lines_rejected_invalid_json",
     "these lines carried usage and could not be parsed; their cost is missing from the figure"},
    {&LineCounters::linesRejectedNoMessage, true, "rejected: no `message`", "lines_rejected_no_message",
     "usage present but no message object to attach it to"},
    {&LineCounters::linesRejectedNoTimestamp, true, "rejected: no timestamp", "lines_rejected_no_timestamp",
     "no timestamp, so the request could not be placed in any period"},
    {&LineCounters::linesRejectedNoIdentity, true, "rejected: no identity", "lines_rejected_no_identity",
     "no message.id or requestId, so the request could not be unified"},
    {&LineCounters::linesSkippedZeroUsage, false, "skipped: usage all zero", "lines_skipped_zero_usage",
     "normal: a usage block with nothing in it"},
}};

/// Everything that a scan counted.
struct ScanDiagnostics : LineCounters {
  std::int64_t filesScanned = 0;             ///< transcripts listed, including those that failed
  std::vector<std::string> filesUnreadable;  ///< paths of files that could not be read
  /// Folders that could not be listed completely. Transcripts below them may be missing from all figures.
  std::vector<Files::UnreadableFolder> foldersUnreadable;
  std::uint64_t bytesRead = 0;      ///< bytes of complete lines in all files that were read to their end
  std::string longestLinePath;      ///< the file of the longest line
  std::int64_t uniqueRequests = 0;  ///< requests after unification
  double duration = 0;              ///< seconds
  /// Number of transcripts listed, by home. Homes without a projects folder have no entry.
  std::map<std::string, std::int64_t> perHome;

  /// Adds the counters of the file at `path`. Replaces the longest line only by a longer one.
  void add(const FileDiagnostics& file, const std::string& path);

  /// Adds the results of another scan: sums the counts, appends unreadable files and folders, and keeps the
  /// longer line (on a tie, this one's). Does not change `uniqueRequests` and `duration`.
  void merge(const ScanDiagnostics& other);
};

}  // namespace tallyfin
