#include "TallyfinCore/Transcripts/Records.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"

#include <algorithm>

namespace tallyfin {
namespace {

bool isLowerHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}

}  // namespace

AgentIdentity AgentIdentity::parse(InternedText rawAgentId) {
  const std::string_view raw = rawAgentId.text();
  if (raw.empty()) {
    return main();
  }
  // Compare a whole character: an "a" followed by a combining mark is a different letter.
  if (Text::prefix(raw, 1) != "a") {
    return anonymous(rawAgentId);
  }
  const std::string_view body = raw.substr(1);
  const std::size_t hyphen = body.rfind('-');
  if (hyphen == std::string_view::npos || hyphen == 0) {
    return anonymous(rawAgentId);
  }
  const std::string_view suffix = body.substr(hyphen + 1);
  if ((suffix.size() != 16 && suffix.size() != 17) || !std::ranges::all_of(suffix, isLowerHexDigit)) {
    return anonymous(rawAgentId);
  }
  return named(InternedText(body.substr(0, hyphen)), rawAgentId);
}

std::string AgentIdentity::label() const {
  switch (kind_) {
    case Kind::named:
      return std::string(name_.text());
    case Kind::anonymous:
      return "anonymous agent " + std::string(Text::prefix(rawId_.text(), 9));
    case Kind::main:
      break;
  }
  return "main session";
}

std::string AgentIdentity::labelWithId() const {
  if (kind_ == Kind::main) {
    return "main session (no agentId)";
  }
  return concat(kind_ == Kind::named ? name_.text() : "anonymous agent", "  [", rawId_.text(), "]");
}

std::string_view AgentIdentity::description() const {
  return kind_ == Kind::main ? "(main)" : rawId_.text();
}

void UsageRecord::raiseTo(const UsageRecord& other) {
  UsageCounts::raiseTo(other);
  timestamp = std::min(timestamp, other.timestamp);
}

UsageRecord* RecordMap::find(InternedText key) {
  if (!indexed_) {
    buildIndex();
  }
  const auto found = index_.find(key.number());
  return found == index_.end() ? nullptr : &entries_[found->second].record;
}

void RecordMap::insert(InternedText key, const UsageRecord& record) {
  if (UsageRecord* const known = find(key)) {
    *known = record;
  } else {
    append(key, record);
  }
}

void RecordMap::append(InternedText key, const UsageRecord& record) {
  if (indexed_) {
    index_.try_emplace(key.number(), static_cast<std::uint32_t>(entries_.size()));
  }
  entries_.push_back({key, record});
}

void RecordMap::dropIndex() {
  index_ = {};
  indexed_ = false;
}

void RecordMap::buildIndex() {
  index_.reserve(entries_.size());
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    index_.try_emplace(entries_[i].key.number(), static_cast<std::uint32_t>(i));
  }
  indexed_ = true;
}

RecordList::RecordList(const std::vector<UsageRecord>& records) {
  const auto own = std::make_shared<std::vector<RecordMap::Entry>>();
  own->reserve(records.size());
  entries_.reserve(records.size());
  for (const UsageRecord& record : records) {
    entries_.push_back(&own->emplace_back(RecordMap::Entry{{}, record}));
  }
  owner_ = own;
}

bool operator==(const RecordList& left, const RecordList& right) {
  return std::ranges::equal(left, right);
}

}  // namespace tallyfin
