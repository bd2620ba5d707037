#pragma once

// What each transcript contributed, in memory and in the cache file, so that a refresh reads only what grew.

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

/// What a refresh does beside its work.
struct RefreshOptions {
  bool loadsFirst = false;  ///< whether it calls `load`, which happens while transcripts are listed
  /// Called when all files were read, before their requests are unified: from there on `save` writes what
  /// this refresh found. Not called when what was known before stays.
  std::function<void()> onRead = {};
  ReadProgress progress = {};  ///< is told of the reading
};

/// The cache in memory and its file. Safe from any thread; of two refreshes at once, the result of the one
/// that ends later is kept.
class ScanCache {
 public:
  /// `path` is where the cache file lies (CacheFile::pathFor). Nothing is read before `load`, and no folder
  /// is made. Transcripts are read on at most `threads` threads.
  explicit ScanCache(std::string path, std::size_t threads = processors());

  const std::string& cachePath() const { return path_; }

  /// Replaces what is known by the file's content; false, and nothing changed, when the file is missing,
  /// foreign, of another version, cut off or damaged.
  bool load();

  /// Writes all that is known, atomically, unless the file already holds it: nothing has changed since it was
  /// loaded or written, and by its attributes it is still the same file. Throws std::system_error; the old
  /// file stays whole then.
  void save();

  /// What a refresh gave, and what it did.
  struct Refreshed {
    ScanResult result;
    RefreshStats stats;
  };

  /// Brings what is known up to date, reading on where files grew, and unifies the requests of all files.
  /// Cannot fail; a file that cannot be read is told in the diagnostics and tried again at the next refresh.
  /// Transcripts below a folder that cannot be listed are in no figure of this refresh. When the reason may
  /// stay, such as a missing permission, they are forgotten, and read as new ones when the folder can be
  /// listed again. When descriptors or memory ran out, what was known before stays: the next refresh goes on
  /// from there. `clock` times it.
  Refreshed refresh(const std::vector<SourceHome>& homes, const Clock& clock,
                    const RefreshOptions& options = {});

  /// Reads from scratch all bytes that the cache claims to have read, and compares the requests. Bytes beyond
  /// those are only counted, so transcripts may be written to meanwhile. Changes neither what is known nor
  /// the file. Cannot fail; a file that cannot be read shows in the result. Takes as long as a full read;
  /// costs are those of `prices` on the days of `calendar`.
  VerificationResult verifyAgainstFullScan(const std::vector<SourceHome>& homes, const Calendar& calendar,
                                           const Clock& clock, const PriceList& prices = PriceList::builtIn(),
                                           const ReadProgress& progress = {});

  /// The result of the last such check; absent before the first and after `clear`.
  std::optional<VerificationResult> lastVerification() const;

  /// Forgets everything and deletes the file.
  void clear();

  /// What each file gave to the last refresh or load, sorted by path.
  std::vector<FileProvenance> recordsPerFile() const;

 private:
  // Sorted by path, as in the file. Shared, not copied: a save works on it outside the lock.
  using KnownFiles = std::shared_ptr<const std::vector<FileProvenance>>;

  KnownFiles known() const;
  // Sets what the last look found. When `isKept`, the next one goes on from it and `save` writes it.
  void replaceFound(KnownFiles files, bool isKept);

  std::string path_;
  std::size_t threads_;
  mutable std::mutex lock_;  // guards what follows; never held while files are read
  KnownFiles files_ = std::make_shared<const std::vector<FileProvenance>>();
  KnownFiles found_ = files_;                // by the last look; another than `files_` when that was not kept
  KnownFiles saved_;                         // what the cache file holds; null: not known
  std::optional<FileAttributes> savedFile_;  // attributes of the cache file when it held `saved_`
  std::optional<VerificationResult> lastVerification_;
};

}  // namespace tallyfin
