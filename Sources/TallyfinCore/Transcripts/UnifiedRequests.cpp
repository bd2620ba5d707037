#include "TallyfinCore/Transcripts/UnifiedRequests.hpp"

#include <algorithm>
#include <utility>

namespace tallyfin {
namespace {

// Merges two copies of a request. The copy with the lower rank provides the descriptive fields, `stored` on a
// tie. Each count is the higher one, the time the earlier one.
UsageRecord combined(const UsageRecord& stored, const UsageRecord& incoming) {
  const bool incomingDescribes = incoming.sourceRank < stored.sourceRank;
  UsageRecord record = incomingDescribes ? incoming : stored;
  record.raiseTo(incomingDescribes ? stored : incoming);
  return record;
}

}  // namespace

void UnifiedRequests::add(std::shared_ptr<const RecordMap> file) {
  // Reading files may have assigned new numbers since the last call.
  positionOf_.resize(std::max(positionOf_.size(), InternedText::count()), 0);
  for (const RecordMap::Entry& entry : file->entries()) {
    std::uint32_t& position = positionOf_[entry.key.number()];
    if (position == 0) {
      entries_.push_back(&entry);
      position = static_cast<std::uint32_t>(entries_.size());
      continue;
    }
    const RecordMap::Entry*& stored = entries_[position - 1];
    const UsageRecord record = combined(stored->record, entry.record);
    if (record != stored->record) {
      stored = &kept_->unified.emplace_back(RecordMap::Entry{stored->key, record});
    }
  }
  kept_->files.push_back(std::move(file));
}

const UsageRecord* UnifiedRequests::find(InternedText key) const {
  const std::uint32_t number = key.number();
  return number < positionOf_.size() && positionOf_[number] != 0 ? &entries_[positionOf_[number] - 1]->record
                                                                 : nullptr;
}

RecordList UnifiedRequests::takeRecords() && {
  return {std::move(entries_), std::move(kept_)};
}

UnifiedRequests unified(std::span<const FileReading> readings, ScanDiagnostics& diagnostics) {
  std::size_t count = 0;
  for (const FileReading& reading : readings) {
    count += reading.now != nullptr ? reading.now->records.size() : 0;
  }
  UnifiedRequests requests;
  requests.reserve(count);
  for (const FileReading& reading : readings) {
    if (reading.hasFailed) {
      diagnostics.filesUnreadable.push_back(reading.file->path);
    }
    if (reading.now != nullptr) {
      diagnostics.add(reading.seen, reading.file->path);
      diagnostics.bytesRead += reading.now->consumed;
      requests.add(recordsOf(reading.now));
    }
  }
  diagnostics.filesScanned = static_cast<std::int64_t>(readings.size());
  diagnostics.uniqueRequests = static_cast<std::int64_t>(requests.size());
  return requests;
}

}  // namespace tallyfin
