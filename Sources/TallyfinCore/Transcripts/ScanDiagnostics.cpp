#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include "Platform/Numbers.hpp"

#include <algorithm>

namespace tallyfin {

std::int64_t LineCounters::totalRejected() const {
  std::int64_t sum = 0;
  for (const LineCounter& counter : lineCounters) {
    sum = counter.isLoss ? saturatingAdd(sum, this->*counter.member) : sum;
  }
  return sum;
}

void LineCounters::add(const LineCounters& other) {
  for (const LineCounter& counter : lineCounters) {
    this->*counter.member = saturatingAdd(this->*counter.member, other.*counter.member);
  }
  longestLineBytes = std::max(longestLineBytes, other.longestLineBytes);
}

void ScanDiagnostics::add(const FileDiagnostics& file, const std::string& path) {
  if (file.longestLineBytes > longestLineBytes) {
    longestLinePath = path;
  }
  LineCounters::add(file);
}

void ScanDiagnostics::merge(const ScanDiagnostics& other) {
  add(other, other.longestLinePath);
  filesScanned += other.filesScanned;
  filesUnreadable.insert(filesUnreadable.end(), other.filesUnreadable.begin(), other.filesUnreadable.end());
  foldersUnreadable.insert(foldersUnreadable.end(), other.foldersUnreadable.begin(),
                           other.foldersUnreadable.end());
  bytesRead += other.bytesRead;
  for (const auto& [home, files] : other.perHome) {
    perHome[home] += files;
  }
}

}  // namespace tallyfin
