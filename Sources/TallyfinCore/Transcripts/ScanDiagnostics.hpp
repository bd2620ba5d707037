#pragma once

// What a scan saw and lost: every line that could not be used ends in one of these counters.

#include "Platform/Files.hpp"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// What became of lines, of one file or of all.
struct LineCounters {
  std::int64_t usageLinesSeen = 0;            ///< lines that passed the byte test
  std::int64_t linesNotUsageBearing = 0;      ///< of these, `message` has no `usage` object: no loss
  std::int64_t linesRejectedInvalidJSON = 0;  ///< not a JSON object
  std::int64_t linesRejectedNoMessage = 0;    ///< without a `message` object
  std::int64_t linesRejectedNoTimestamp = 0;  ///< no usable `timestamp`
  std::int64_t linesRejectedNoIdentity = 0;   ///< without `message.id` or a request id
  std::int64_t linesSkippedZeroUsage = 0;     ///< usage is all 0: no loss
  std::int64_t longestLineBytes = 0;          ///< the length of the longest line

  /// Lines that were lost. Counters from a damaged cache file may have any value: a sum that would overflow
  /// becomes the largest or smallest value.
  std::int64_t totalRejected() const;

  /// Sums the counters, and keeps the longer line.
  void add(const LineCounters& other);

  friend bool operator==(const LineCounters&, const LineCounters&) = default;
};

/// The counters of one transcript.
using FileDiagnostics = LineCounters;

/// How a counter of lines is named where it is shown.
struct LineCounter {
  std::int64_t LineCounters::*member;
  bool isLoss;             ///< its lines are missing from the figures
  std::string_view label;  ///< in tally_provenance
  std::string_view item;   ///< in the provenance document
  std::string_view note;   ///< beside `item`; may be empty
};

/// All counters of lines. Whoever sums, stores or shows them walks this list.
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

/// What a scan saw and lost.
struct ScanDiagnostics : LineCounters {
  std::int64_t filesScanned = 0;             ///< transcripts listed, those that failed included
  std::vector<std::string> filesUnreadable;  ///< paths on which reading failed
  /// Folders that could not be listed to their end: transcripts below them may be missing from all figures.
  std::vector<Files::UnreadableFolder> foldersUnreadable;
  std::uint64_t bytesRead = 0;      ///< bytes of complete lines, over all files read to their end
  std::string longestLinePath;      ///< the file of the longest line
  std::int64_t uniqueRequests = 0;  ///< requests after unification
  double duration = 0;              ///< seconds that the scan took
  /// Transcripts listed, by home; a home without a projects folder has no entry.
  std::map<std::string, std::int64_t> perHome;

  /// Adds the counters of a file; the longest line, with `path`, only when it is longer than any before.
  void add(const FileDiagnostics& file, const std::string& path);

  /// Adds another scan's share: counts are summed, unreadable files and folders appended, the longer line
  /// kept (this one's on a tie). `uniqueRequests` and `duration` stay.
  void merge(const ScanDiagnostics& other);
};

}  // namespace tallyfin
