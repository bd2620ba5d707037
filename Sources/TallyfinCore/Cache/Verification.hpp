#pragma once

// The check of what the cache knows against a fresh read of the same bytes.

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

/// What such a check found.
struct VerificationResult {
  TimePoint checkedAt;                  ///< when the check ended
  std::int64_t cachedRequests = 0;      ///< requests that the cache holds
  std::int64_t freshRequests = 0;       ///< requests found by reading the same bytes again
  double cachedCost = 0;                ///< US dollars of the cached requests; what has no price adds nothing
  double freshCost = 0;                 ///< US dollars of the fresh requests
  std::uint64_t bytesNotCompared = 0;   ///< bytes beyond what the cache has consumed
  std::int64_t arrivedDuringCheck = 0;  ///< always 0: a check never looks beyond what the cache has consumed
  std::int64_t missingFromCache = 0;    ///< requests of the fresh read only
  std::int64_t extraInCache = 0;        ///< requests of the cache only
  std::int64_t mismatchedRecords = 0;   ///< requests of both with different token counts
  double duration = 0;                  ///< seconds that the check took
  /// Folders that could not be listed: the cached requests of what lies below them count as `extraInCache`.
  std::vector<Files::UnreadableFolder> foldersUnreadable = {};

  /// Whether both hold the same requests with the same tokens. Costs, whose last bits may differ, and bytes
  /// not compared play no part.
  bool isClean() const { return missingFromCache == 0 && extraInCache == 0 && mismatchedRecords == 0; }

  /// One line for a person.
  std::string summary() const;

  friend bool operator==(const VerificationResult&, const VerificationResult&) = default;
};

/// Reads from scratch, on at most `threads` threads, all bytes that `known` claims to have read, and compares
/// the requests: the work of ScanCache::verifyAgainstFullScan, which tells more.
VerificationResult verifyCache(const std::vector<FileProvenance>& known, const std::vector<SourceHome>& homes,
                               const Calendar& calendar, const Clock& clock, const PriceList& prices,
                               std::size_t threads, const ReadProgress& progress);

}  // namespace tallyfin
