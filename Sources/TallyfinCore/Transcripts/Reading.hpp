#pragma once

// Reads what is new in listed transcripts, given what is known of each, on as many processors as the work is
// worth. Each file has a state of its own, and callers merge files in the order of the listing, so that the
// result does not depend on threads.

#include "Platform/Files.hpp"
#include "TallyfinCore/Transcripts/Homes.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tallyfin {

/// What is known of one transcript.
struct FileState {
  /// The modification time of a file whose last read failed: every time is later, so the next look reads it
  /// again.
  static constexpr double readAgain = -std::numeric_limits<double>::infinity();

  std::uint64_t size = 0;      ///< bytes at the last look
  double mtime = 0;            ///< modification time at the last look, seconds since 1970, or `readAgain`
  std::uint64_t inode = 0;     ///< the file system's file number at the last look
  std::uint64_t consumed = 0;  ///< offset behind the last complete line that was read
  RecordMap records;           ///< the requests of this file alone
  FileDiagnostics diag;        ///< what the consumed part of the file gave

  friend bool operator==(const FileState&, const FileState&) = default;
};

/// The requests of a file. The pointer keeps the whole state alive.
inline std::shared_ptr<const RecordMap> recordsOf(const std::shared_ptr<const FileState>& file) {
  return {file, &file->records};
}

/// One transcript with what it gave, for saying which files a figure comes from.
struct FileProvenance {
  std::string path;
  std::shared_ptr<const FileState> state;

  std::int64_t usageLines() const { return state->diag.usageLinesSeen; }
  const RecordMap& records() const { return state->records; }
};

/// What became of a file since the last look.
enum class FileChange : std::uint8_t {
  isNew,      ///< not known before
  rewound,    ///< replaced or cut back: read from its start again
  unchanged,  ///< not read
  grown       ///< read on from where the last look ended
};

/// The reading of one file at a look. The first four members say what to read, the others what came of it.
struct FileReading {
  const TranscriptFile* file = nullptr;
  std::int64_t rank = 0;                    ///< its position in the listing
  std::shared_ptr<const FileState> before;  ///< what the last look found; null: the file is not known
  std::optional<std::uint64_t> upTo = {};   ///< no byte at or beyond this offset is read

  std::shared_ptr<const FileState> now = {};  ///< null when its attributes cannot be had
  FileChange change = FileChange::isNew;
  FileDiagnostics seen = {};    ///< of all its lines, those before a failure included
  std::uint64_t bytesRead = 0;  ///< bytes of complete lines read by this look
  bool hasFailed = false;       ///< it could not be read to its end, or not be opened
};

/// Called on the thread that called `read`, after each file which that thread reads. Both figures are bytes,
/// with 16 KiB added for each file, since opening it takes time as well.
using ReadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// A reading of each file, not yet done, as if none was known; `read` does them. The list must outlive the
/// result.
std::vector<FileReading> readingsOf(const std::vector<TranscriptFile>& files);

/// Reads what is new in the files, on up to `threads` threads; all have ended when it returns. Throws only
/// when memory runs out.
void read(std::span<FileReading> readings, std::size_t threads, const ReadProgress& progress = {});

}  // namespace tallyfin
