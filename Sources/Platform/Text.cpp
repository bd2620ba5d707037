#include "Platform/Text.hpp"

#include "absl/strings/ascii.h"
#include "simdjson.h"
#include "utf8proc.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Text {
namespace {

using CodePoint = utf8proc_int32_t;

constexpr CodePoint kReplacement = 0xFFFD;

bool isAsciiByte(char byte) {
  return static_cast<unsigned char>(byte) < 0x80;
}

// A code point and its length in bytes. An ill-formed sequence is decoded as U+FFFD with the length of its
// maximal subpart: the longest start of a well-formed sequence, but at least one byte.
struct Decoded {
  CodePoint point;
  std::size_t length;
};

// The code point of the well-formed sequence at the start of `text`; negative if there is none.
Decoded wellFormed(std::string_view text) {
  CodePoint point = -1;
  const auto length =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(std::min<std::size_t>(text.size(), 4)), &point);
  return {point, static_cast<std::size_t>(length)};
}

Decoded decode(std::string_view text, std::size_t position) {
  if (isAsciiByte(text[position])) {
    return {text[position], 1};
  }
  const std::string_view rest = text.substr(position, 4);
  if (const Decoded whole = wellFormed(rest); whole.point >= 0) {
    return whole;
  }
  // Whether bytes can start a well-formed sequence depends only on the first two, so the bytes are tested
  // with continuation bytes appended.
  for (std::size_t length = std::min<std::size_t>(rest.size(), 3); length > 1; --length) {
    const Decoded continued = wellFormed(std::string(rest.substr(0, length)).append("\x80\x80"));
    if (continued.point >= 0 && continued.length > length) {
      return {kReplacement, length};
    }
  }
  return {kReplacement, 1};
}

// Calls `use` with each code point.
template <typename F>
void forEachCodePoint(std::string_view text, F&& use) {
  for (std::size_t position = 0; position < text.size();) {
    const Decoded decoded = decode(text, position);
    use(decoded.point);
    position += decoded.length;
  }
}

// The end of the character that begins at `start`. There is a character boundary between any two ASCII bytes
// except CR LF.
std::size_t characterEnd(std::string_view text, std::size_t start) {
  const std::size_t next = start + 1;
  if (isAsciiByte(text[start]) && (next == text.size() || isAsciiByte(text[next]))) {
    const bool lineEnd = text[start] == '\r' && next < text.size() && text[next] == '\n';
    return lineEnd ? next + 1 : next;
  }
  Decoded current = decode(text, start);
  std::size_t end = start + current.length;
  utf8proc_int32_t state = 0;
  while (end < text.size()) {
    const Decoded following = decode(text, end);
    if (utf8proc_grapheme_break_stateful(current.point, following.point, &state)) {
      break;
    }
    current = following;
    end += following.length;
  }
  return end;
}

// Whether a character ends at `position`, an offset within the text.
bool isBoundary(std::string_view text, std::size_t position) {
  std::size_t end = 0;
  while (end < position) {
    end = characterEnd(text, end);
  }
  return end == position;
}

bool isBlank(CodePoint point) {
  return point == '\t' || point == ' ' || (point >= 0x80 && utf8proc_category(point) == UTF8PROC_CATEGORY_ZS);
}

bool isNumber(CodePoint point) {
  const auto category = utf8proc_category(point);
  return category >= UTF8PROC_CATEGORY_ND && category <= UTF8PROC_CATEGORY_NO;
}

bool isLetter(CodePoint point) {
  const auto category = utf8proc_category(point);
  return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LO;
}

bool isWhitespace(CodePoint point) {
  return isBlank(point) || (point >= 0x0A && point <= 0x0D) || point == 0x85 || point == 0x2028 ||
         point == 0x2029;
}

