#include "Platform/InternedText.hpp"

#include "Platform/Text.hpp"
#include "absl/container/flat_hash_map.h"
#include "absl/hash/hash.h"
#include "absl/strings/string_view.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin {
namespace {

// An array that grows without moving: readers index it without a lock while others append. Whoever holds an
// index got it from the thread that wrote the element, so the element is visible.
template <typename T>
class GrowingArray {
 public:
  const T& operator[](std::uint32_t index) const {
    return blocks_[index >> kBlockBits].load(std::memory_order_acquire)[index & kBlockMask];
  }

  std::uint32_t append(const T& value) {
    const std::lock_guard guard(lock_);
    const std::uint32_t index = size_.load(std::memory_order_relaxed);
    std::atomic<T*>& block = blocks_[index >> kBlockBits];
    if (block.load(std::memory_order_relaxed) == nullptr) {
      block.store(new T[std::size_t{kBlockMask} + 1], std::memory_order_release);
    }
    block.load(std::memory_order_relaxed)[index & kBlockMask] = value;
    size_.store(index + 1, std::memory_order_release);
    return index;
  }

  std::uint32_t size() const { return size_.load(std::memory_order_acquire); }

 private:
  static constexpr unsigned kBlockBits = 14;
  static constexpr std::uint32_t kBlockMask = (1U << kBlockBits) - 1;
  static constexpr std::size_t kBlocks = std::size_t{1} << (31 - kBlockBits);

  std::mutex lock_;
  std::atomic<std::uint32_t> size_{0};
  std::array<std::atomic<T*>, kBlocks> blocks_{};
};

// Bytes that stay where they are until the process ends.
class Arena {
 public:
  std::string_view keep(std::string_view text) {
    if (text.size() > left_) {
      const std::size_t size = std::max(kBlock, text.size());
      blocks_.push_back(std::make_unique_for_overwrite<char[]>(size));
      next_ = blocks_.back().get();
      left_ = size;
    }
    char* const place = next_;
    std::memcpy(place, text.data(), text.size());
    next_ += text.size();
    left_ -= text.size();
    return {place, text.size()};
  }

 private:
  static constexpr std::size_t kBlock = std::size_t{16} * 1024;

  std::vector<std::unique_ptr<char[]>> blocks_;
  char* next_ = nullptr;
  std::size_t left_ = 0;
};

// Debian's Abseil hashes its own string_view well and leaves std::string_view to a slower function of the
// library.
struct Hash {
  std::size_t operator()(std::string_view text) const {
    return absl::Hash<absl::string_view>()(absl::string_view(text.data(), text.size()));
  }
};

// One of several tables, each with its own lock, so that the threads of a parallel scan seldom wait for each
// other.
struct Shard {
  std::mutex lock;
  absl::flat_hash_map<std::string_view, std::uint32_t, Hash> idOf;
  Arena arena;

  std::optional<std::uint32_t> find(std::string_view text) {
    const std::lock_guard guard(lock);
    const auto known = idOf.find(text);
    return known == idOf.end() ? std::nullopt : std::optional(known->second);
  }
};

struct Variant {
  std::string_view text;
  std::uint32_t number = 0;
};

class Pool {
 public:
  Pool() { texts_.append({}); }  // number 0 is the empty text

  // The number of a text in canonical form.
  std::uint32_t number(std::string_view text) {
    Shard& shard = texts(text);
    const std::lock_guard guard(shard.lock);
    const auto known = shard.idOf.find(text);
    if (known != shard.idOf.end()) {
      return known->second;
    }
    const std::string_view kept = shard.arena.keep(text);
    const std::uint32_t number = texts_.append(kept);
    shard.idOf.emplace(kept, number);
    return number;
  }

  // The number or index of a text that was stored with just these bytes. All that is stored is well-formed,
  // so a text that is found needs no look at its characters.
  std::optional<std::uint32_t> knownNumber(std::string_view text) { return texts(text).find(text); }
  std::optional<std::uint32_t> knownVariant(std::string_view text) { return variantShard_.find(text); }

  // The index of a spelling of the text `canonical`.
  std::uint32_t variant(std::string_view text, std::string_view canonical) {
    const std::uint32_t number = this->number(canonical);
    const std::lock_guard guard(variantShard_.lock);
    const auto known = variantShard_.idOf.find(text);
    if (known != variantShard_.idOf.end()) {
      return known->second;
    }
    const std::string_view kept = variantShard_.arena.keep(text);
    const std::uint32_t index = variants_.append({kept, number});
    variantShard_.idOf.emplace(kept, index);
    return index;
  }

  std::string_view text(std::uint32_t number) const { return texts_[number]; }
  const Variant& variantAt(std::uint32_t index) const { return variants_[index]; }
  std::size_t size() const { return texts_.size(); }

 private:
  static constexpr std::size_t kShards = 16;

  // Ids differ in their last characters.
  Shard& texts(std::string_view text) {
    const auto last = static_cast<unsigned char>(text.back());
    const auto middle = static_cast<unsigned char>(text[text.size() / 2]);
    return shards_[(text.size() + last + std::size_t{middle} * 5) % kShards];
  }

  std::array<Shard, kShards> shards_;
  GrowingArray<std::string_view> texts_;
  Shard variantShard_;
  GrowingArray<Variant> variants_;
};

// Never destroyed: handles are used until the very end of the process.
Pool& pool() {
  static Pool& instance = *new Pool;
  return instance;
}

}  // namespace

InternedText::InternedText(std::string_view text) {
  if (text.empty()) {
    return;
  }
  if (Text::isAscii(text)) {
    id_ = pool().number(text);
    return;
  }
  // Finding a text stored takes a tenth of the time that its canonical form takes.
  if (const auto number = pool().knownNumber(text)) {
    id_ = *number;
    return;
  }
  if (const auto index = pool().knownVariant(text)) {
    id_ = *index | kVariant;
    return;
  }
  const std::string spelled = Text::repaired(text);
  const std::string canonical = Text::canonical(spelled);
  id_ = spelled == canonical ? pool().number(spelled) : (pool().variant(spelled, canonical) | kVariant);
}

std::string_view InternedText::text() const {
  return (id_ & kVariant) == 0 ? pool().text(id_) : pool().variantAt(id_ & ~kVariant).text;
}

std::string_view InternedText::canonical() const {
  return pool().text(number());
}

std::size_t InternedText::count() {
  return pool().size();
}

std::uint32_t InternedText::numberOfVariant() const {
  return pool().variantAt(id_ & ~kVariant).number;
}

}  // namespace tallyfin
