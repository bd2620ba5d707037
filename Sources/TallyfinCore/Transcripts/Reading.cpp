#include "TallyfinCore/Transcripts/Reading.hpp"

#include "Platform/Descriptor.hpp"
#include "Platform/Parallel.hpp"
#include "TallyfinCore/Transcripts/Ingest.hpp"
#include "TallyfinCore/Transcripts/LineReader.hpp"

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

namespace tallyfin {
namespace {

// Modification times differ when they are further apart than this; file systems round them.
constexpr double kTolerance = 0.001;  // seconds

// What a further thread must find to do. Starting one takes some 50 microseconds, opening a file 10, looking
// at one 2, reading a megabyte 500.
constexpr std::uint64_t kWorthAThread = 1 << 20;  // bytes
constexpr std::uint64_t kOpening = 16 << 10;      // bytes that take as long as opening a file
constexpr std::size_t kLooks = 512;               // files that one thread looks at in one go

FileChange classify(const FileState* before, const FileAttributes& now) {
  if (before == nullptr) {
    return FileChange::isNew;
  }
  // What was read beyond the size, or beyond what is left, is not in the file any more, or never was.
  const bool isShorter = now.size < before->size || before->consumed > before->size;
  if (now.number != before->inode || isShorter || before->mtime - kTolerance > now.modified) {
    return FileChange::rewound;
  }
  return now.size == before->size && now.modified <= before->mtime + kTolerance ? FileChange::unchanged
                                                                                : FileChange::grown;
}

// Settles a file that did not change; otherwise gives its attributes, if they can be had.
std::optional<FileAttributes> look(FileReading& reading) {
  std::optional<FileAttributes> now = Files::attributes(reading.file->path);
  if (!now) {
    return std::nullopt;
  }
  reading.change = classify(reading.before.get(), *now);
  if (reading.change == FileChange::unchanged) {
    reading.now = reading.before;
    reading.seen = reading.before->diag;
    return std::nullopt;
  }
  return now;
}

// Reads a file that changed. What counts is the open file: another may have taken the name since the look.
void readOn(FileReading& reading, const FileAttributes& looked) {
  const TranscriptFile& file = *reading.file;
  PlainFile open(file.path);
  const FileAttributes now = open.isOpen() ? open.attributes() : looked;
  reading.change = classify(reading.before.get(), now);
  const bool isReadOn = reading.change == FileChange::grown || reading.change == FileChange::unchanged;
  FileState state = isReadOn ? *reading.before : FileState{};
  state.size = now.size;
  state.mtime = now.modified;
  state.inode = now.number;
  FileDiagnostics part;
  try {
    const std::uint64_t end = LineReader::forEachLine(
        open, file.path, state.consumed, reading.upTo.value_or(now.size), [&](std::string_view line) {
          Scanner::ingest(line, file.path, file.home, reading.rank, state.records, part);
        });
    reading.bytesRead = end - state.consumed;
    state.consumed = end;
  } catch (const ReadError&) {
    // The lines before the failure count in this answer; the counters that are kept stay those of the
    // consumed part, since the next look reads from there again.
    reading.hasFailed = true;
    state.mtime = FileState::readAgain;
  }
  reading.seen = state.diag;
  reading.seen.add(part);
  if (!reading.hasFailed) {
    state.diag = reading.seen;
  }
  state.records.dropIndex();
  // A file whose read fails again is known as before.
  const bool isSame = reading.hasFailed && reading.before != nullptr && state == *reading.before;
  reading.now = isSame ? reading.before : std::make_shared<const FileState>(std::move(state));
}

struct Work {
  FileReading* reading;
  FileAttributes looked;
  std::uint64_t size;  // bytes to read, and what opening is worth
};

}  // namespace

std::vector<FileReading> readingsOf(const std::vector<TranscriptFile>& files) {
  std::vector<FileReading> readings(files.size());
  for (std::size_t rank = 0; rank < files.size(); ++rank) {
    readings[rank].file = &files[rank];
    readings[rank].rank = static_cast<std::int64_t>(rank);
  }
  return readings;
}

void read(std::span<FileReading> readings, std::size_t threads, const ReadProgress& progress) {
  std::vector<std::optional<FileAttributes>> changed(readings.size());
  const std::size_t portions = (readings.size() + kLooks - 1) / kLooks;
  forEachIndex(portions, std::min(threads, portions / 2), [&](std::size_t portion) {
    const std::size_t end = std::min(readings.size(), (portion + 1) * kLooks);
    for (std::size_t i = portion * kLooks; i < end; ++i) {
      changed[i] = look(readings[i]);
    }
  });

  std::vector<Work> work;
  std::uint64_t total = 0;
  for (std::size_t i = 0; i < readings.size(); ++i) {
    if (changed[i]) {
      const std::uint64_t from = readings[i].change == FileChange::grown ? readings[i].before->consumed : 0;
      const std::uint64_t size = changed[i]->size - std::min(from, changed[i]->size) + kOpening;
      work.push_back({&readings[i], *changed[i], size});
      total += size;
    }
  }
  // The largest first, so that no thread is left with a long file when the others are done.
  std::ranges::stable_sort(work, std::greater(), &Work::size);
  std::atomic<std::uint64_t> done = 0;
  const std::thread::id caller = std::this_thread::get_id();
  forEachIndex(work.size(), std::min<std::uint64_t>(threads, 1 + total / kWorthAThread), [&](std::size_t i) {
    readOn(*work[i].reading, work[i].looked);
    done += work[i].size;
    if (progress && std::this_thread::get_id() == caller) {
      progress(done, total);
    }
  });
}

}  // namespace tallyfin
