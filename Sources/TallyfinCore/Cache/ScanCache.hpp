#pragma once

// What each transcript contributed, in memory and in one file, so that a look at the transcripts reads only
// what grew. A pure optimisation: a lost, old or damaged file costs a full read and nothing else, so nothing
// in it is ever repaired or migrated.
//
//   "TFC1" | version 2 | string table | file count | files, sorted by path
//   file:   path size mtime inode consumed  8 counters  record count  records
//   record: key timestamp model session cwd home agent  7 counts  assumed  rank
//
// Integers and texts as in BinaryCodec.hpp, mtime and timestamp are doubles, `assumed` is a byte. No
// alignment, no checksum. Any other version means: read everything again.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Cache/Verification.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/Scanner.hpp"
#include "absl/container/btree_map.h"
#include "absl/functional/function_ref.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin {

/// The counters of one transcript: the per-file form of the counters of ScanDiagnostics with these names.
struct FileDiagnostics {
  std::int64_t usageLines = 0;
  std::int64_t notUsageBearing = 0;
  std::int64_t skippedZeroUsage = 0;
  std::int64_t rejectedInvalidJSON = 0;
  std::int64_t rejectedNoMessage = 0;
  std::int64_t rejectedNoTimestamp = 0;
  std::int64_t rejectedNoIdentity = 0;
  std::int64_t longestLineBytes = 0;

  /// Adds these counters to a scan's; the longest line, with `path`, only when it is longer than any before.
  void apply(ScanDiagnostics& diagnostics, const std::string& path) const;

  /// Adds what reading on gave.
  void add(const ScanDiagnostics& part);

  friend bool operator==(const FileDiagnostics&, const FileDiagnostics&) = default;
};

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
};

/// What one refresh did.
struct RefreshStats {
  std::int64_t filesTotal = 0;      ///< transcripts listed
  std::int64_t filesUnchanged = 0;  ///< not read
  std::int64_t filesGrown = 0;      ///< read on from where the last look ended
  std::int64_t filesNew = 0;        ///< not known before
  std::int64_t filesRewound = 0;    ///< known, but read from the start again
  std::int64_t filesGone = 0;       ///< known, but no longer listed
  std::uint64_t bytesRead = 0;      ///< bytes of complete lines read by this refresh
  double duration = 0;              ///< seconds
  bool fromCache = false;           ///< at least one file was known when the refresh began

  /// Unchanged of total files, 0 to 1; unknown (`noData`) without files.
  Estimate<double> savedFraction() const;
};

/// One file as the provenance of figures sees it.
struct FileProvenance {
  std::string path;
  std::shared_ptr<const FileState> state;

  std::int64_t usageLines() const { return state->diag.usageLines; }
  const RecordMap& records() const { return state->records; }
};

/// Where the cache file lies: TALLYFIN_CACHE_PATH, with its tilde expanded and made absolute, or the default
/// place. Makes the folder; when that fails the path is used all the same, and what cannot be saved is only
/// slower.
std::string cacheLocation(const Environment& environment);

/// Told how far a read is: bytes of files that were looked at, of so many. On one thread at a time.
using ReadProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// The store. Safe from any thread, though two refreshes at once are not coordinated: the later one stays.
class ScanCache {
 public:
  static constexpr std::uint64_t formatVersion = 2;

  /// The name of the file in its folder, and that folder below the application-support directory.
  static constexpr const char* fileName = "scan-cache.v2.bin";
  static constexpr const char* folderName = "net.quillpond.tallyfin";

  /// `path` is where the cache file lies. Nothing is read before `load`, and no folder is made at any time:
  /// `cacheLocation` and `defaultPath` do that.
  explicit ScanCache(std::string path);

  /// The default place below an application-support directory; makes the folder, ignoring a failure.
  static std::string defaultPath(const std::string& applicationSupport);

  const std::string& cachePath() const { return path_; }

  /// Replaces what is known by the file's content; false, and nothing changed, when the file is missing,
  /// foreign, of another version, cut off or damaged.
  bool load();

  /// Writes all that is known, atomically. Throws std::system_error; the old file stays whole then.
  void save() const;

  /// What a refresh gave, and what it did.
  struct Refreshed {
    ScanResult result;
    RefreshStats stats;
  };

  /// Brings what is known up to date, reading on where files grew, and unifies the requests of all files.
  /// Cannot fail; a file that cannot be read is told in the diagnostics and tried again at the next refresh.
  /// Runs on the calling thread, one file after the other; `clock` times it. `looked` is called when all
  /// files were read, before their requests are unified: from there on `save` writes what this refresh found.
  /// `progress`, when given, is called behind every file.
  Refreshed refresh(
      const std::vector<SourceHome>& homes, const Clock& clock, absl::FunctionRef<void()> looked = [] {},
      const ReadProgress& progress = {});

  /// Reads everything that the cache claims to have read again, from scratch, and compares the requests. What
  /// lies beyond is only measured, so transcripts may be written to meanwhile. Changes neither what is known
  /// nor the file. Cannot fail; a file that cannot be read shows in the result. Runs on the calling thread
  /// for as long as a full read takes; costs are those of `prices` on the days of `calendar`.
  VerificationResult verifyAgainstFullScan(const std::vector<SourceHome>& homes, const Calendar& calendar,
                                           const Clock& clock,
                                           const PriceList& prices = PriceList::builtIn());

  /// The result of the last such check; absent before the first and after `clear`.
  std::optional<VerificationResult> lastVerification() const;

  /// Forgets everything and deletes the file.
  void clear();

  /// One entry for each known file, sorted by path.
  std::vector<FileProvenance> recordsPerFile() const;

 private:
  // By code points of the paths' canonical forms, then by bytes: the order of the file and of a listing.
  struct InPathOrder {
    bool operator()(const std::string& left, const std::string& right) const;
  };
  // States are shared, not copied: a refresh and a save work on a copy of the map outside the lock.
  using FileMap = absl::btree_map<std::string, std::shared_ptr<const FileState>, InPathOrder>;

  FileMap snapshot() const;

  std::string path_;
  mutable std::mutex lock_;  // guards the two below; never held while files are read
  FileMap files_;
  std::optional<VerificationResult> lastVerification_;
};

}  // namespace tallyfin
