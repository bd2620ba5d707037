#include "TallyfinCore/Scanner.hpp"

#include "Platform/Files.hpp"

#include <utility>

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

SourceHome::SourceHome(const std::string& homeName, const std::string& home)
    : name(homeName),
      projectsPath(home + "/" + homeName + "/projects"),
      teamsPath(home + "/" + homeName + "/teams") {}

std::vector<SourceHome> SourceHome::defaults(const std::string& home) {
  return {{".claude", home}, {".claude-work", home}, {".claude-outlook", home}, {".claude-yahoo", home}};
}

namespace Scanner {

std::optional<std::vector<std::string>> jsonlFiles(const std::string& root) {
  return Files::filesBelow(root, "jsonl");
}

std::vector<TranscriptFile> listing(const std::vector<SourceHome>& homes, ScanDiagnostics& diagnostics) {
  std::vector<TranscriptFile> files;
  for (const SourceHome& home : homes) {
    std::optional<std::vector<std::string>> paths = jsonlFiles(home.projectsPath);
    if (!paths) {
      continue;
    }
    diagnostics.perHome[home.name] = static_cast<std::int64_t>(paths->size());
    for (std::string& path : *paths) {
      files.push_back({std::move(path), InternedText(home.name)});
    }
  }
  return files;
}

void unify(UsageRecord& stored, const UsageRecord& incoming) {
  if (incoming.sourceRank < stored.sourceRank) {
    UsageRecord winner = incoming;
    winner.raiseTo(stored);
    stored = winner;
  } else {
    stored.raiseTo(incoming);
  }
}

}  // namespace Scanner
}  // namespace tallyfin
