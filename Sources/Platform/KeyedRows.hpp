#pragma once

// Maps keys to values and keeps the order in which the keys were added, so iteration gives the same order on
// every run without sorting. Fast when a key mostly equals the previous one: finding it again costs one
// comparison. Up to six keys are searched without hashing.

#include "absl/container/flat_hash_map.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace tallyfin {

/// Finds keys in a list of rows, which are pairs of key and value. The caller owns the list and passes the
/// same one with every call. Rows may only be added, and only at the end. Rows that the caller adds itself
/// are found too.
template <typename Key>
class RowIndex {
 public:
  RowIndex() = default;
  RowIndex(RowIndex&&) noexcept = default;
  RowIndex& operator=(RowIndex&&) noexcept = default;
  RowIndex(const RowIndex& other)
      : index_(other.index_ ? std::make_unique<Positions>(*other.index_) : nullptr),
        indexed_(other.indexed_),
        last_(other.last_) {}
  RowIndex& operator=(const RowIndex& other) {
    *this = RowIndex(other);
    return *this;
  }
  ~RowIndex() = default;

  /// The position of the row with this key. If there is none, adds a row with an empty value at the end.
  template <typename Rows>
  std::size_t place(Rows& rows, const Key& key) {
    if (last_ >= rows.size() || !(rows[last_].first == key)) {
      last_ = static_cast<std::uint32_t>(placeAnew(rows, key));
    }
    return last_;
  }

  /// The position of the row with this key, or `rows.size()` if there is none.
  template <typename Rows>
  std::size_t find(const Rows& rows, const Key& key) const {
    if (index_) {
      const auto known = index_->find(key);
      if (known != index_->end()) {
        return known->second;
      }
    }
    std::size_t at = indexed_;
    while (at < rows.size() && !(rows[at].first == key)) {
      ++at;
    }
    return at;
  }

 private:
  using Positions = absl::flat_hash_map<Key, std::uint32_t>;

  // Up to this many of the newest rows are compared one by one instead of indexed, which costs less than
  // hashing.
  static constexpr std::size_t kUnindexed = 6;

  template <typename Rows>
  std::size_t placeAnew(Rows& rows, const Key& key) {
    const std::size_t at = find(rows, key);
    if (at < rows.size()) {
      return at;
    }
    rows.emplace_back(key, typename Rows::value_type::second_type{});
    if (rows.size() - indexed_ > kUnindexed) {
      if (!index_) {
        index_ = std::make_unique<Positions>();
      }
      for (; indexed_ < rows.size(); ++indexed_) {
        index_->try_emplace(rows[indexed_].first, indexed_);
      }
    }
    return at;
  }

  // Indexes the first `indexed_` rows. Allocated only when needed: most of the many indexes of a report stay
  // below kUnindexed rows.
  std::unique_ptr<Positions> index_;
  std::uint32_t indexed_ = 0;
  std::uint32_t last_ = 0;
};

/// The rows together with their index. Adding a key invalidates references and pointers to values.
template <typename Key, typename Value>
class KeyedRows {
 public:
  using Row = std::pair<Key, Value>;

  /// The value for a key. A new key is added with an empty value.
  Value& operator[](const Key& key) { return rows_[place(key)].second; }

  /// The position of the row with this key, in order of addition. A new key is added at the end. Positions
  /// never change.
  std::size_t place(const Key& key) { return index_.place(rows_, key); }

  /// The key at a position returned by `place`. If keys compare equal but are spelled differently, this is
  /// the first spelling added.
  const Key& keyAt(std::size_t position) const { return rows_[position].first; }

  /// The value at a position returned by `place`.
  Value& at(std::size_t position) { return rows_[position].second; }

  /// The value for a key, or null if the key is absent.
  const Value* find(const Key& key) const {
    const std::size_t position = index_.find(rows_, key);
    return position < rows_.size() ? &rows_[position].second : nullptr;
  }

  auto begin() const { return rows_.begin(); }
  auto end() const { return rows_.end(); }
  std::size_t size() const { return rows_.size(); }
  bool empty() const { return rows_.empty(); }

 private:
  std::vector<Row> rows_;
  RowIndex<Key> index_;
};

}  // namespace tallyfin
