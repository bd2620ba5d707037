#include "TallyfinMCP/DataSource.hpp"

#include "Platform/Files.hpp"

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tallyfin {
namespace {

/// The value of an environment variable with its tilde expanded; an empty one counts as unset.
std::optional<std::string> expanded(const std::optional<std::string>& value, const std::string& home) {
  if (!value || value->empty()) {
    return std::nullopt;
  }
  return Files::expandingTilde(*value, home);
}

/// Where the cache file lies. The folder of a given path is made here; when that fails the path is used all
/// the same and the server works from memory.
std::string cacheLocation(const Environment& environment) {
  const std::optional<std::string> given = expanded(environment.tallyfinCachePath, environment.home);
  if (!given) {
    return ScanCache::defaultPath(Files::applicationSupportDirectory(environment.home));
  }
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(*given, error);
  std::string path = error ? *given : absolute.string();
  if (const std::string_view folder = Files::withoutLastComponent(path); !folder.empty()) {
    Files::createDirectories(std::string(folder));
  }
  return path;
}

}  // namespace

DataSource::DataSource(Environment environment)
    : environment_(std::move(environment)),
      homes_(SourceHome::defaults(
          expanded(environment_.tallyfinHome, environment_.home).value_or(environment_.home))),
      cache_(cacheLocation(environment_)),
      resolver_(environment_.home, true),
      aggregator_(environment_.calendar, ProjectResolver(environment_.home, true)) {}

const RefreshStats& DataSource::ensureFresh() {
  // A clock that was set back gives a negative age: no refresh until it has caught up.
  if (lastRefresh_ && refreshStats_ && now().seconds - lastRefresh_->seconds < freshnessWindow) {
    return *refreshStats_;
  }
  if (!lastRefresh_) {
    cache_.load();
  }
  ScanCache::Refreshed refreshed = cache_.refresh(homes_, environment_.now);
  try {
    cache_.save();
  } catch (const std::exception&) {  // the answer is in memory; the next refresh tries again
  }
  records_ = std::move(refreshed.result.records);
  diagnostics_ = std::move(refreshed.result.diagnostics);
  refreshStats_ = refreshed.stats;
  lastRefresh_ = now();
  if (!rosterLoaded_) {
    roster_.load(homes_);
    rosterLoaded_ = true;
  }
  return *refreshStats_;
}

Report DataSource::report(const Period& period, const Filter& filter, std::optional<bool> includeHours) {
  ensureFresh();
  return aggregator_.aggregate(records_, period.from, period.through, diagnostics_,
                               includeHours.value_or(period.isSingleDay), filter);
}

AgentsByKey DataSource::agentsBy(Aggregator::Grouping grouping, const Period& period,
                                 const Filter& filter) const {
  return aggregator_.agentsBy(grouping, records_, period.from, period.through, filter);
}

}  // namespace tallyfin
