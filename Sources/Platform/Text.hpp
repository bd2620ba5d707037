#pragma once

// UTF-8 text as users perceive it: characters are extended grapheme clusters (Unicode UAX #29), equality is
// canonical equivalence (NFC, UAX #15), lower case is Unicode's. ASCII, which is nearly all text, has fast
// paths without table lookups.
//
//   Text::fitted("Größe", 7)      // "Größe  ", two spaces: five characters, seven bytes
//   Text::contains("café", "fe")  // false: é is one character, spelled either way
//
// Every operation treats each maximal ill-formed byte sequence as one U+FFFD. Returned views point into the
// argument and are valid while it is.

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>

namespace tallyfin::Text {

/// True when every byte is below 128.
bool isAscii(std::string_view text);

/// Whether the bytes are well-formed UTF-8 (no surrogates, no overlong forms).
bool isValidUtf8(std::string_view bytes);

/// The bytes with each maximal ill-formed sequence replaced by U+FFFD.
std::string repaired(std::string_view bytes);

/// The canonical composition (NFC). Ill-formed bytes are repaired first.
std::string canonical(std::string_view text);

/// The text in lower case by Unicode's full mapping (U+0130 becomes two code points), independent of the
/// locale.
std::string lowercased(std::string_view text);

/// The text without leading and trailing blanks: Unicode space separators (category Zs) and tabs. Line ends
/// are kept.
std::string_view trimmedBlanks(std::string_view text);

/// The text without leading and trailing white space: blanks as above, U+000A to U+000D, U+0085, U+2028,
/// U+2029.
std::string_view trimmedWhitespace(std::string_view text);

/// The number of user-perceived characters.
std::size_t characterCount(std::string_view text);

/// The first `count` characters, or the whole text if it has fewer.
std::string_view prefix(std::string_view text, std::size_t count);

/// The last `count` characters, or the whole text if it has fewer.
std::string_view suffix(std::string_view text, std::size_t count);

/// The text in exactly `width` characters: truncated without an ellipsis, or padded with spaces on the right.
std::string fitted(std::string_view text, std::size_t width);

/// The text made safe to display. Code points without a shape of their own (controls, direction marks,
/// zero-width characters except joiners, noncharacters, line and paragraph separators) are written as
/// \u{202e}. In a text of more than `limit` code points, an ellipsis replaces the middle; `limit` is at least
/// 4.
std::string visible(std::string_view text, std::size_t limit);

/// Whether every character of the text is a number (Unicode categories Nd, Nl and No); false for empty text.
bool isAllNumbers(std::string_view text);

/// Appends a code point, encoded in UTF-8.
void appendCodePoint(std::string& out, char32_t point);

/// Whether the first code point of the text is a letter or a number (Unicode categories L and N); false for
/// empty text.
bool beginsWithLetterOrNumber(std::string_view text);

/// Whether the canonical form of `text` begins with the canonical form of `start`, in whole characters.
bool hasPrefix(std::string_view text, std::string_view start);

/// Whether the canonical form of `text` contains the canonical form of `part`, in whole characters. Every
/// text contains an empty `part`.
bool contains(std::string_view text, std::string_view part);

/// Orders texts by the code points of their canonical forms; canonically equivalent texts are equal.
std::strong_ordering compare(std::string_view left, std::string_view right);

/// A total order for lists of paths and names: that of `compare`, then that of the bytes.
bool isBefore(std::string_view left, std::string_view right);

}  // namespace tallyfin::Text
