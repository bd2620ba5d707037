#pragma once

// Compares the state of the cache with a fresh read of the same bytes.

#include "Platform/Calendar.hpp"
#include "Platform/Files.hpp"
#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Transcripts/Homes.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tallyfin {

/// The result of a verification.
struct VerificationResult {
  TimePoint checkedAt;                  ///< when the check ended
  std::int64_t cachedRequests = 0;      ///< requests in the cache
  std::int64_t freshRequests = 0;       ///< requests found by reading the same bytes again
  double cachedCost = 0;                ///< US dollars of the cached requests that have a price
  double freshCost = 0;                 ///< US dollars of the fresh requests that have a price
  std::uint64_t bytesNotCompared = 0;   ///< bytes after those that the cache has consumed
  std::int64_t arrivedDuringCheck = 0;  ///< always 0, because only bytes that the cache has consumed are read
  std::int64_t missingFromCache = 0;    ///< requests found only by the fresh read
  std::int64_t extraInCache = 0;        ///< requests found only in the cache
  std::int64_t mismatchedRecords = 0;   ///< requests in both with different token counts
  double duration = 0;                  ///< seconds
  /// Folders that could not be listed. Cached requests of transcripts below them count as `extraInCache`.
  std::vector<Files::UnreadableFolder> foldersUnreadable = {};

  /// Whether both have the same requests with the same tokens. Ignores costs, whose last bits may differ, and
  /// bytes not compared.
  bool isClean() const { return missingFromCache == 0 && extraInCache == 0 && mismatchedRecords == 0; }

  /// One line to be shown to users.
  std::string summary() const;

  friend bool operator==(const VerificationResult&, const VerificationResult&) = default;
};

/// Implements ScanCache::verifyAgainstFullScan for the state `known`, on at most `threads` threads.
VerificationResult verifyCache(const std::vector<FileProvenance>& known, const std::vector<SourceHome>& homes,
                               const Calendar& calendar, const Clock& clock, const PriceList& prices,
                               std::size_t threads, const ReadProgress& progress);

}  // namespace tallyfin
