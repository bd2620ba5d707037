#pragma once

// A handle to a text that the process stores only once. It suits fields such as the model of a request, where
// thousands of records contain the same few texts. The handle has four bytes and is copied as an integer. It
// is compared and hashed by its number. Numbers have no gaps, so code can use them as array indexes instead
// of hashing texts.
//
// Texts that are canonically equivalent (have the same NFC form) are equal and have the same number. Each
// handle still returns the spelling with which it was made. Stored texts are never freed.

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

  /// Makes a handle to the text, and stores the text if it is new. Each maximal ill-formed UTF-8 sequence
  /// becomes U+FFFD. May be called from any thread.
  explicit InternedText(std::string_view text);

  /// Makes a handle to each text and returns the handles in the order of `texts`. This is faster than one
  /// constructor call per text.
  static std::vector<InternedText> all(std::span<const std::string_view> texts);

  /// The text as passed to the constructor, with ill-formed UTF-8 replaced. The view is valid until the
  /// process ends.
  std::string_view text() const;

  /// The text in canonical form (NFC). The view is valid until the process ends.
  std::string_view canonical() const;

  /// Whether `text()` is in canonical form.
  bool isCanonical() const { return (id_ & kVariant) == 0; }

  bool empty() const { return id_ == 0; }

  /// The number of the text. Equal texts have the same number. Numbers run from 0 (the empty text) to
  /// `count()` - 1 without gaps. If several threads make handles, a text can get another number in each run.
  /// Therefore no output may depend on numbers or their order.
  std::uint32_t number() const { return isCanonical() ? id_ : numberOfVariant(); }

  /// A number that identifies the exact bytes of the text. Two spellings of equal texts have different
  /// spelling numbers. A text can get another spelling number in each run.
  std::uint32_t spelling() const { return id_; }

  /// How many numbers (see `number`) have been assigned so far.
  static std::size_t count();

  friend bool operator==(InternedText left, InternedText right) {
    return left.id_ == right.id_ ||
           (((left.id_ | right.id_) & kVariant) != 0 && left.number() == right.number());
  }

  /// Compares the canonical forms by code point.
  friend std::strong_ordering operator<=>(InternedText left, InternedText right) {
    return left == right ? std::strong_ordering::equal : left.canonical() <=> right.canonical();
  }

  template <typename H>
  friend H AbslHashValue(H state, InternedText text) {
    return H::combine(std::move(state), text.number());
  }

 private:
  // This bit of `id_` is 0 if the spelling is canonical: `id_` is then the number. If the bit is 1, the other
  // bits are the index of the spelling in the table of spellings that are not canonical.
  static constexpr std::uint32_t kVariant = 0x8000'0000;

  std::uint32_t numberOfVariant() const;

  std::uint32_t id_ = 0;
};

}  // namespace tallyfin
