#pragma once

// The one way from transcripts to what they hold: given listed files and what is known of each, reads on in
// those that changed, on as many processors as the work is worth, each file into a state of its own. Nothing
// in the result depends on threads: whoever merges files does so in the order of the listing.

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

/// The requests of a file, which keep what is known of it alive.
inline std::shared_ptr<const RecordMap> recordsOf(const std::shared_ptr<const FileState>& file) {
  return {file, &file->records};
}

/// One transcript as the provenance of figures sees it.
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

/// A look at one file. The first members ask, the others tell what came of it.
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

/// Told on the calling thread, file by file, how many bytes of how many that are to be read are done.
using ReadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// A look at each of the files, of which none is known yet. The list must outlive it.
std::vector<FileReading> readingsOf(const std::vector<TranscriptFile>& files);

/// The requests of all files, those that stand in several counted in each.
std::size_t requestsIn(std::span<const FileReading> readings);

/// Reads what is new in the files, on up to `threads` threads; all have ended when it returns. Fails only for
/// want of memory.
void read(std::span<FileReading> readings, std::size_t threads, const ReadProgress& progress = {});

}  // namespace tallyfin
