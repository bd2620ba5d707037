#include "TallyfinCore/Transcripts/UnifiedRequests.hpp"

#include <algorithm>

namespace tallyfin {
namespace {

// Unifies two copies of a request: the one with the lower rank describes it, `stored` when both are equal;
// each count is the higher one, the time the earlier.
void unify(UsageRecord& stored, const UsageRecord& incoming) {
  if (incoming.sourceRank < stored.sourceRank) {
    UsageRecord winner = incoming;
    winner.raiseTo(stored);
    stored = winner;
  } else {
    stored.raiseTo(incoming);
  }
}

}  // namespace

void UnifiedRequests::reserve(std::size_t count) {
  keys_.reserve(count);
  records_.reserve(count);
}

void UnifiedRequests::add(const RecordMap& file) {
  // Reading a file may have given out new numbers since the last one was added.
  placeOf_.resize(std::max(placeOf_.size(), InternedText::count()), 0);
  for (const auto& [key, record] : file.entries()) {
    std::uint32_t& place = placeOf_[key.number()];
    if (place == 0) {
      keys_.push_back(key);
      records_.push_back(record);
      place = static_cast<std::uint32_t>(records_.size());
    } else {
      unify(records_[place - 1], record);
    }
  }
}

const UsageRecord* UnifiedRequests::find(InternedText key) const {
  const std::uint32_t number = key.number();
  return number < placeOf_.size() && placeOf_[number] != 0 ? &records_[placeOf_[number] - 1] : nullptr;
}

}  // namespace tallyfin
