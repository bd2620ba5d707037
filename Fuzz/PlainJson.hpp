#pragma once

// Reads JSON into a tree with an independent parser, without the fast reader's shortcuts. Both must give the
// same result. Of equal keys the last one wins; numbers that are not 64-bit integers are kept as written.

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
  std::string text = {};  ///< the value of a text; the digits of a number
  std::vector<PlainValue> elements = {};
  std::map<std::string, PlainValue> members = {};

  bool isObject() const { return kind == Kind::object; }

  /// The member with this key; null if there is none or this is not an object.
  const PlainValue* member(const std::string& key) const;

  /// The text of a member; absent if the member is not a text.
  std::optional<std::string> textMember(const std::string& key) const;

  friend bool operator==(const PlainValue&, const PlainValue&) = default;
};

/// The result of parsing a document.
struct PlainJson {
  std::optional<PlainValue> value;  ///< absent if invalid or nested too deeply for the reader
  bool isBeyond =
      false;  ///< absent for a number that the other parser has no kind for; nothing is said of it
};
PlainJson readPlainJson(std::string_view document);

/// Converts a JSON number to 64 bits: truncates towards 0 and clamps to the range.
std::int64_t plainInteger(std::string_view digits);

}  // namespace tallyfin::Fuzz
