#pragma once

// The contribution of each transcript, kept in memory and in the cache file, so that a refresh reads only new
// lines.

#include "Platform/Calendar.hpp"
#include "Platform/Parallel.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Cache/Verification.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Scanner.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin {

/// Counts of one refresh.
struct RefreshStats {
  std::int64_t filesTotal = 0;      ///< transcripts listed
  std::int64_t filesUnchanged = 0;  ///< not read
  std::int64_t filesGrown = 0;      ///< read from the offset where the last refresh ended
  std::int64_t filesNew = 0;        ///< not known before
  std::int64_t filesRewound = 0;    ///< known, but read from the start again
  std::int64_t filesGone = 0;       ///< known, but no longer listed
  std::uint64_t bytesRead = 0;      ///< bytes of complete lines read by this refresh
  double duration = 0;              ///< seconds
  bool fromCache = false;           ///< at least one file was known before the refresh

  /// Unchanged files as a fraction of all files, 0 to 1; unknown (`noData`) if there are no files.
  Estimate<double> savedFraction() const;
};

/// Options of a refresh.
struct RefreshOptions {
  bool loadsFirst = false;  ///< call `load` while the transcripts are being listed
  /// Called when all files have been read, before their requests are unified; from then on `save` writes the
  /// result of this refresh. Not called if the refresh kept the previous state.
  std::function<void()> onRead = {};
  ReadProgress progress = {};  ///< called during reading
};

/// The cache in memory and its file. May be used from any thread; of two concurrent refreshes, the result of
/// the one that ends later is kept.
class ScanCache {
 public:
  /// `path` is the cache file (CacheFile::pathFor). The constructor reads no file and creates no folder.
  /// Transcripts are read on at most `threads` threads.
  explicit ScanCache(std::string path, std::size_t threads = processors());

  const std::string& cachePath() const { return path_; }

  /// Replaces the state by the content of the cache file. Returns false and changes nothing if the file is
  /// missing, not a cache file, of another version, truncated or damaged.
  bool load();

  /// Writes the state atomically. Does nothing if the file already has it: the state is unchanged since it
  /// was loaded or saved, and the file's attributes are the same. Throws std::system_error; the old file is
  /// then unchanged.
  void save();

  /// The result of a refresh, and its counts.
  struct Refreshed {
    ScanResult result;
    RefreshStats stats;
  };

  /// Reads the new lines of all transcripts and unifies their requests. Never fails: a file that cannot be
  /// read is listed in the diagnostics and tried again by the next refresh. Transcripts in a folder that
  /// cannot be listed are missing from this refresh. If the cause may last, such as a missing permission,
  /// they are forgotten, and read as new files once the folder can be listed. If descriptors or memory ran
  /// out, the previous state is kept for the next refresh. `clock` measures the duration.
  Refreshed refresh(const std::vector<SourceHome>& homes, const Clock& clock,
                    const RefreshOptions& options = {});

  /// Reads again all bytes that the cache has consumed, and compares the requests. Later bytes are only
  /// counted, so transcripts may grow meanwhile. Changes neither the state nor the file. Never fails: a file
  /// that cannot be read shows up in the result. Takes as long as a full scan. Costs are computed with
  /// `prices` on the days of `calendar`.
  VerificationResult verifyAgainstFullScan(const std::vector<SourceHome>& homes, const Calendar& calendar,
                                           const Clock& clock, const PriceList& prices = PriceList::builtIn(),
                                           const ReadProgress& progress = {});

  /// The result of the last verification; absent before the first and after `clear`.
  std::optional<VerificationResult> lastVerification() const;

  /// Clears the state and deletes the file.
  void clear();

  /// What each file contributed to the last refresh or load, sorted by path.
  std::vector<FileProvenance> recordsPerFile() const;

 private:
  // Sorted by path, as in the file. Shared and immutable, so that `save` can write it without the lock.
  using KnownFiles = std::shared_ptr<const std::vector<FileProvenance>>;

  KnownFiles known() const;
  // Stores the result of a refresh. If `isKept`, the next refresh starts from it and `save` writes it.
  void replaceFound(KnownFiles files, bool isKept);

  std::string path_;
  std::size_t threads_;
  mutable std::mutex lock_;  // guards the members below; not held while files are read
  KnownFiles files_ = std::make_shared<const std::vector<FileProvenance>>();
  KnownFiles found_ = files_;                // of the last refresh; differs from `files_` if not kept
  KnownFiles saved_;                         // content of the cache file; null if unknown
  std::optional<FileAttributes> savedFile_;  // attributes of the cache file when it held `saved_`
  std::optional<VerificationResult> lastVerification_;
};

}  // namespace tallyfin
