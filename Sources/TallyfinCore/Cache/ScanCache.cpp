#include "TallyfinCore/Cache/ScanCache.hpp"

#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Transcripts/LineReader.hpp"
#include "TallyfinCore/Transcripts/UnifiedRequests.hpp"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace tallyfin {
namespace {

// Modification times differ when they are further apart than this; file systems round them.
constexpr double kTolerance = 0.001;  // seconds

enum class Change : std::uint8_t { isNew, rewound, unchanged, grown };

Change classify(const FileState* old, const Files::Attributes& now) {
  if (old == nullptr) {
    return Change::isNew;
  }
  if (now.number != old->inode || now.size < old->size || old->mtime - kTolerance > now.modified) {
    return Change::rewound;
  }
  if (now.size == old->size && now.modified <= old->mtime + kTolerance) {
    return Change::unchanged;
  }
  return Change::grown;
}

std::int64_t& counterOf(Change change, RefreshStats& stats) {
  switch (change) {
    case Change::isNew:
      return stats.filesNew;
    case Change::rewound:
      return stats.filesRewound;
    case Change::unchanged:
      return stats.filesUnchanged;
    case Change::grown:
      break;
  }
  return stats.filesGrown;
}

// One refresh at work: what it found so far.
class Refresh {
 public:
  Refresh(ScanDiagnostics& diagnostics, RefreshStats& stats) : diagnostics_(diagnostics), stats_(stats) {}

  // Looks at a file and gives its state now; null when its attributes cannot be had.
  std::shared_ptr<const FileState> look(const TranscriptFile& file, std::int64_t rank,
                                        std::shared_ptr<const FileState> old) {
    const std::optional<Files::Attributes> now = Files::attributes(file.path);
    if (!now) {
      return nullptr;
    }
    const Change change = classify(old.get(), *now);
    ++counterOf(change, stats_);
    if (change == Change::unchanged) {
      account(*old, old->diag, file.path);
      return old;
    }
    return read(file, rank, *now, change == Change::grown ? *old : FileState{});
  }

 private:
  // Reads on from `state`, the empty one for a file that is read from its start.
  std::shared_ptr<const FileState> read(const TranscriptFile& file, std::int64_t rank,
                                        const Files::Attributes& now, FileState state) {
    state.size = now.size;
    state.mtime = now.modified;
    state.inode = now.number;
    ScanDiagnostics part;
    const auto onLine = [&](std::string_view line) {
      Scanner::ingest(line, file.path, file.home, rank, state.records, part);
    };
    FileDiagnostics seen = state.diag;
    try {
      const std::uint64_t end = LineReader::forEachLine(file.path, state.consumed, std::nullopt, onLine);
      stats_.bytesRead += end - state.consumed;
      state.consumed = end;
      seen.add(part);
      state.diag = seen;
    } catch (const ReadError&) {
      // The lines before the failure count in this answer; the counters that are kept stay those of the
      // consumed part, since the next look reads from there again.
      diagnostics_.filesUnreadable.push_back(file.path);
      state.mtime = FileState::readAgain;
      seen.add(part);
    }
    state.records.dropIndex();
    account(state, seen, file.path);
    return std::make_shared<const FileState>(std::move(state));
  }

  void account(const FileState& state, const FileDiagnostics& seen, const std::string& path) {
    diagnostics_.bytesRead += state.consumed;
    seen.apply(diagnostics_, path);
  }

  ScanDiagnostics& diagnostics_;
  RefreshStats& stats_;
};

std::uint64_t bytesOf(const std::vector<TranscriptFile>& files) {
  std::uint64_t bytes = 0;
  for (const TranscriptFile& file : files) {
    const std::optional<Files::Attributes> now = Files::attributes(file.path);
    bytes += now ? now->size : 0;
  }
  return bytes;
}

// All requests of all files as one list, in order of first appearance.
std::vector<UsageRecord> unified(const std::vector<std::shared_ptr<const FileState>>& files) {
  std::size_t copies = 0;
  for (const auto& file : files) {
    copies += file->records.size();
  }
  UnifiedRequests requests;
  requests.reserve(copies);
  for (const auto& file : files) {
    requests.add(file->records);
  }
  return std::move(requests).takeRecords();
}

}  // namespace

