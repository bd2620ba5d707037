#pragma once

// What a scan saw and lost: every line that could not be used ends in one of these counters.

#include <cstdint>
#include <map>
#include <string>
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

}  // namespace tallyfin
