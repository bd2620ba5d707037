#pragma once

// What a check of the cache against a fresh read found (ScanCache::verifyAgainstFullScan).

#include "Platform/Files.hpp"
#include "Platform/TimePoint.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace tallyfin {

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

}  // namespace tallyfin
