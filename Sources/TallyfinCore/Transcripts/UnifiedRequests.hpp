#pragma once

// The requests of many files made one: a request that stands in several counts once. In order of first
// appearance, so that sums over them have the same last bit on every run.

#include "TallyfinCore/Transcripts/Records.hpp"

#include <cstdint>
#include <utility>
#include <vector>

namespace tallyfin {

/// A list of requests without repetitions.
class UnifiedRequests {
 public:
  /// Room for so many requests.
  void reserve(std::size_t count);

  /// Takes the requests of one file in, after those of all files before it.
  void add(const RecordMap& file);

  /// The record of a key, or null. Good until the next `add`.
  const UsageRecord* find(InternedText key) const;

  std::size_t size() const { return records_.size(); }

  /// Keys and records in the same order.
  const std::vector<InternedText>& keys() const { return keys_; }
  const std::vector<UsageRecord>& records() const { return records_; }

  /// The records, handed over.
  std::vector<UsageRecord> takeRecords() && { return std::move(records_); }

 private:
  std::vector<InternedText> keys_;
  std::vector<UsageRecord> records_;
  std::vector<std::uint32_t> placeOf_;  // by number of the key; 0: none, else the position and 1
};

}  // namespace tallyfin
