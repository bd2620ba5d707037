#include "Platform/InternedText.hpp"

#include "Platform/Text.hpp"
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
#include <utility>
#include <vector>

namespace tallyfin {
namespace {

// An array that grows without moving its elements, so threads can read without a lock while others append. A
// thread may use only indexes that it received from the writing thread through a lock or another
// synchronisation, which makes the element visible to it.
template <typename T>
class GrowingArray {
 public:
  const T& operator[](std::uint32_t index) const {
    return blocks_[index >> kBlockBits].load(std::memory_order_acquire)[index & kBlockMask];
  }

  // May be called from any thread. Takes no lock, because all interning threads append here.
  std::uint32_t append(const T& value) {
    const std::uint32_t index = size_.fetch_add(1, std::memory_order_relaxed);
    std::atomic<T*>& block = blocks_[index >> kBlockBits];
    T* elements = block.load(std::memory_order_acquire);
    if (elements == nullptr) {
      auto fresh = std::make_unique<T[]>(std::size_t{kBlockMask} + 1);
      // If another thread has set the block first, the exchange stores that thread's block in `elements`.
      if (block.compare_exchange_strong(elements, fresh.get(), std::memory_order_acq_rel)) {
        elements = fresh.release();
      }
    }
    elements[index & kBlockMask] = value;
    return index;
  }

  std::uint32_t size() const { return size_.load(std::memory_order_relaxed); }

 private:
  static constexpr unsigned kBlockBits = 14;
  static constexpr std::uint32_t kBlockMask = (1U << kBlockBits) - 1;
  static constexpr std::size_t kBlocks = std::size_t{1} << (31 - kBlockBits);

  std::atomic<std::uint32_t> size_{0};
  std::array<std::atomic<T*>, kBlocks> blocks_{};
};

// Stores texts that stay at their address until the process ends.
class Arena {
 public:
  std::string_view keep(std::string_view text) {
    if (text.size() > left_) {
      const std::size_t size = std::max(kFirstBlock << std::min(blocks_.size(), kDoublings), text.size());
      blocks_.push_back(std::make_unique_for_overwrite<char[]>(size));
      next_ = blocks_.back().get();
      left_ = size;
    }
    char* const start = next_;
    std::memcpy(start, text.data(), text.size());
    next_ += text.size();
    left_ -= text.size();
    return {start, text.size()};
  }

 private:
  static constexpr std::size_t kFirstBlock = std::size_t{16} * 1024;
  static constexpr std::size_t kDoublings = 3;  // large blocks save calls to the system

  std::vector<std::unique_ptr<char[]>> blocks_;
  char* next_ = nullptr;
  std::size_t left_ = 0;
};

// The lower half of a good hash. Debian's Abseil hashes its own string_view with a fast function, but
// std::string_view with the slower one of the standard library.
std::uint32_t hashOf(std::string_view text) {
  return static_cast<std::uint32_t>(
      absl::Hash<absl::string_view>()(absl::string_view(text.data(), text.size())));
}

// Finds the index of a text by its hash, with open addressing and eight bytes per slot. A hash map of texts
// would use three times the memory and hash every text again when it grows; with it, a warm answer takes 18 %
// longer.
class Slots {
 public:
  // The index of the text, or nothing. `isText` returns whether an index is that of the wanted text.
  template <typename IsText>
  std::optional<std::uint32_t> find(std::uint32_t hash, IsText isText) const {
    const std::size_t mask = mask_.load(std::memory_order_relaxed);
    for (std::size_t at = hash & mask; slots_[at].next != 0; at = (at + 1) & mask) {
      if (slots_[at].hash == hash && isText(slots_[at].next - 1)) {
        return slots_[at].next - 1;
      }
    }
    return std::nullopt;
  }

  void insert(std::uint32_t hash, std::uint32_t index) {
    if (++count_ > slots_.size() / 4 * 3) {
      enlarge(2 * slots_.size());
    }
    put({hash, index + 1});
  }

  // Loads the slot that `find` will read into the processor's cache. Needs no lock: if another thread
  // enlarges the table meanwhile, the wrong memory is loaded, which is harmless.
  void prefetch(std::uint32_t hash) const {
    const std::uintptr_t start = start_.load(std::memory_order_relaxed);
    const std::size_t at = hash & mask_.load(std::memory_order_relaxed);
    __builtin_prefetch(
        reinterpret_cast<const void*>(start + at * sizeof(Slot)));  // NOLINT(performance-no-int-to-ptr)
  }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t next = 0;  // the index plus 1; 0 if the slot is free
  };

  void put(Slot slot) {
    std::size_t at = slot.hash & mask_;
    while (slots_[at].next != 0) {
      at = (at + 1) & mask_;
    }
    slots_[at] = slot;
  }

  void enlarge(std::size_t size) {
    const std::vector<Slot> before = std::exchange(slots_, std::vector<Slot>(size));
    mask_ = size - 1;
    start_ = startOf(slots_);
    for (const Slot& slot : before) {
      if (slot.next != 0) {
        put(slot);
      }
    }
  }