void FileDiagnostics::apply(ScanDiagnostics& diagnostics, const std::string& path) const {
  diagnostics.usageLinesSeen = saturatingAdd(diagnostics.usageLinesSeen, usageLines);
  diagnostics.linesNotUsageBearing = saturatingAdd(diagnostics.linesNotUsageBearing, notUsageBearing);
  diagnostics.linesSkippedZeroUsage = saturatingAdd(diagnostics.linesSkippedZeroUsage, skippedZeroUsage);
  diagnostics.linesRejectedInvalidJSON =
      saturatingAdd(diagnostics.linesRejectedInvalidJSON, rejectedInvalidJSON);
  diagnostics.linesRejectedNoMessage = saturatingAdd(diagnostics.linesRejectedNoMessage, rejectedNoMessage);
  diagnostics.linesRejectedNoTimestamp =
      saturatingAdd(diagnostics.linesRejectedNoTimestamp, rejectedNoTimestamp);
  diagnostics.linesRejectedNoIdentity =
      saturatingAdd(diagnostics.linesRejectedNoIdentity, rejectedNoIdentity);
  diagnostics.noteLine(longestLineBytes, path);
}

void FileDiagnostics::add(const ScanDiagnostics& part) {
  usageLines = saturatingAdd(usageLines, part.usageLinesSeen);
  notUsageBearing = saturatingAdd(notUsageBearing, part.linesNotUsageBearing);
  skippedZeroUsage = saturatingAdd(skippedZeroUsage, part.linesSkippedZeroUsage);
  rejectedInvalidJSON = saturatingAdd(rejectedInvalidJSON, part.linesRejectedInvalidJSON);
  rejectedNoMessage = saturatingAdd(rejectedNoMessage, part.linesRejectedNoMessage);
  rejectedNoTimestamp = saturatingAdd(rejectedNoTimestamp, part.linesRejectedNoTimestamp);
  rejectedNoIdentity = saturatingAdd(rejectedNoIdentity, part.linesRejectedNoIdentity);
  longestLineBytes = std::max(longestLineBytes, part.longestLineBytes);
}

Estimate<double> RefreshStats::savedFraction() const {
  if (filesTotal < 1) {
    return UnknownReason::noData();
  }
  return static_cast<double>(filesUnchanged) / static_cast<double>(filesTotal);
}

ScanCache::ScanCache(std::string path) : path_(std::move(path)) {}

std::string ScanCache::defaultPath(const std::string& applicationSupport) {
  const std::string folder = applicationSupport + "/" + folderName;
  Files::createDirectories(folder);  // a failure shows when saving fails
  return folder + "/" + fileName;
}

std::string cacheLocation(const Environment& environment) {
  const std::optional<std::string> given = environment.expanded(environment.tallyfinCachePath);
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

ScanCache::Refreshed ScanCache::refresh(const std::vector<SourceHome>& homes, const Clock& clock,
                                        absl::FunctionRef<void()> looked, const ReadProgress& progress) {
  const TimePoint start = clock();
  Refreshed done;
  ScanDiagnostics& diagnostics = done.result.diagnostics;
  RefreshStats& stats = done.stats;
  const std::vector<TranscriptFile> files = Scanner::listing(homes, diagnostics);

  FileMap old = snapshot();
  stats.fromCache = !old.empty();
  FileMap fresh;
  std::vector<std::shared_ptr<const FileState>> listed;
  listed.reserve(files.size());
  std::int64_t known = 0;
  Refresh refresh(diagnostics, stats);
  const std::uint64_t total = progress ? bytesOf(files) : 0;
  for (std::size_t rank = 0; rank < files.size(); ++rank) {
    std::shared_ptr<const FileState> before;
    if (const auto place = old.find(files[rank].path); place != old.end()) {
      before = std::exchange(place->second, nullptr);  // nothing is left for a home that is given twice
      known += before != nullptr ? 1 : 0;
    }
    if (auto state = refresh.look(files[rank], static_cast<std::int64_t>(rank), std::move(before))) {
      listed.push_back(state);
      fresh.emplace_hint(fresh.end(), files[rank].path, std::move(state));
    }
    if (progress) {
      progress(diagnostics.bytesRead, total);
    }
  }
  stats.filesGone = static_cast<std::int64_t>(old.size()) - known;
  {
    const std::lock_guard guard(lock_);
    files_ = std::move(fresh);
  }
  looked();

  done.result.records = unified(listed);
  diagnostics.filesScanned = stats.filesTotal = static_cast<std::int64_t>(files.size());
  diagnostics.uniqueRequests = static_cast<std::int64_t>(done.result.records.size());
  diagnostics.duration = stats.duration = std::max(0.0, clock().seconds - start.seconds);
  return done;
}

void ScanCache::clear() {
  const std::lock_guard guard(lock_);
  files_.clear();
  lastVerification_.reset();
  Files::removeFile(path_);
}

std::vector<FileProvenance> ScanCache::recordsPerFile() const {
  std::vector<FileProvenance> files;
  for (const auto& [path, state] : snapshot()) {
    files.push_back({path, state});
  }
  return files;
}

bool ScanCache::InPathOrder::operator()(const std::string& left, const std::string& right) const {
  return Text::isBefore(left, right);
}

ScanCache::FileMap ScanCache::snapshot() const {
  const std::lock_guard guard(lock_);
  return files_;
}

}  // namespace tallyfin
