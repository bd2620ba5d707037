#include "Tallyfin/WithTranscripts.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Progress.hpp"
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tallyfin::Command {
namespace {

std::string homeDirectory(const Environment& environment) {
  return environment.expanded(environment.tallyfinHome).value_or(environment.home);
}

// FNV-1a: the same on every machine and in every version.
std::uint64_t hashOf(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  }
  return hash;
}

std::string folders(const std::vector<SourceHome>& homes) {
  return absl::StrJoin(homes, ", ",
                       [](std::string* out, const SourceHome& home) { out->append(home.projectsPath); });
}

}  // namespace

Environment withOptions(Environment environment, const CallArguments& arguments) {
  const std::optional<std::string> home = arguments.text("home");
  const std::optional<std::string> cache = arguments.text("cache");
  const std::string usual = Files::target(homeDirectory(environment));
  const std::string chosen =
      home ? Files::target(environment.expanded(home).value_or(environment.home)) : usual;
  const bool isOther = chosen != usual;
  if (isOther) {
    // The cache identifies transcripts by path, so all spellings of the home must give the same paths.
    environment.tallyfinHome = chosen;
  }
  if (cache && !cache->empty()) {
    environment.tallyfinCachePath = Files::target(*environment.expanded(cache));
  } else if (isOther) {
    environment.tallyfinCachePath = concat(Files::withoutLastComponent(CacheFile::pathFor(environment)),
                                           absl::StrFormat("/home-%016x.bin", hashOf(chosen)));
  }
  return environment;
}

void requireCacheOrNothing(const Environment& environment, const CallArguments& arguments) {
  if (arguments.text("cache").value_or("").empty()) {
    return;
  }
  if (const std::string path = CacheFile::pathFor(environment); CacheFile::isForeign(path)) {
    throw UsageError(concat("--cache: \"", path, "\" is not a cache; name a cache or a new file"));
  }
}

void requireHome(const Environment& environment) {
  const std::string home = homeDirectory(environment);
  const std::error_code error = Files::listingError(home);
  if (!error || error == std::errc::permission_denied) {
    return;
  }
  const bool isMissing = error == std::errc::no_such_file_or_directory;
  if (!isMissing && error != std::errc::not_a_directory) {
    throw std::system_error(error, concat("cannot open \"", home, "\""));
  }
  throw std::runtime_error(concat("the home directory \"", home, "\" ",
                                  isMissing ? "does not exist" : "is not a directory",
                                  "; looked for transcripts in ", folders(sourceHomes(environment))));
}

void tellUnlisted(const std::vector<Files::UnreadableFolder>& folders, const Console& console) {
  constexpr std::size_t kMostNamed = 10;
  const std::size_t named = std::min(folders.size(), kMostNamed);
  for (std::size_t at = 0; at < named; ++at) {
    tell(concat("\"", folders[at].path,
                "\" could not be listed, so transcripts may be missing: ", folders[at].error.message()),
         console);
  }
  if (named < folders.size()) {
    tell(concat(counted(static_cast<std::int64_t>(folders.size() - named), "more folder", "more folders"),
                " could not be listed"),
         console);
  }
}

void tellUnused(const PriceList& prices, const Console& console) {
  if (prices.problem) {
    tell(concat("own prices are not used: ", prices.file, ": ", *prices.problem), console);
  }
}

int withTranscripts(const Call& call, const std::function<int(DataSource&)>& work) {
  const TimePoint moment = call.environment.now();
  requireHome(call.environment);
  DataSource data(call.environment);
  tellUnused(data.prices(), call.console);
  showingProgress(call, [&](const ReadProgress& progress) {
    data.onProgress(progress);
    data.ensureFresh();
    data.onProgress({});
  });
  data.stopClock(moment);
  const int status = work(data);
  data.finishSaving();
  if (!data.savingError().empty()) {
    tell(concat("the cache could not be written: ", data.savingError()), call.console);
  }
  tellUnlisted(data.diagnostics().foldersUnreadable, call.console);
  if (data.diagnostics().filesScanned == 0) {
    tell(concat("there are no transcripts in ", folders(data.homes())), call.console);
  }
  return status;
}

std::optional<TimePoint> firstRequest(const DataSource& data) {
  const auto first = std::ranges::min_element(data.records(), {}, &UsageRecord::timestamp);
  return first == data.records().end() ? std::nullopt : std::optional(first->timestamp);
}

std::optional<std::string> unreadableNote(const DataSource& data) {
  const auto files = static_cast<std::int64_t>(data.diagnostics().filesUnreadable.size());
  const auto folders = static_cast<std::int64_t>(data.diagnostics().foldersUnreadable.size());
  if (files + folders == 0) {
    return std::nullopt;
  }
  return concat(files > 0 ? concat(counted(files, "file", "files"), " could not be read") : "",
                files > 0 && folders > 0 ? ", " : "",
                folders > 0 ? concat(counted(folders, "folder", "folders"), " could not be listed") : "",
                "; see `tallyfin sources`");
}

}  // namespace tallyfin::Command