// The length in bytes of the last code point of `text` if `drops` is true for it, else 0. Code points for
// which it can be true have at most three bytes, and their first byte cannot be part of another code point.
std::size_t droppedAtEnd(std::string_view text, bool (*drops)(CodePoint)) {
  for (std::size_t length = 1; length <= std::min<std::size_t>(text.size(), 3); ++length) {
    const Decoded last = decode(text, text.size() - length);
    if (last.length == length && drops(last.point)) {
      return length;
    }
  }
  return 0;
}

std::string_view trimmed(std::string_view text, bool (*drops)(CodePoint)) {
  while (!text.empty() && drops(decode(text, 0).point)) {
    text.remove_prefix(decode(text, 0).length);
  }
  while (const std::size_t length = droppedAtEnd(text, drops)) {
    text.remove_suffix(length);
  }
  return text;
}

// Appends the code points of the full canonical decomposition, not yet in canonical order.
void appendDecomposed(std::vector<CodePoint>& points, CodePoint point) {
  std::array<CodePoint, 8> parts{};  // the longest canonical decomposition has four code points
  const auto count = utf8proc_decompose_char(point, parts.data(), static_cast<utf8proc_ssize_t>(parts.size()),
                                             UTF8PROC_DECOMPOSE, nullptr);
  points.insert(points.end(), parts.begin(), parts.begin() + count);
}

// Whether a code point is invisible by itself or changes the direction of the text around it. The two joiners
// (U+200C, U+200D) do not count, because they are part of words and emoji.
bool isShapeless(CodePoint point) {
  switch (utf8proc_category(point)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
    case UTF8PROC_CATEGORY_CS:
      return true;
    case UTF8PROC_CATEGORY_CF:
      return point != 0x200C && point != 0x200D;
    default:
      return (point & 0xFFFE) == 0xFFFE || (point >= 0xFDD0 && point <= 0xFDEF);
  }
}

// Sorts each run of combining marks by class. The library's own sort is quadratic in the length of a run.
void orderMarks(std::vector<CodePoint>& points) {
  const auto markClass = [](CodePoint point) { return utf8proc_get_property(point)->combining_class; };
  const auto isMark = [&](CodePoint point) { return markClass(point) != 0; };
  const auto byClass = [&](CodePoint left, CodePoint right) { return markClass(left) < markClass(right); };
  auto run = points.begin();
  while ((run = std::find_if(run, points.end(), isMark)) != points.end()) {
    const auto end = std::find_if_not(run, points.end(), isMark);
    if (!std::is_sorted(run, end, byClass)) {
      std::stable_sort(run, end, byClass);
    }
    run = end;
  }
}

// Composes decomposed code points that are in canonical order, and appends the result. Splits them before
// each U+11A7: that letter composes with nothing before it, but the library would drop it after a syllable.
void appendComposed(std::string& result, std::vector<CodePoint>& points) {
  constexpr auto kOptions = static_cast<utf8proc_option_t>(UTF8PROC_COMPOSE | UTF8PROC_STABLE);
  auto piece = points.begin();
  while (piece != points.end()) {
    const auto end = std::find(piece + 1, points.end(), 0x11A7);
    const auto count = utf8proc_normalize_utf32(&*piece, end - piece, kOptions);
    std::for_each(piece, piece + count,
                  [&](CodePoint point) { appendCodePoint(result, static_cast<char32_t>(point)); });
    piece = end;
  }
}

// The canonical form of `text`: the text itself if it is ASCII, otherwise a text built in `storage`.
std::string_view canonicalIn(std::string& storage, std::string_view text) {
  if (isAscii(text)) {
    return text;
  }
  storage = Text::canonical(text);
  return storage;
}

