#include "TallyfinCore/Transcripts/Homes.hpp"

#include "Platform/Files.hpp"

#include <utility>

namespace tallyfin {

SourceHome::SourceHome(const std::string& homeName, const std::string& home)
    : name(homeName),
      projectsPath(home + "/" + homeName + "/projects"),
      teamsPath(home + "/" + homeName + "/teams") {}

std::vector<SourceHome> SourceHome::defaults(const std::string& home) {
  return {{".claude", home}, {".claude-work", home}, {".claude-outlook", home}, {".claude-yahoo", home}};
}

std::vector<SourceHome> sourceHomes(const Environment& environment) {
  return SourceHome::defaults(environment.expanded(environment.tallyfinHome).value_or(environment.home));
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

}  // namespace Scanner
}  // namespace tallyfin
