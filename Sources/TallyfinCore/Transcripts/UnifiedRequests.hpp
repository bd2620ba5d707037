#pragma once

// Unifies the requests of many files, so that a request that occurs in several of them counts once. Keeps the
// order of first appearance, so floating-point sums are identical on every run.

#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

namespace tallyfin {

/// A list of requests without duplicates.
class UnifiedRequests {
 public:
  /// Reserves memory for `count` requests.
  void reserve(std::size_t count) { entries_.reserve(count); }

  /// Adds the requests of one file after those of earlier files. Does not copy records, except to store the
  /// merge of several copies of a request when it differs from the copy kept so far.
  void add(std::shared_ptr<const RecordMap> file);

  /// The record for a key, or null. The pointer is valid until the next `add`.
  const UsageRecord* find(InternedText key) const;

  std::size_t size() const { return entries_.size(); }

  /// Keys and records.
  const std::vector<const RecordMap::Entry*>& entries() const { return entries_; }

  /// Moves the records out. The object must not be used afterwards.
  RecordList takeRecords() &&;

 private:
  struct Kept {
    std::vector<std::shared_ptr<const RecordMap>> files;
    std::deque<RecordMap::Entry> unified;  // merged from several copies
  };

  std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
  std::vector<const RecordMap::Entry*> entries_;
  std::vector<std::uint32_t> positionOf_;  // by number of the key: position plus 1, or 0 if absent
};

/// Unifies the requests of the readings, in their order, and adds to `diagnostics` what they read and lost.
/// Readings without a state (`now`) are skipped.
UnifiedRequests unified(std::span<const FileReading> readings, ScanDiagnostics& diagnostics);

}  // namespace tallyfin
