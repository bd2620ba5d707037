#include "TallyfinCore/Transcripts/Homes.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
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

std::optional<std::string> whyNotWritable(const std::string& path, const Environment& environment) {
  std::vector<SourceHome> homes = sourceHomes(environment);
  if (environment.tallyfinHome) {
    std::ranges::move(SourceHome::defaults(environment.home), std::back_inserter(homes));
  }
  std::vector<std::string> folders;
  for (const SourceHome& home : homes) {
    folders.insert(folders.end(), {home.projectsPath, home.teamsPath});
  }
  if (!Files::isWithin(path, folders)) {
    return std::nullopt;
  }
  return concat("\"", path, "\" lies in a folder of transcripts or rosters, where nothing is written");
}

namespace Scanner {
namespace {

constexpr std::string_view kExtension = "jsonl";

}  // namespace

std::optional<std::vector<std::string>> jsonlFiles(const std::string& root) {
  const auto files = Files::filesBelow(root, kExtension);
  if (!files) {
    return std::nullopt;
  }
  std::vector<std::string> paths(files->size());
  std::ranges::transform(*files, paths.begin(), &Files::FoundFile::path);
  return paths;
}

std::vector<TranscriptFile> listing(const std::vector<SourceHome>& homes, ScanDiagnostics& diagnostics,
                                    std::size_t threads) {
  std::vector<TranscriptFile> listed;
  for (const SourceHome& home : homes) {
    std::optional<std::vector<Files::FoundFile>> files =
        Files::filesBelow(home.projectsPath, kExtension, threads, &diagnostics.foldersUnreadable);
    if (!files) {
      continue;
    }
    diagnostics.perHome[home.name] = static_cast<std::int64_t>(files->size());
    for (Files::FoundFile& file : *files) {
      listed.push_back({std::move(file.path), InternedText(home.name), file.attributes});
    }
  }
  return listed;
}

}  // namespace Scanner
}  // namespace tallyfin