  static std::uintptr_t startOf(const std::vector<Slot>& slots) {
    return reinterpret_cast<std::uintptr_t>(slots.data());
  }

  std::vector<Slot> slots_ = std::vector<Slot>(64);
  std::atomic<std::size_t> mask_ = 63;
  std::atomic<std::uintptr_t> start_ = startOf(slots_);
  std::size_t count_ = 0;
};

// One of several tables, each with its own lock, so that interning threads seldom wait for each other. With a
// single table a warm answer takes 6 % longer.
struct Shard {
  std::mutex lock;
  Slots slots;
  Arena arena;
};

struct Variant {
  std::string_view text;
  std::uint32_t number = 0;
};

class Pool {
 public:
  Pool() { texts_.append({}); }  // number 0 is the empty text

  // The number of a text that is in canonical form.
  std::uint32_t number(std::string_view text) { return number(text, hashOf(text)); }

  // Sets the numbers of ASCII texts and leaves those of other texts unchanged. Prefetches the slots of a
  // whole batch, because a lookup mostly waits for memory. Without batches a warm answer takes 5 % longer.
  void numbersOfAscii(std::span<const std::string_view> texts, std::span<std::uint32_t> numbers) {
    constexpr std::size_t kBatch = 32;
    std::array<std::uint32_t, kBatch> hashes{};
    for (std::size_t start = 0; start < texts.size(); start += kBatch) {
      const std::span batch = texts.subspan(start, std::min(kBatch, texts.size() - start));
      for (std::size_t i = 0; i < batch.size(); ++i) {
        hashes[i] = hashOf(batch[i]);
        shardOf(hashes[i]).slots.prefetch(hashes[i]);
      }
      for (std::size_t i = 0; i < batch.size(); ++i) {
        if (!batch[i].empty() && Text::isAscii(batch[i])) {
          numbers[start + i] = number(batch[i], hashes[i]);
        }
      }
    }
  }

  // The number or index of a text stored with exactly these bytes. All stored texts are well-formed, so a
  // text that is found needs no check.
  std::optional<std::uint32_t> knownNumber(std::string_view text) {
    const std::uint32_t hash = hashOf(text);
    Shard& shard = shardOf(hash);
    const std::lock_guard guard(shard.lock);
    return shard.slots.find(hash, [&](std::uint32_t number) { return texts_[number] == text; });
  }
  std::optional<std::uint32_t> knownVariant(std::string_view text) {
    const std::lock_guard guard(variantShard_.lock);
    return findVariant(text, hashOf(text));
  }

  // The index of `text`, a spelling of the text `canonical`.
  std::uint32_t variant(std::string_view text, std::string_view canonical) {
    const std::uint32_t number = this->number(canonical);
    const std::uint32_t hash = hashOf(text);
    const std::lock_guard guard(variantShard_.lock);
    if (const auto known = findVariant(text, hash)) {
      return *known;
    }
    const std::uint32_t index = variants_.append({variantShard_.arena.keep(text), number});
    variantShard_.slots.insert(hash, index);
    return index;
  }

  std::string_view text(std::uint32_t number) const { return texts_[number]; }
  const Variant& variantAt(std::uint32_t index) const { return variants_[index]; }
  std::size_t size() const { return texts_.size(); }

 private:
  static constexpr std::size_t kShards = 16;

  // The top four bits of the hash choose the shard; the lowest ones choose the slot in it.
  Shard& shardOf(std::uint32_t hash) { return shards_[hash >> 28]; }

  std::uint32_t number(std::string_view text, std::uint32_t hash) {
    Shard& shard = shardOf(hash);
    const std::lock_guard guard(shard.lock);
    if (const auto known =
            shard.slots.find(hash, [&](std::uint32_t number) { return texts_[number] == text; })) {
      return *known;
    }
    const std::uint32_t number = texts_.append(shard.arena.keep(text));
    shard.slots.insert(hash, number);
    return number;
  }

  std::optional<std::uint32_t> findVariant(std::string_view text, std::uint32_t hash) const {
    return variantShard_.slots.find(hash, [&](std::uint32_t index) { return variants_[index].text == text; });
  }

  std::array<Shard, kShards> shards_;
  GrowingArray<std::string_view> texts_;
  Shard variantShard_;
  GrowingArray<Variant> variants_;
};

// Never destroyed, because handles are used until the process ends.
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
  // Looking up a stored text takes a tenth of the time needed to compute its canonical form.
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

std::vector<InternedText> InternedText::all(std::span<const std::string_view> texts) {
  std::vector<std::uint32_t> numbers(texts.size(), 0);
  pool().numbersOfAscii(texts, numbers);
  std::vector<InternedText> all(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (numbers[i] != 0 || texts[i].empty()) {
      all[i].id_ = numbers[i];
    } else {
      all[i] = InternedText(texts[i]);
    }
  }
  return all;
}

std::string_view InternedText::text() const {
  return isCanonical() ? pool().text(id_) : pool().variantAt(id_ & ~kVariant).text;
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
