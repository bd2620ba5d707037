#pragma once

// JSON read by another parser into a tree, with none of the reader's short cuts. What it says of a document
// is what the fast reader must say. Of equal keys the last wins; a number that is no integer of 64 bits stays
// as it was written.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Fuzz {

struct PlainValue {
  enum class Kind : std::uint8_t { null, truth, falsehood, number, text, array, object };

  Kind kind = Kind::null;
  std::string text = {};  ///< of a text; the digits of a number
  std::vector<PlainValue> elements = {};
  std::map<std::string, PlainValue> members = {};

  bool isObject() const { return kind == Kind::object; }

  /// The member when this is an object that has it; null otherwise.
  const PlainValue* member(const std::string& key) const;

  /// The text of a member that is one.
  std::optional<std::string> textMember(const std::string& key) const;

  friend bool operator==(const PlainValue&, const PlainValue&) = default;
};

/// What a document comes to.
struct PlainJson {
  std::optional<PlainValue> value;  ///< absent when it is not valid, or nested deeper than the reader goes
  bool isBeyond =
      false;  ///< absent for a number that the other parser has no kind for; nothing is said of it
};
PlainJson readPlainJson(std::string_view document);

/// A number of a document to 64 bits: cut off towards 0, and to the nearest that fits.
std::int64_t plainInteger(std::string_view digits);

}  // namespace tallyfin::Fuzz
