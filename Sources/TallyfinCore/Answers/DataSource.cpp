#include "TallyfinCore/Answers/DataSource.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Memory.hpp"
#include "Platform/Parallel.hpp"
#include "TallyfinCore/Cache/CacheFile.hpp"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

namespace tallyfin {
namespace {

// Whether a refresh has probably freed much memory: it dropped files, or read more than 16 MiB.
bool leavesMemory(const RefreshStats& stats) {
  constexpr std::uint64_t kMuch = std::uint64_t{16} << 20;  // bytes
  return stats.filesGone > 0 || stats.filesRewound > 0 || stats.bytesRead > kMuch;
}

}  // namespace

DataSource::DataSource(Environment environment)
    : environment_(std::move(environment)),
      homes_(sourceHomes(environment_)),
      cache_(CacheFile::pathFor(environment_)),
      aggregator_(environment_.calendar, ProjectResolver(environment_.home, true),
                  PriceList::of(environment_)),
      savingError_(whyNotWritable(cache_.cachePath(), environment_).value_or("")),
      usesCache_(savingError_.empty()) {
  if (usesCache_) {
    CacheFile::makeFolderOf(cache_.cachePath());
  }
}

const RefreshStats& DataSource::ensureFresh() {
  // A clock set back gives a negative age: no refresh until the clock has caught up.
  if (lastRefresh_ && refreshStats_ && now().seconds - lastRefresh_->seconds < kFreshnessWindow) {
    return *refreshStats_;
  }
  finishSaving();
  refreshStats_.reset();  // if memory runs out during this refresh, the next call refreshes again
  kinds_.reset();
  records_ = {};  // freed early, so that the new records can use the memory
  std::future<AgentRoster> roster;
  if (!rosterLoaded_) {
    roster = std::async(onTheSide(), [this] {
      AgentRoster loaded;
      loaded.load(homes_);
      return loaded;
    });
  }
  ScanCache::Refreshed refreshed = cache_.refresh(homes_, environment_.now,
                                                  {.loadsFirst = !lastRefresh_ && usesCache_,
                                                   .onRead = [this] { startSaving(); },
                                                   .progress = progress_});
  if (roster.valid()) {
    roster_ = roster.get();
    rosterLoaded_ = true;
  }
  records_ = std::move(refreshed.result.records);
  diagnostics_ = std::move(refreshed.result.diagnostics);
  refreshStats_ = refreshed.stats;
  lastRefresh_ = now();
  return *refreshStats_;
}

// Saves on another thread, because half of a save is waiting for the disk; on the calling thread, an answer
// with a save takes 9 % longer. If the system cannot start a thread, `finishSaving` does the work.
void DataSource::startSaving() {
  saving_ = std::async(onTheSide(), [this] {
    try {
      if (usesCache_) {
        cache_.save();
        savingError_.clear();
      }
    } catch (const std::exception& error) {  // the answer is in memory; the next refresh saves again
      savingError_ = error.what();
    }
  });
}

void DataSource::finishSaving() {
  if (!saving_.valid()) {
    return;
  }
  const bool wasWaitedFor = saving_.wait_for(std::chrono::seconds(0)) != std::future_status::ready;
  saving_.get();
  if (wasWaitedFor && lastRefresh_) {
    // The wait counts as part of the refresh: otherwise, with a slow disk, every call would refresh and save.
    lastRefresh_ = now();
  }
  if (!refreshStats_ || leavesMemory(*refreshStats_)) {
    giveBackMemory();
  }
}

Report DataSource::report(const Period& period, const RecordFilter& filter,
                          std::optional<ReportParts> parts) {
  ensureFresh();
  const ReportParts wanted = parts.value_or(period.isSingleDay);
  return aggregator_.aggregate(records_, period.from, period.through, diagnostics_, wanted, filter,
                               wanted.kinds ? &kinds() : nullptr);
}

std::vector<FileProvenance> DataSource::filesInOrder() const {
  std::vector<FileProvenance> files = cache_.recordsPerFile();  // sorted by path
  auto next = files.begin();
  for (const SourceHome& home : homes_) {
    const std::string folder = concat(home.projectsPath, "/");
    next = std::stable_partition(next, files.end(),
                                 [&](const FileProvenance& file) { return file.path.starts_with(folder); });
  }
  return files;
}

AgentKinds& DataSource::kinds() {
  if (!kinds_) {
    kinds_.emplace(transcriptsOfAgents(filesInOrder()));
  }
  return *kinds_;
}

}  // namespace tallyfin
