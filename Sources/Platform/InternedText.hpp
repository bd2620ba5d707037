#pragma once

// A text stored once per process, for values that repeat the same few texts thousands of times: a handle of
// four bytes is copied, compared and hashed as an integer, and the dense `number()` lets a pass over such
// values index arrays instead of hashing texts.
//
// Texts that are canonically equivalent (NFC) are equal and share one number, yet each handle keeps the
// spelling it was made from. For texts in ASCII that costs only the test of one bit. Interned texts are never
// freed.

#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

class InternedText {
 public:
  /// The empty text, number 0.
  constexpr InternedText() = default;

  /// Stores the text, or finds it stored. Bytes that are no UTF-8 become U+FFFD. Safe from any thread.
  explicit InternedText(std::string_view text);

  /// Stores many texts, or finds them stored, in the same order. Takes less time than one by one.
  static std::vector<InternedText> all(std::span<const std::string_view> texts);

  /// The text as it was spelled. The view lives as long as the process.
  std::string_view text() const;

  /// The text in canonical form (NFC). The view lives as long as the process.
  std::string_view canonical() const;

  /// Whether `text()` is in canonical form.
  bool isCanonical() const { return (id_ & kVariant) == 0; }

  bool empty() const { return id_ == 0; }

  /// A number that equal texts share, from 0 for the empty text up to `count()` - 1, without gaps. Numbers
  /// say nothing about order and differ from run to run when threads intern at once, so no output may depend
  /// on them.
  std::uint32_t number() const { return isCanonical() ? id_ : numberOfVariant(); }

  /// A number that only texts of the same bytes share. It differs from run to run as `number` does.
  std::uint32_t spelling() const { return id_; }

  /// How many numbers have been given out so far.
  static std::size_t count();

  friend bool operator==(InternedText left, InternedText right) {
    return left.id_ == right.id_ ||
           (((left.id_ | right.id_) & kVariant) != 0 && left.number() == right.number());
  }

  /// By code points of the canonical form.
  friend std::strong_ordering operator<=>(InternedText left, InternedText right) {
    return left == right ? std::strong_ordering::equal : left.canonical() <=> right.canonical();
  }

  template <typename H>
  friend H AbslHashValue(H state, InternedText text) {
    return H::combine(std::move(state), text.number());
  }

 private:
  // Marks a spelling that is not in canonical form; the other bits then index the table of such spellings.
  static constexpr std::uint32_t kVariant = 0x8000'0000;

  std::uint32_t numberOfVariant() const;

  std::uint32_t id_ = 0;
};

}  // namespace tallyfin
