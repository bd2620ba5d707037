#pragma once

// A request with its usage and the agent that made it. Everything except transcripts is computed from these
// records. They are small and trivially copyable, because a history has hundreds of thousands.

#include "Platform/InternedText.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/TimePoint.hpp"
#include "absl/container/flat_hash_map.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

/// Which agent made a request: the main session, a named sub-agent, or a sub-agent known only by its id.
class AgentIdentity {
 public:
  enum class Kind : std::uint8_t { main, named, anonymous };

  /// The main session.
  constexpr AgentIdentity() = default;
  static AgentIdentity main() { return {}; }
  static AgentIdentity named(InternedText name, InternedText rawId) { return {Kind::named, name, rawId}; }
  static AgentIdentity anonymous(InternedText rawId) { return {Kind::anonymous, {}, rawId}; }

  /// Parses the agent id of a transcript line. An empty id is `main`. An id of "a", a name, "-" and 16 or 17
  /// lower-case hexadecimal digits is `named`; the name may contain hyphens. Any other id is `anonymous`.
  static AgentIdentity parse(InternedText rawAgentId);

  Kind kind() const { return kind_; }
  bool isSubagent() const { return kind_ != Kind::main; }

  /// The name of a named agent; empty otherwise.
  InternedText name() const { return name_; }

  /// The whole raw id; empty for `main`.
  InternedText rawId() const { return rawId_; }

  /// The text shown to users: the name; "anonymous agent " and the first 9 characters of the id; or "main
  /// session".
  std::string label() const;

  /// As `label`, with the whole id: "reviewer  [areviewer-0123456789abcdef]", "anonymous agent  [f00d]",
  /// "main session (no agentId)".
  std::string labelWithId() const;

  /// The text by which rankings break ties: the raw id, or "(main)".
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

/// The usage of one request, exactly as in the transcript, even if negative; or sums over several requests.
/// Sums saturate at the smallest and largest 64-bit values.
struct UsageCounts {
  std::int64_t input = 0;  ///< tokens, like the next four members
  std::int64_t output = 0;
  std::int64_t cacheWrite5m = 0;  ///< written to the 5-minute cache
  std::int64_t cacheWrite1h = 0;  ///< written to the 1-hour cache
  std::int64_t cacheRead = 0;
  std::int64_t webSearch = 0;  ///< web searches made by the server
  std::int64_t webFetch = 0;   ///< web fetches made by the server

  std::int64_t cacheWrite() const { return saturatingAdd(cacheWrite5m, cacheWrite1h); }

  /// All tokens. Web searches and fetches are not tokens.
  std::int64_t totalTokens() const {
    return saturatingAdd(saturatingAdd(saturatingAdd(input, output), cacheWrite()), cacheRead);
  }

  void add(const UsageCounts& other) {
    forEachCount(other, [](std::int64_t& sum, std::int64_t count) { sum = saturatingAdd(sum, count); });
  }

  /// Sets each count to the higher of its own value and that of `other`.
  void raiseTo(const UsageCounts& other) {
    forEachCount(other, [](std::int64_t& own, std::int64_t count) { own = std::max(own, count); });
  }

  /// All counts combined by bitwise or. No count exceeds the result; if a count is negative, the result
  /// exceeds 2^63 - 1.
  std::uint64_t allBits() const {
    return static_cast<std::uint64_t>(input | output | cacheWrite5m | cacheWrite1h | cacheRead | webSearch |
                                      webFetch);
  }

  friend bool operator==(const UsageCounts&, const UsageCounts&) = default;

 private:
  template <typename F>
  void forEachCount(const UsageCounts& other, F&& change) {
    change(input, other.input);
    change(output, other.output);
    change(cacheWrite5m, other.cacheWrite5m);
    change(cacheWrite1h, other.cacheWrite1h);
    change(cacheRead, other.cacheRead);
    change(webSearch, other.webSearch);
    change(webFetch, other.webFetch);
  }
};

/// One request.
struct UsageRecord : UsageCounts {
  TimePoint timestamp;  ///< earliest time stamp of all lines of the request
  InternedText model;   ///< reduced model id; "unknown" if the line names no model
  InternedText sessionId;
  InternedText rawCwd;  ///< working directory as in the line; empty if absent
  AgentIdentity agent;
  InternedText sourceHome;  ///< name of the Claude home whose transcript provided the record
  /// The split of the cache write into 5m and 1h was unusable, so all of it counts as 5-minute.
  bool cacheWriteBreakdownAssumed = false;
  std::int64_t sourceRank = 0;  ///< position of its file in the listing; of several copies, the one with the
                                ///< lowest rank describes the request

  /// Merges `other`, a line or copy of the same request: takes each count that is higher, and the time if it
  /// is earlier. The descriptive fields do not change.
  void raiseTo(const UsageRecord& other);

  friend bool operator==(const UsageRecord&, const UsageRecord&) = default;
};

/// The requests of one file or one scan by request key ("message.id:requestId"), in order of first
/// appearance. Saving, loading and appending keep the order, so floating-point sums are identical on every
/// run.
class RecordMap {
 public:
  struct Entry {
    InternedText key;
    UsageRecord record;

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  std::span<const Entry> entries() const { return entries_; }
  std::size_t size() const { return entries_.size(); }
  void reserve(std::size_t count) { entries_.reserve(count); }

  /// The record for a key, or null. The pointer is valid until the next `insert` or `append`.
  UsageRecord* find(InternedText key);

  /// Adds a record, or replaces the existing record with this key at its position.
  void insert(InternedText key, const UsageRecord& record);

  /// Adds a record whose key the caller knows to be new.
  void append(InternedText key, const UsageRecord& record);

  /// Frees the index that `find` uses; call it when a file has been read. The next `find` builds the index
  /// again.
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

/// A list of requests in a defined order. Refers to the records of the files instead of copying them, and
/// keeps them alive. Copies of the list share them.
class RecordList {
 public:
  /// Iterates over the requests.
  class Iterator {
   public:
    using value_type = UsageRecord;
    using difference_type = std::ptrdiff_t;

    Iterator() = default;
    explicit Iterator(const RecordMap::Entry* const* at) : at_(at) {}

    const UsageRecord& operator*() const { return (*at_)->record; }
    const UsageRecord* operator->() const { return &(*at_)->record; }
    Iterator& operator++() {
      ++at_;
      return *this;
    }
    Iterator operator++(int) { return Iterator(at_++); }

    friend bool operator==(const Iterator&, const Iterator&) = default;

   private:
    const RecordMap::Entry* const* at_ = nullptr;
  };

  RecordList() = default;

  /// A list of copies of `records`.
  RecordList(const std::vector<UsageRecord>& records);

  /// Refers to `entries`, which must be valid while `owner` is alive.
  RecordList(std::vector<const RecordMap::Entry*> entries, std::shared_ptr<const void> owner)
      : entries_(std::move(entries)), owner_(std::move(owner)) {}

  std::size_t size() const { return entries_.size(); }
  const UsageRecord& operator[](std::size_t position) const { return entries_[position]->record; }
  Iterator begin() const { return Iterator(entries_.data()); }
  Iterator end() const { return Iterator(entries_.data() + entries_.size()); }

  /// Whether both lists contain equal requests in the same order.
  friend bool operator==(const RecordList& left, const RecordList& right);

 private:
  std::vector<const RecordMap::Entry*> entries_;
  std::shared_ptr<const void> owner_;
};

}  // namespace tallyfin
