#pragma once

// Reads the new lines of listed transcripts, given what earlier refreshes read, on as many threads as the
// amount of work justifies. Each file has its own state, and callers merge files in listing order, so the
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

/// What is known of one transcript after a refresh.
struct FileState {
  /// The modification time stored after a failed read. Every time is later, so the next refresh reads the
  /// file again.
  static constexpr double readAgain = -std::numeric_limits<double>::infinity();

  std::uint64_t size = 0;      ///< bytes at the last refresh
  double mtime = 0;            ///< modification time at the last refresh, seconds since 1970, or `readAgain`
  std::uint64_t inode = 0;     ///< inode at the last refresh
  std::uint64_t consumed = 0;  ///< offset after the last complete line read
  RecordMap records;           ///< the requests of this file only
  FileDiagnostics diag;        ///< counters of the consumed part of the file

  friend bool operator==(const FileState&, const FileState&) = default;
};

/// The requests of a file. The pointer keeps the whole state alive.
inline std::shared_ptr<const RecordMap> recordsOf(const std::shared_ptr<const FileState>& file) {
  return {file, &file->records};
}

/// One transcript and what it contributed; used to list the files behind a figure.
struct FileProvenance {
  std::string path;
  std::shared_ptr<const FileState> state;

  std::int64_t usageLines() const { return state->diag.usageLinesSeen; }
  const RecordMap& records() const { return state->records; }
};

/// How a file changed since the last refresh.
enum class FileChange : std::uint8_t {
  isNew,      ///< not known before
  rewound,    ///< replaced or truncated: read from the start again
  unchanged,  ///< not read
  grown       ///< read from the offset where the last refresh ended
};

/// How one refresh reads one file. The first four members are the input, the others the result.
struct FileReading {
  const TranscriptFile* file = nullptr;
  std::int64_t rank = 0;                    ///< position in the listing
  std::shared_ptr<const FileState> before;  ///< state after the last refresh; null if the file is new
  std::optional<std::uint64_t> upTo = {};   ///< offset at which reading stops; absent: the end of the file

  std::shared_ptr<const FileState> now = {};  ///< state after this refresh; null if attributes are absent
  FileChange change = FileChange::isNew;
  FileDiagnostics seen = {};    ///< counters of all its lines, including those before a failure
  std::uint64_t bytesRead = 0;  ///< bytes of complete lines read by this refresh
  bool hasFailed = false;       ///< the file could not be opened or not be read to its end
};

/// Called on the thread that called `read`, after each file that this thread has read. Both figures are bytes
/// plus 16 KiB per file, because opening a file takes time too.
using ReadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// Readings of the files as if all were new, to be passed to `read`. `files` must outlive the result.
std::vector<FileReading> readingsOf(const std::vector<TranscriptFile>& files);

/// Reads the new lines of the files on up to `threads` threads, all of which have ended when it returns.
/// Throws only if memory runs out.
void read(std::span<FileReading> readings, std::size_t threads, const ReadProgress& progress = {});

}  // namespace tallyfin
