#pragma once

// Unifies the requests of many files: a request that stands in several of them counts once. In order of first
// appearance, so that sums over them have the same last bit on every run.

#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

namespace tallyfin {

/// A list of requests without repetitions.
class UnifiedRequests {
 public:
  /// Room for so many requests.
  void reserve(std::size_t count) { entries_.reserve(count); }

  /// Adds the requests of one file behind those of the files before it. Records are not copied; only one that
  /// combines several copies and differs from the one kept so far is stored here.
  void add(std::shared_ptr<const RecordMap> file);

  /// The record of a key, or null. Good until the next `add`.
  const UsageRecord* find(InternedText key) const;

  std::size_t size() const { return entries_.size(); }

  /// Keys and records.
  const std::vector<const RecordMap::Entry*>& entries() const { return entries_; }

  /// Gives the records away; this object is not to be used after that.
  RecordList takeRecords() &&;

 private:
  struct Kept {
    std::vector<std::shared_ptr<const RecordMap>> files;
    std::deque<RecordMap::Entry> unified;  // combined from several copies
  };

  std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
  std::vector<const RecordMap::Entry*> entries_;
  std::vector<std::uint32_t> positionOf_;  // by number of the key: the position plus 1; 0: no such request
};

/// Unifies the requests that the files gave, in the order of the readings, and adds to `diagnostics` what was
/// seen, read and lost. Files without attributes give nothing.
UnifiedRequests unified(std::span<const FileReading> readings, ScanDiagnostics& diagnostics);

}  // namespace tallyfin
