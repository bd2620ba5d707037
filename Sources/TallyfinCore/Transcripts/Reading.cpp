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

// Modification times that differ by no more than this are equal, because file systems round them.
constexpr double kTolerance = 0.001;  // seconds

// Bytes per additional thread. Starting a thread takes about 50 microseconds, opening a file 10, reading a
// megabyte 500.
constexpr std::uint64_t kWorthAThread = 1 << 20;  // bytes
constexpr std::uint64_t kOpening = 16 << 10;      // bytes that take as long to read as a file takes to open

FileChange classify(const FileState* before, const FileAttributes& now) {
  if (before == nullptr) {
    return FileChange::isNew;
  }
  // The file was truncated or replaced: it is shorter than at the last refresh, or more was read of it than
  // it had then.
  const bool isShorter = now.size < before->size || before->consumed > before->size;
  // A removed file's inode can be reused, for example by a directory. The requests of that file no longer
  // count.
  const bool isGone = !now.isRegular && (before->consumed > 0 || before->records.size() > 0);
  if (isGone || now.number != before->inode || isShorter || before->mtime - kTolerance > now.modified) {
    return FileChange::rewound;
  }
  return now.size == before->size && now.modified <= before->mtime + kTolerance ? FileChange::unchanged
                                                                                : FileChange::grown;
}

// Whether the file must be read. Sets the result of files that are unchanged.
bool isToRead(FileReading& reading) {
  if (!reading.file->attributes) {
    return false;
  }
  reading.change = classify(reading.before.get(), *reading.file->attributes);
  if (reading.change != FileChange::unchanged) {
    return true;
  }
  reading.now = reading.before;
  reading.seen = reading.before->diag;
  return false;
}

// Reads a changed file. Takes the attributes from the open file, because the path may refer to another file
// since the listing.
void readOn(FileReading& reading) {
  const TranscriptFile& file = *reading.file;
  const PlainFile open(file.path);
  const FileAttributes now = open.isOpen() ? open.attributes() : *reading.file->attributes;
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
    // The lines before the failure count in this refresh only. The stored counters stay those of the consumed
    // part, because the next refresh reads from its end again.
    reading.hasFailed = true;
    state.mtime = FileState::readAgain;
  }
  reading.seen = state.diag;
  reading.seen.add(part);
  if (!reading.hasFailed) {
    state.diag = reading.seen;
  }
  state.records.dropIndex();
  // If a read fails again without new lines, keep the known state object.
  const bool isSame = reading.hasFailed && reading.before != nullptr && state == *reading.before;
  reading.now = isSame ? reading.before : std::make_shared<const FileState>(std::move(state));
}

struct Work {
  FileReading* reading;
  std::uint64_t size;  // bytes to read, plus kOpening
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
  std::vector<Work> work;
  std::uint64_t total = 0;
  for (FileReading& reading : readings) {
    if (isToRead(reading)) {
      const std::uint64_t from = reading.change == FileChange::grown ? reading.before->consumed : 0;
      const std::uint64_t size =
          reading.file->attributes->size - std::min(from, reading.file->attributes->size) + kOpening;
      work.push_back({&reading, size});
      total += size;
    }
  }
  // Largest first, so that no thread is left with a long file when the others are done.
  std::ranges::stable_sort(work, std::greater(), &Work::size);
  std::atomic<std::uint64_t> done = 0;
  const std::thread::id caller = std::this_thread::get_id();
  forEachIndex(work.size(), std::min<std::uint64_t>(threads, 1 + total / kWorthAThread),
               [&](std::size_t index) {
                 readOn(*work[index].reading);
                 done += work[index].size;
                 if (progress && std::this_thread::get_id() == caller) {
                   progress(done, total);
                 }
               });
}

}  // namespace tallyfin