// Searches character by character (Knuth-Morris-Pratt), so that only whole characters match and the time is
// linear for any two texts. `part` must not be empty.
bool containsCharacters(std::string_view text, std::string_view part) {
  std::vector<std::string_view> characters;
  for (std::size_t position = 0; position < part.size();) {
    const std::size_t end = characterEnd(part, position);
    characters.push_back(part.substr(position, end - position));
    position = end;
  }
  // For each position in `part`: how many of its first characters also end there.
  std::vector<std::size_t> overlap(characters.size(), 0);
  const auto advance = [&](std::size_t matched, std::string_view character) {
    while (matched > 0 && characters[matched] != character) {
      matched = overlap[matched - 1];
    }
    return characters[matched] == character ? matched + 1 : 0;
  };
  for (std::size_t i = 1; i < characters.size(); ++i) {
    overlap[i] = advance(overlap[i - 1], characters[i]);
  }
  std::size_t matched = 0;
  for (std::size_t position = 0; position < text.size() && matched < characters.size();) {
    const std::size_t end = characterEnd(text, position);
    matched = advance(matched, text.substr(position, end - position));
    position = end;
  }
  return matched == characters.size();
}

// Whether every byte is a character of its own: the text is ASCII without CR, which can form a character
// with LF.
bool isPlainAscii(std::string_view text) {
  return isAscii(text) && text.find('\r') == std::string_view::npos;
}

}  // namespace

bool isAscii(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080'8080'8080'8080;
  while (text.size() >= sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), sizeof word);
    if ((word & kHighBits) != 0) {
      return false;
    }
    text.remove_prefix(sizeof word);
  }
  return std::all_of(text.begin(), text.end(), isAsciiByte);
}

bool isValidUtf8(std::string_view bytes) {
  return bytes.empty() || simdjson::validate_utf8(bytes.data(), bytes.size());
}

std::string repaired(std::string_view bytes) {
  if (isValidUtf8(bytes)) {
    return std::string(bytes);
  }
  std::string result;
  result.reserve(bytes.size());
  forEachCodePoint(bytes, [&](CodePoint point) { appendCodePoint(result, static_cast<char32_t>(point)); });
  return result;
}

std::string canonical(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  std::vector<CodePoint> points;
  while (!text.empty()) {
    const auto other = std::find_if_not(text.begin(), text.end(), isAsciiByte);
    if (other == text.end()) {
      break;
    }
    // An ASCII character never composes with what precedes it, but may compose with what follows. So each
    // stretch of other characters is processed together with the ASCII character before it.
    const auto start = other == text.begin() ? other : other - 1;
    const auto end = std::find_if(other, text.end(), isAsciiByte);
    result.append(text.begin(), start);
    const std::string_view stretch(start, end);
    points.clear();
    forEachCodePoint(stretch, [&](CodePoint point) { appendDecomposed(points, point); });
    orderMarks(points);
    appendComposed(result, points);
    text = std::string_view(end, text.end());
  }
  return result.append(text);
}

std::string lowercased(std::string_view text) {
  constexpr CodePoint kCapitalIWithDot = 0x130;  // the only letter whose lower case is two code points
  if (isAscii(text)) {
    std::string result(text);
    absl::AsciiStrToLower(&result);
    return result;
  }
  std::string result;
  result.reserve(text.size());
  forEachCodePoint(text, [&](CodePoint point) {
    if (point == kCapitalIWithDot) {
      result += "i\u0307";
    } else {
      appendCodePoint(result, static_cast<char32_t>(utf8proc_tolower(point)));
    }
  });
  return result;
}

std::string_view trimmedBlanks(std::string_view text) {
  return trimmed(text, isBlank);
}

std::string_view trimmedWhitespace(std::string_view text) {
  return trimmed(text, isWhitespace);
}

std::size_t characterCount(std::string_view text) {
  if (isPlainAscii(text)) {
    return text.size();
  }
  std::size_t count = 0;
  for (std::size_t position = 0; position < text.size(); ++count) {
    position = characterEnd(text, position);
  }
  return count;
}

