#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include "Platform/Numbers.hpp"

namespace tallyfin {

std::int64_t ScanDiagnostics::totalRejected() const {
  // Counters that came from a damaged cache file may have any value.
  return saturatingAdd(saturatingAdd(linesRejectedInvalidJSON, linesRejectedNoMessage),
                       saturatingAdd(linesRejectedNoTimestamp, linesRejectedNoIdentity));
}

void ScanDiagnostics::noteLine(std::int64_t bytes, const std::string& path) {
  if (bytes > longestLineBytes) {
    longestLineBytes = bytes;
    longestLinePath = path;
  }
}

void ScanDiagnostics::merge(const ScanDiagnostics& other) {
  filesScanned += other.filesScanned;
  filesUnreadable.insert(filesUnreadable.end(), other.filesUnreadable.begin(), other.filesUnreadable.end());
  bytesRead += other.bytesRead;
  usageLinesSeen += other.usageLinesSeen;
  linesRejectedInvalidJSON += other.linesRejectedInvalidJSON;
  linesRejectedNoMessage += other.linesRejectedNoMessage;
  linesNotUsageBearing += other.linesNotUsageBearing;
  linesRejectedNoTimestamp += other.linesRejectedNoTimestamp;
  linesRejectedNoIdentity += other.linesRejectedNoIdentity;
  linesSkippedZeroUsage += other.linesSkippedZeroUsage;
  noteLine(other.longestLineBytes, other.longestLinePath);
  for (const auto& [home, files] : other.perHome) {
    perHome[home] += files;
  }
}

}  // namespace tallyfin
