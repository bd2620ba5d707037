#pragma once

// One unified, attributed request, and who spent it: the value that everything downstream of a transcript is
// made of. Small and trivially copyable, since a history holds hundreds of thousands.

#include "Platform/InternedText.hpp"
#include "Platform/TimePoint.hpp"
#include "absl/container/flat_hash_map.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

/// Who spent a request: the main session, a sub-agent with a name, or one known by its id alone.
class AgentIdentity {
 public:
  enum class Kind : std::uint8_t { main, named, anonymous };

  /// The main session.
  constexpr AgentIdentity() = default;
  static AgentIdentity main() { return {}; }
  static AgentIdentity named(InternedText name, InternedText rawId) { return {Kind::named, name, rawId}; }
  static AgentIdentity anonymous(InternedText rawId) { return {Kind::anonymous, {}, rawId}; }

  /// Reads the raw id of a transcript line. Empty: `main`. "a", a name, "-" and 16 or 17 lower-case
  /// hexadecimal digits: `named`; the name may hold hyphens itself. Anything else: `anonymous`.
  static AgentIdentity parse(InternedText rawAgentId);

  Kind kind() const { return kind_; }
  bool isSubagent() const { return kind_ != Kind::main; }

  /// The name of a named agent; empty otherwise.
  InternedText name() const { return name_; }

  /// The whole raw id; empty for `main`.
  InternedText rawId() const { return rawId_; }

  /// What a person is shown: the name; "anonymous agent " and the first 9 characters of the id; "main
  /// session".
  std::string label() const;

  /// The text on which rankings break ties: the raw id, or "(main)".
  std::string_view description() const;

  friend bool operator==(const AgentIdentity&, const AgentIdentity&) = default;

  template <typename H>
  friend H AbslHashValue(H state, const AgentIdentity& agent) {
    return H::combine(std::move(state), agent.kind_, agent.name_, agent.rawId_);
  }

 private:
  AgentIdentity(Kind kind, InternedText name, InternedText rawId) : name_(name), rawId_(rawId), kind_(kind) {}

  InternedText name_;
  InternedText rawId_;
  Kind kind_ = Kind::main;
};

/// One request. Counts are whatever the transcript held; nothing is clamped at 0.
struct UsageRecord {
  TimePoint timestamp;  ///< the earliest time stamp of all lines that carry the request
  InternedText model;   ///< reduced model id; "unknown" when the line names none
  InternedText sessionId;
  InternedText rawCwd;  ///< working directory as the line gave it; empty when absent
  AgentIdentity agent;
  InternedText sourceHome;  ///< name of the Claude home whose transcript supplied the record
  /// The 5m/1h split of the cache write was unusable; all of it counts as 5-minute.
  bool cacheWriteBreakdownAssumed = false;
  std::int64_t input = 0;         ///< tokens
  std::int64_t output = 0;        ///< tokens
  std::int64_t cacheWrite5m = 0;  ///< tokens written to the 5-minute cache
  std::int64_t cacheWrite1h = 0;  ///< tokens written to the 1-hour cache
  std::int64_t cacheRead = 0;     ///< tokens
  std::int64_t webSearch = 0;     ///< web searches made by the server
  std::int64_t webFetch = 0;      ///< web fetches made by the server
  std::int64_t sourceRank = 0;    ///< position of its file in the listing; the lowest describes the request

  /// All tokens; searches and fetches are none.
  std::int64_t totalTokens() const;

  /// Takes from `other`, a line or copy of the same request, each count that is higher and the time if it is
  /// earlier. The descriptive fields stay.
  void raiseTo(const UsageRecord& other);

  friend bool operator==(const UsageRecord&, const UsageRecord&) = default;
};

/// The requests of one file or one scan by request key ("message.id:requestId"), in order of first
/// appearance. The order is kept through saving, loading and growing, so that sums have the same last bit on
/// every run.
class RecordMap {
 public:
  struct Entry {
    InternedText key;
    UsageRecord record;

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  std::span<const Entry> entries() const { return entries_; }
  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  void reserve(std::size_t count) { entries_.reserve(count); }

  /// The record of a key, or null. The pointer is good until the next `insert`.
  UsageRecord* find(InternedText key);

  /// Adds the record of a new key, or replaces the record of a known one in its place.
  void insert(InternedText key, const UsageRecord& record);

  /// Adds the record of a key that is known to be new.
  void append(InternedText key, const UsageRecord& record);

  /// Frees what `find` needs, once a file is read; the next `find` builds it again.
  void dropIndex();

  friend bool operator==(const RecordMap& left, const RecordMap& right) {
    return left.entries_ == right.entries_;
  }

 private:
  void buildIndex();

  std::vector<Entry> entries_;
  absl::flat_hash_map<std::uint32_t, std::uint32_t> index_;  // number of the key to position
  bool indexed_ = false;
};

}  // namespace tallyfin
