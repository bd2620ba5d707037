#include "TallyfinMCP/DataSource.hpp"

#include <exception>
#include <utility>

namespace tallyfin {
DataSource::DataSource(Environment environment)
    : environment_(std::move(environment)),
      homes_(sourceHomes(environment_)),
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
  records_ = {};  // before their successors are made, so that the memory serves these
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
