#pragma once

// Text in UTF-8 as people see it: user-perceived characters (extended grapheme clusters, Unicode UAX #29),
// canonical equivalence (NFC, UAX #15), Unicode lower case. ASCII, which is nearly all text, is handled
// without tables where that saves time.
//
//   Text::fitted("Größe", 7)      // "Größe  ", two spaces: five characters, seven bytes
//   Text::contains("café", "fe")  // false: é is one character, spelled either way
//
// Ill-formed bytes count as U+FFFD, one for each maximal ill-formed sequence, in every operation.
// Views that come back point into the argument and live as long as it does.

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>

namespace tallyfin::Text {

/// True when every byte is below 128.
bool isAscii(std::string_view text);

/// True when the bytes are well-formed UTF-8 (no surrogates, no overlong forms).
bool isValidUtf8(std::string_view bytes);

/// The bytes with each maximal ill-formed sequence replaced by U+FFFD; well-formed bytes come back as they
/// are.
std::string repaired(std::string_view bytes);

/// The canonical composition (NFC). Ill-formed bytes are repaired first.
std::string canonical(std::string_view text);

/// The text in lower case by Unicode's full mapping (U+0130 becomes two code points), whatever the locale.
std::string lowercased(std::string_view text);

/// Without spaces and tabs at both ends: the Unicode space separators (category Zs) and the tab. Line ends
/// stay.
std::string_view trimmedBlanks(std::string_view text);

/// Without white space of any kind at both ends: blanks as above, U+000A to U+000D, U+0085, U+2028, U+2029.
std::string_view trimmedWhitespace(std::string_view text);

/// The number of user-perceived characters.
std::size_t characterCount(std::string_view text);

/// The first `count` characters; all of the text when it has no more.
std::string_view prefix(std::string_view text, std::size_t count);

/// The last `count` characters; all of the text when it has no more.
std::string_view suffix(std::string_view text, std::size_t count);

/// Exactly `width` characters: cut without a mark, or filled with spaces on the right.
std::string fitted(std::string_view text, std::size_t width);

/// The text as a person may safely see it: code points without a shape of their own (controls, marks of
/// direction, zero widths but for the joiners, noncharacters, line and paragraph separators) are spelled out
/// as \u{202E}. In a text of more than `limit` code points an ellipsis stands for the middle; `limit` is at
/// least 4.
std::string visible(std::string_view text, std::size_t limit);

/// True when every character of the text is a number (Unicode categories Nd, Nl and No); false for empty
/// text.
bool isAllNumbers(std::string_view text);

/// Appends the code point in UTF-8.
void appendCodePoint(std::string& out, char32_t point);

/// Whether the first code point of the text is a letter or a number (Unicode categories L and N); false for
/// empty text.
bool beginsWithLetterOrNumber(std::string_view text);

/// Whether the canonical form of `text` begins with that of `start`, in whole characters.
bool hasPrefix(std::string_view text, std::string_view start);

/// Whether the canonical form of `part` stands anywhere in that of `text`, in whole characters.
/// An empty `part` is in every text.
bool contains(std::string_view text, std::string_view part);

/// Order by the code points of the canonical forms; canonically equivalent texts are equal.
std::strong_ordering compare(std::string_view left, std::string_view right);

/// A total order, for lists of paths and names: that of `compare`, and of texts that are equal there the
/// order of their bytes.
bool isBefore(std::string_view left, std::string_view right);

}  // namespace tallyfin::Text
