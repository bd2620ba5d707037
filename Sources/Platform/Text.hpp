#pragma once

// Functions on UTF-8 text that follow the Unicode rules. A character is an extended grapheme cluster (UAX
// #29). Two texts are equal if they are canonically equivalent, which means that their NFC forms are the same
// (UAX #15). Nearly all text is ASCII, so the functions handle ASCII text without table lookups.
//
//   Text::fitted("Größe", 7)      // "Größe  ": five characters and two spaces
//   Text::contains("café", "fe")  // false: "é" is one character, even if it is stored as "e" and an accent
//
// Each function treats every maximal ill-formed byte sequence as one U+FFFD. A returned view points into the
// argument, so it is valid as long as the argument's bytes are.

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>

namespace tallyfin::Text {

/// Whether every byte is below 128.
bool isAscii(std::string_view text);

/// Whether the bytes are well-formed UTF-8. Surrogates and overlong forms are not well-formed.
bool isValidUtf8(std::string_view bytes);

/// The bytes with each maximal ill-formed sequence replaced by U+FFFD.
std::string repaired(std::string_view bytes);

/// The canonical form (NFC) of `repaired(text)`.
std::string canonical(std::string_view text);

/// The text in lower case by Unicode's full mapping, which turns U+0130 into two code points. The result does
/// not depend on the locale.
std::string lowercased(std::string_view text);

/// The text without leading and trailing blanks. A blank is a tab or a Unicode space separator (category Zs).
/// A line feed or carriage return is not a blank.
std::string_view trimmedBlanks(std::string_view text);

/// The text without leading and trailing white space: blanks (see `trimmedBlanks`), U+000A to U+000D, U+0085,
/// U+2028 and U+2029.
std::string_view trimmedWhitespace(std::string_view text);

/// The number of characters (grapheme clusters).
std::size_t characterCount(std::string_view text);

/// The first `count` characters, or the whole text if it has fewer.
std::string_view prefix(std::string_view text, std::size_t count);

/// The last `count` characters, or the whole text if it has fewer.
std::string_view suffix(std::string_view text, std::size_t count);

/// The text with exactly `width` characters. A longer text is truncated without an ellipsis; a shorter text
/// is padded with spaces on the right.
std::string fitted(std::string_view text, std::size_t width);

/// The text made safe to display. Each code point of the following kinds is replaced by its number, such as
/// \u{202e}: controls, direction marks, zero-width characters except joiners, noncharacters, line separators
/// and paragraph separators. If the text has more than `limit` code points, an ellipsis replaces the middle.
/// `limit` must be at least 4.
std::string visible(std::string_view text, std::size_t limit);

/// Whether every code point of the text is a number (Unicode category Nd, Nl or No). False for an empty text.
bool isAllNumbers(std::string_view text);

/// Encodes the code point in UTF-8 and appends it to `out`.
void appendCodePoint(std::string& out, char32_t point);

/// Whether the first code point of the text is a letter or a number (Unicode category L or N). False for an
/// empty text.
bool beginsWithLetterOrNumber(std::string_view text);

/// Whether the canonical form of `text` begins with that of `start`, compared by whole characters: "é" does
/// not begin with "e". Every text begins with an empty `start`.
bool hasPrefix(std::string_view text, std::string_view start);

/// Whether the canonical form of `text` contains that of `part`, compared by whole characters. Every text
/// contains an empty `part`.
bool contains(std::string_view text, std::string_view part);

/// Compares the canonical forms by code point. Canonically equivalent texts are equal.
std::strong_ordering compare(std::string_view left, std::string_view right);

/// Whether `left` comes before `right` in sorted lists of paths and names. Texts that are equal by `compare`
/// are ordered by their bytes.
bool isBefore(std::string_view left, std::string_view right);

}  // namespace tallyfin::Text