std::string_view prefix(std::string_view text, std::size_t count) {
  if (text.size() <= count) {  // a character has at least one byte
    return text;
  }
  if (isPlainAscii(text.substr(0, count + 1))) {
    return text.substr(0, count);
  }
  std::size_t end = 0;
  for (; count > 0 && end < text.size(); --count) {
    end = characterEnd(text, end);
  }
  return text.substr(0, end);
}

std::string_view suffix(std::string_view text, std::size_t count) {
  if (text.size() <= count) {  // a character has at least one byte
    return text;
  }
  const std::size_t total = characterCount(text);
  return total <= count ? text : text.substr(prefix(text, total - count).size());
}

std::string fitted(std::string_view text, std::size_t width) {
  const std::string_view kept = prefix(text, width);
  std::string result(kept);
  if (kept.size() == text.size()) {
    result.append(width - characterCount(kept), ' ');
    if (characterCount(result) < width) {
      result += ' ';  // the first space became part of the last character, as it does after U+0600
    }
  }
  return result;
}

std::string visible(std::string_view text, std::size_t limit) {
  const auto isPlain = [](char byte) { return byte >= 0x20 && byte < 0x7F; };
  if (text.size() <= limit && std::ranges::all_of(text, isPlain)) {
    return std::string(text);
  }
  std::vector<CodePoint> points;
  forEachCodePoint(text, [&](CodePoint point) { points.push_back(point); });
  const bool isShortened = points.size() > limit;
  const std::size_t tail = limit / 3;
  const std::size_t gapStart = isShortened ? limit - 1 - tail : points.size();
  const std::size_t gapEnd = isShortened ? points.size() - tail : points.size();
  std::string result;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (i == gapStart) {
      result += "…";
      i = gapEnd;
    }
    if (isShapeless(points[i])) {
      std::array<char, 8> digits{};
      const auto end = std::to_chars(digits.begin(), digits.end(), static_cast<unsigned>(points[i]), 16);
      result.append("\\u{").append(digits.begin(), end.ptr).append("}");
    } else {
      appendCodePoint(result, static_cast<char32_t>(points[i]));
    }
  }
  return result;
}

bool isAllNumbers(std::string_view text) {
  bool all = !text.empty();
  forEachCodePoint(text, [&all](CodePoint point) { all = all && isNumber(point); });
  return all;
}

void appendCodePoint(std::string& out, char32_t point) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto length = utf8proc_encode_char(static_cast<CodePoint>(point), bytes.data());
  out.append(bytes.begin(), bytes.begin() + length);
}

bool beginsWithLetterOrNumber(std::string_view text) {
  if (text.empty()) {
    return false;
  }
  const CodePoint first = decode(text, 0).point;
  return isLetter(first) || isNumber(first);
}

bool hasPrefix(std::string_view text, std::string_view start) {
  std::string storage;
  std::string startStorage;
  const std::string_view whole = canonicalIn(storage, text);
  const std::string_view front = canonicalIn(startStorage, start);
  return whole.starts_with(front) && isBoundary(whole, front.size());
}

bool contains(std::string_view text, std::string_view part) {
  if (part.empty()) {
    return true;
  }
  // In ASCII, CR LF is the only character of two bytes, so any other match consists of whole characters.
  // memmem takes linear time, unlike std::string_view::find.
  if (isAscii(text) && isAscii(part) && part.front() != '\n' && part.back() != '\r') {
    return !text.empty() && ::memmem(text.data(), text.size(), part.data(), part.size()) != nullptr;
  }
  std::string storage;
  std::string partStorage;
  return containsCharacters(canonicalIn(storage, text), canonicalIn(partStorage, part));
}

std::strong_ordering compare(std::string_view left, std::string_view right) {
  std::string leftStorage;
  std::string rightStorage;
  return canonicalIn(leftStorage, left) <=> canonicalIn(rightStorage, right);
}

bool isBefore(std::string_view left, std::string_view right) {
  const std::strong_ordering order = compare(left, right);
  return std::is_eq(order) ? left < right : std::is_lt(order);
}

}  // namespace tallyfin::Text
