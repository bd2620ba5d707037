#include "TallyfinCore/Cache/ScanCache.hpp"

#include "Platform/Files.hpp"
#include "Platform/Parallel.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "TallyfinCore/Transcripts/UnifiedRequests.hpp"

#include <algorithm>
#include <cstddef>
#include <future>
#include <optional>
#include <system_error>
#include <utility>

namespace tallyfin {
namespace {

// For each FileChange, the member that counts the files with this change. The index is the enumerator.
constexpr std::int64_t RefreshStats::*kFilesByChange[] = {
    &RefreshStats::filesNew, &RefreshStats::filesRewound, &RefreshStats::filesUnchanged,
    &RefreshStats::filesGrown};

// Sets `before` of each reading to the state of the same file in `known`. Returns how many files in `known`
// are listed. Readings and `known` are mostly in the same order. So the function first looks for a file at
// the position after the previous file, and does a binary search only if the file is not there. If a file is
// listed twice, only its first reading gets the state.
std::int64_t matchKnown(std::vector<FileReading>& readings, const std::vector<FileProvenance>& known) {
  std::vector<bool> isTaken(known.size(), false);
  std::int64_t found = 0;
  std::size_t at = 0;
  for (FileReading& reading : readings) {
    const std::string& path = reading.file->path;
    if (at == known.size() || known[at].path != path) {
      const auto position = std::ranges::lower_bound(known, path, Text::isBefore, &FileProvenance::path);
      at = static_cast<std::size_t>(position - known.begin());
    }
    if (at < known.size() && known[at].path == path) {
      if (!isTaken[at]) {
        isTaken[at] = true;
        reading.before = known[at].state;
        ++found;
      }
      ++at;
    }
  }
  return found;
}

// The files with their states after the refresh, sorted by path. If a file is listed twice, the state of its
// first reading is used.
std::shared_ptr<const std::vector<FileProvenance>> filesOf(const std::vector<FileReading>& readings) {
  std::vector<FileProvenance> files;
  files.reserve(readings.size());
  for (const FileReading& reading : readings) {
    if (reading.now != nullptr) {
      files.push_back({reading.file->path, reading.now});
    }
  }
  CacheFile::sortByPath(files);
  return std::make_shared<const std::vector<FileProvenance>>(std::move(files));
}

// Whether the refresh found exactly the files in `known`, each with an unchanged state.
bool isUnchanged(const std::vector<FileReading>& readings, const std::vector<FileProvenance>& known) {
  const auto isThere = [](const FileReading& reading) { return reading.now != nullptr; };
  const auto isKnown = [](const FileReading& reading) { return reading.now == reading.before; };
  return std::ranges::count_if(readings, isThere) == std::ssize(known) &&
         std::ranges::all_of(readings, isKnown);
}

// Whether a folder could not be listed because descriptors or memory ran out. The next refresh may then be
// able to list it.
bool wasShortOfMeans(const ScanDiagnostics& seen) {
  return std::ranges::any_of(seen.foldersUnreadable, [](const Files::UnreadableFolder& folder) {
    return folder.error == std::errc::too_many_files_open ||
           folder.error == std::errc::too_many_files_open_in_system ||
           folder.error == std::errc::not_enough_memory;
  });
}

}  // namespace

Estimate<double> RefreshStats::savedFraction() const {
  if (filesTotal < 1) {
    return UnknownReason::noData();
  }
  return static_cast<double>(filesUnchanged) / static_cast<double>(filesTotal);
}

ScanCache::ScanCache(std::string path, std::size_t threads) : path_(std::move(path)), threads_(threads) {}

bool ScanCache::load() {
  std::optional<CacheFile::Contents> contents = CacheFile::load(path_, threads_);
  if (!contents) {
    return false;
  }
  const std::lock_guard guard(lock_);
  files_ = found_ = saved_ = std::make_shared<const std::vector<FileProvenance>>(std::move(contents->files));
  savedFile_ = contents->attributes;
  return true;
}

void ScanCache::save() {
  const std::optional<FileAttributes> there = Files::attributes(path_);
  KnownFiles files;
  {
    const std::lock_guard guard(lock_);
    files = files_;
    if (files == saved_ && there == savedFile_) {
      return;
    }
  }
  const FileAttributes written = CacheFile::save(path_, *files);
  const std::lock_guard guard(lock_);
  saved_ = files;
  savedFile_ = written;
}

ScanCache::Refreshed ScanCache::refresh(const std::vector<SourceHome>& homes, const Clock& clock,
                                        const RefreshOptions& options) {
  const TimePoint start = clock();
  Refreshed done;
  ScanDiagnostics& diagnostics = done.result.diagnostics;
  RefreshStats& stats = done.stats;
  std::vector<TranscriptFile> listed;
  std::vector<FileReading> readings;
  // Lists the transcripts on another thread while this thread loads the cache file. Listing mostly waits for
  // the operating system, and loading mostly waits for memory. Without the other thread, the first answer of
  // a server that has a cache file takes 7 % longer. The cache file is loaded on the calling thread, because
  // on other threads glibc's allocator makes one system call for every few pages that it allocates.
  std::future<void> listing = std::async(onTheSide(options.loadsFirst && threads_ > 1), [&] {
    listed = Scanner::listing(homes, diagnostics, options.loadsFirst ? 1 : threads_);
    readings = readingsOf(listed);
  });
  if (options.loadsFirst) {
    load();
  }
  listing.get();
  const KnownFiles before = known();
  stats.fromCache = !before->empty();
  stats.filesGone = static_cast<std::int64_t>(before->size()) - matchKnown(readings, *before);
  read(readings, threads_, options.progress);
  const bool isKept = !wasShortOfMeans(diagnostics);
  replaceFound(isUnchanged(readings, *before) ? before : filesOf(readings), isKept);
  if (isKept && options.onRead) {
    options.onRead();
  }

  for (const FileReading& reading : readings) {
    if (reading.now != nullptr) {
      ++(stats.*kFilesByChange[static_cast<std::size_t>(reading.change)]);
      stats.bytesRead += reading.bytesRead;
    }
  }
  done.result.records = unified(readings, diagnostics).takeRecords();
  stats.filesTotal = diagnostics.filesScanned;
  diagnostics.duration = stats.duration = std::max(0.0, clock().seconds - start.seconds);
  return done;
}

VerificationResult ScanCache::verifyAgainstFullScan(const std::vector<SourceHome>& homes,
                                                    const Calendar& calendar, const Clock& clock,
                                                    const PriceList& prices, const ReadProgress& progress) {
  VerificationResult result = verifyCache(*known(), homes, calendar, clock, prices, threads_, progress);
  const std::lock_guard guard(lock_);
  lastVerification_ = result;
  return result;
}

std::optional<VerificationResult> ScanCache::lastVerification() const {
  const std::lock_guard guard(lock_);
  return lastVerification_;
}

void ScanCache::clear() {
  const std::lock_guard guard(lock_);
  files_ = found_ = std::make_shared<const std::vector<FileProvenance>>();
  saved_.reset();
  lastVerification_.reset();
  Files::removeFile(path_);
}

std::vector<FileProvenance> ScanCache::recordsPerFile() const {
  const std::lock_guard guard(lock_);
  return *found_;
}

ScanCache::KnownFiles ScanCache::known() const {
  const std::lock_guard guard(lock_);
  return files_;
}

void ScanCache::replaceFound(KnownFiles files, bool isKept) {
  const std::lock_guard guard(lock_);
  found_ = std::move(files);
  if (isKept) {
    files_ = found_;
  }
}

}  // namespace tallyfin
