#pragma once

// The requests of many files made one: a request that stands in several counts once. In order of first
// appearance, so that sums over them have the same last bit on every run.

#include "TallyfinCore/Transcripts/Records.hpp"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace tallyfin {

/// A list of requests without repetitions.
class UnifiedRequests {
 public:
  /// Room for so many requests.
  void reserve(std::size_t count) { entries_.reserve(count); }

  /// Takes the requests of one file in, after those of all files before it. They stay where they are; only
  /// what differs from all its copies is stored anew.
  void add(std::shared_ptr<const RecordMap> file);

  /// The record of a key, or null. Good until the next `add`.
  const UsageRecord* find(InternedText key) const;

  std::size_t size() const { return entries_.size(); }

  /// Keys and records.
  const std::vector<const RecordMap::Entry*>& entries() const { return entries_; }

  /// The records, handed over.
  RecordList takeRecords() &&;

 private:
  struct Kept {
    std::vector<std::shared_ptr<const RecordMap>> files;
    std::deque<RecordMap::Entry> unified;  // which differ from each copy
  };

  std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
  std::vector<const RecordMap::Entry*> entries_;
  std::vector<std::uint32_t> placeOf_;  // by number of the key; 0: none, else the position and 1
};

}  // namespace tallyfin
