#pragma once

// Values by key, in the order in which the keys first came up: a defined order, so that whoever walks them
// needs no sort to give the same answer on every run. Made for passes in which a key mostly equals the one
// before it: finding it again costs one comparison. Up to six keys are searched without hashing.

#include "absl/container/flat_hash_map.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace tallyfin {

/// Finds keys in a list of rows, pairs of key and value, that it is given with every call, always the same
/// list. Rows are only ever added, at the end; those that were added without this index it takes in at its
/// next call.
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

  /// The position of the key's row; a new row at the end, with an empty value, if there is none.
  template <typename Rows>
  std::size_t place(Rows& rows, const Key& key) {
    if (last_ >= rows.size() || !(rows[last_].first == key)) {
      last_ = static_cast<std::uint32_t>(placeAnew(rows, key));
    }
    return last_;
  }

  /// The position of the key's row, or `rows.size()`.
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

  // At most so many of the newest rows are not in the index but compared one by one, which costs less than
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

  // Of the first `indexed_` rows. Apart, since most of the many indexes of a report never need one.
  std::unique_ptr<Positions> index_;
  std::uint32_t indexed_ = 0;
  std::uint32_t last_ = 0;
};

/// The rows with their index. References and pointers to values are good until a new key is added.
template <typename Key, typename Value>
class KeyedRows {
 public:
  using Row = std::pair<Key, Value>;

  /// The value of a key; a new key gets an empty one.
  Value& operator[](const Key& key) { return rows_[place(key)].second; }

  /// The position of a key's row in the order of first appearance; a new key gets a row at the end. Positions
  /// never change.
  std::size_t place(const Key& key) { return index_.place(rows_, key); }

  /// The key at a position that `place` gave: of keys that compare equal but are spelled differently, the
  /// first that came up.
  const Key& keyAt(std::size_t position) const { return rows_[position].first; }

  /// The value of the row at such a position.
  Value& at(std::size_t position) { return rows_[position].second; }

  /// The value of a key, or null.
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
