#pragma once

// A text that is stored once per process, for values that repeat a few texts thousands of times. The
// four-byte handle is copied, compared and hashed as an integer. Because `number()` is dense, loops over such
// values can index arrays instead of hashing texts.
//
// Texts that are canonically equivalent (NFC) are equal and share one number, but each handle keeps its own
// spelling. For ASCII texts this costs one bit test. Interned texts are never freed.

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

  /// Stores the text unless it is stored already. Ill-formed UTF-8 becomes U+FFFD. May be called from any
  /// thread.
  explicit InternedText(std::string_view text);

  /// Interns many texts and returns their handles in the same order. Faster than interning them one by one.
  static std::vector<InternedText> all(std::span<const std::string_view> texts);

  /// The text as spelled when interned. The view is valid until the process ends.
  std::string_view text() const;

  /// The text in canonical form (NFC). The view is valid until the process ends.
  std::string_view canonical() const;

  /// Whether `text()` is in canonical form.
  bool isCanonical() const { return (id_ & kVariant) == 0; }

  bool empty() const { return id_ == 0; }

  /// A number shared by equal texts. Numbers run from 0, the empty text, to `count()` - 1 without gaps. They
  /// do not reflect any order and, when several threads intern, differ from run to run, so no output may
  /// depend on them.
  std::uint32_t number() const { return isCanonical() ? id_ : numberOfVariant(); }

  /// A number shared only by texts of the same bytes. Like `number`, it differs from run to run.
  std::uint32_t spelling() const { return id_; }

  /// How many numbers have been assigned so far.
  static std::size_t count();

  friend bool operator==(InternedText left, InternedText right) {
    return left.id_ == right.id_ ||
           (((left.id_ | right.id_) & kVariant) != 0 && left.number() == right.number());
  }

  /// Compares the code points of the canonical forms.
  friend std::strong_ordering operator<=>(InternedText left, InternedText right) {
    return left == right ? std::strong_ordering::equal : left.canonical() <=> right.canonical();
  }

  template <typename H>
  friend H AbslHashValue(H state, InternedText text) {
    return H::combine(std::move(state), text.number());
  }

 private:
  // Set if the spelling is not in canonical form; the other bits are then the index in the table of such
  // spellings.
  static constexpr std::uint32_t kVariant = 0x8000'0000;

  std::uint32_t numberOfVariant() const;

  std::uint32_t id_ = 0;
};

}  // namespace tallyfin
