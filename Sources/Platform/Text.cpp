#include "Platform/Text.hpp"

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

char lowerAscii(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
}

/// A code point and the bytes it takes up. An ill-formed sequence stands for U+FFFD and takes up its maximal
/// subpart: the longest beginning of a well-formed sequence, at least one byte.
struct Decoded {
  CodePoint point;
  std::size_t length;
};

/// What may follow a lead byte: how many bytes in all, and the range of the second one, which shuts out
/// overlong forms, surrogates and what lies beyond U+10FFFF. A length of 1 is a byte that leads nothing.
struct Lead {
  std::size_t length;
  unsigned char secondLow;
  unsigned char secondHigh;
};

Lead leadOf(unsigned char byte) {
  if (byte < 0xC2 || byte > 0xF4) {
    return {1, 0, 0};
  }
  if (byte < 0xE0) {
    return {2, 0x80, 0xBF};
  }
  if (byte < 0xF0) {
    const bool surrogates = byte == 0xED;
    return {3, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(surrogates ? 0x9F : 0xBF)};
  }
  return {4, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
          static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
}

Decoded decode(std::string_view text, std::size_t position) {
  const auto first = static_cast<unsigned char>(text[position]);
  if (first < 0x80) {
    return {first, 1};
  }
  const Lead lead = leadOf(first);
  if (lead.length == 1) {
    return {kReplacement, 1};
  }
  CodePoint point = first & (0x7F >> lead.length);
  for (std::size_t i = 1; i < lead.length; ++i) {
    if (position + i >= text.size()) {
      return {kReplacement, i};
    }
    const auto byte = static_cast<unsigned char>(text[position + i]);
    if (byte < (i == 1 ? lead.secondLow : 0x80) || byte > (i == 1 ? lead.secondHigh : 0xBF)) {
      return {kReplacement, i};
    }
    point = (point << 6) | (byte & 0x3F);
  }
  return {point, lead.length};
}

/// The code point that ends at `end`, which is above 0.
Decoded decodeBefore(std::string_view text, std::size_t end) {
  for (std::size_t length = 1; length <= std::min<std::size_t>(end, 4); ++length) {
    if ((static_cast<unsigned char>(text[end - length]) & 0xC0) != 0x80) {
      const Decoded decoded = decode(text.substr(0, end), end - length);
      return decoded.length == length ? decoded : Decoded{kReplacement, 1};
    }
  }
  return {kReplacement, 1};
}

void append(std::string& result, CodePoint point) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto length = utf8proc_encode_char(point, bytes.data());
  result.append(bytes.begin(), bytes.begin() + length);
}

/// Where the character that begins at `start` ends. Two ASCII bytes in a row always part, but for CR LF.
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

/// Whether a character begins or the text ends at `position`.
bool isBoundary(std::string_view text, std::size_t position) {
  if (position == 0 || position >= text.size()) {
    return true;
  }
  const char before = text[position - 1];
  const char after = text[position];
  if (isAsciiByte(before) && isAsciiByte(after)) {
    return !(before == '\r' && after == '\n');
  }
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
  if (point < 0x80) {
    return point >= '0' && point <= '9';
  }
  const auto category = utf8proc_category(point);
  return category == UTF8PROC_CATEGORY_ND || category == UTF8PROC_CATEGORY_NL ||
         category == UTF8PROC_CATEGORY_NO;
}

bool isLetter(CodePoint point) {
  const auto category = utf8proc_category(point);
  return category == UTF8PROC_CATEGORY_LU || category == UTF8PROC_CATEGORY_LL ||
         category == UTF8PROC_CATEGORY_LT || category == UTF8PROC_CATEGORY_LM ||
         category == UTF8PROC_CATEGORY_LO;
}

bool isWhitespace(CodePoint point) {
  return isBlank(point) || (point >= 0x0A && point <= 0x0D) || point == 0x85 || point == 0x2028 ||
         point == 0x2029;
}

std::string_view trimmed(std::string_view text, bool (*drops)(CodePoint)) {
  while (!text.empty()) {
    const Decoded first = decode(text, 0);
    if (!drops(first.point)) {
      break;
    }
    text.remove_prefix(first.length);
  }
  while (!text.empty()) {
    const Decoded last = decodeBefore(text, text.size());
    if (!drops(last.point)) {
      break;
    }
    text.remove_suffix(last.length);
  }
  return text;
}

/// Appends the code points of the full canonical decomposition, not yet in canonical order.
void appendDecomposed(std::vector<CodePoint>& points, CodePoint point) {
  std::array<CodePoint, 8> parts{};  // the longest canonical decomposition has four
  const auto count = utf8proc_decompose_char(point, parts.data(), static_cast<utf8proc_ssize_t>(parts.size()),
                                             UTF8PROC_DECOMPOSE, nullptr);
  points.insert(points.end(), parts.begin(), parts.begin() + count);
}

/// Whether a code point shows nothing, or turns what stands around it. The two joiners (U+200C, U+200D) are
/// part of words and emoji.
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

/// Sorts each run of combining marks by class. The library's own way is quadratic in the length of a run.
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

/// Composes decomposed code points in canonical order and appends them. Goes piece by piece before each
/// U+11A7: that letter composes with nothing before it, but the library would swallow it after a syllable.
void appendComposed(std::string& result, std::vector<CodePoint>& points) {
  constexpr auto kOptions = static_cast<utf8proc_option_t>(UTF8PROC_COMPOSE | UTF8PROC_STABLE);
  auto piece = points.begin();
  while (piece != points.end()) {
    const auto end = std::find(piece + 1, points.end(), 0x11A7);
    const auto count = utf8proc_normalize_utf32(&*piece, end - piece, kOptions);
    std::for_each(piece, piece + count, [&](CodePoint point) { append(result, point); });
    piece = end;
  }
}

/// A text in canonical form that is copied only where it is not ASCII.
class CanonicalView {
 public:
  explicit CanonicalView(std::string_view text) : view_(text) {
    if (!isAscii(text)) {
      storage_ = Text::canonical(text);
      view_ = storage_;
    }
  }
  ~CanonicalView() = default;
  CanonicalView(const CanonicalView&) = delete;
  CanonicalView& operator=(const CanonicalView&) = delete;

  std::string_view operator*() const { return view_; }

 private:
  std::string storage_;
  std::string_view view_;
};

/// Searches character by character (Knuth, Morris, Pratt), so that only whole characters are found and time
/// stays linear for any two texts. `part` is not empty.
bool containsCharacters(std::string_view text, std::string_view part) {
  std::vector<std::string_view> characters;
  for (std::size_t position = 0; position < part.size();) {
    const std::size_t end = characterEnd(part, position);
    characters.push_back(part.substr(position, end - position));
    position = end;
  }
  // For each character of the part: how many of its first characters also end there.
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
  for (std::size_t position = 0; position < bytes.size();) {
    const Decoded decoded = decode(bytes, position);
    append(result, decoded.point);
    position += decoded.length;
  }
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
    // Nothing composes across the front of an ASCII character, but it may compose with what follows it: each
    // stretch of other characters is taken together with the one before it.
    const auto start = other == text.begin() ? other : other - 1;
    const auto end = std::find_if(other, text.end(), isAsciiByte);
    result.append(text.begin(), start);
    const std::string_view stretch(start, end);
    points.clear();
    for (std::size_t position = 0; position < stretch.size();) {
      const Decoded decoded = decode(stretch, position);
      appendDecomposed(points, decoded.point);
      position += decoded.length;
    }
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
    std::transform(result.begin(), result.end(), result.begin(), lowerAscii);
    return result;
  }
  std::string result;
  result.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const Decoded decoded = decode(text, position);
    if (decoded.point < 0x80) {
      result += lowerAscii(text[position]);
    } else if (decoded.point == kCapitalIWithDot) {
      result += "i\u0307";
    } else {
      append(result, utf8proc_tolower(decoded.point));
    }
    position += decoded.length;
  }
  return result;
}

std::string_view trimmedBlanks(std::string_view text) {
  return trimmed(text, isBlank);
}

std::string_view trimmedWhitespace(std::string_view text) {
  return trimmed(text, isWhitespace);
}

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t position = 0; position < text.size(); ++count) {
    position = characterEnd(text, position);
  }
  return count;
}

std::string_view prefix(std::string_view text, std::size_t count) {
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
      result += ' ';  // the first space went into the last character, as one after U+0600 does
    }
  }
  return result;
}

std::string visible(std::string_view text, std::size_t limit) {
  std::vector<CodePoint> points;
  for (std::size_t at = 0; at < text.size();) {
    const Decoded decoded = decode(text, at);
    points.push_back(decoded.point);
    at += decoded.length;
  }
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
      append(result, points[i]);
    }
  }
  return result;
}

bool isAllNumbers(std::string_view text) {
  for (std::size_t position = 0; position < text.size();) {
    const Decoded decoded = decode(text, position);
    if (!isNumber(decoded.point)) {
      return false;
    }
    position += decoded.length;
  }
  return !text.empty();
}

bool beginsWithLetterOrNumber(std::string_view text) {
  if (text.empty()) {
    return false;
  }
  const CodePoint first = decode(text, 0).point;
  return isLetter(first) || isNumber(first);
}

bool hasPrefix(std::string_view text, std::string_view start) {
  const CanonicalView whole(text);
  const CanonicalView front(start);
  return (*whole).starts_with(*front) && isBoundary(*whole, (*front).size());
}

bool contains(std::string_view text, std::string_view part) {
  if (part.empty()) {
    return true;
  }
  // In ASCII only CR LF is a character of two bytes: any other match is one of whole characters. The C
  // library's search stays linear where std::string_view::find does not.
  if (isAscii(text) && isAscii(part) && part.front() != '\n' && part.back() != '\r') {
    return !text.empty() && ::memmem(text.data(), text.size(), part.data(), part.size()) != nullptr;
  }
  return containsCharacters(*CanonicalView(text), *CanonicalView(part));
}

std::strong_ordering compare(std::string_view left, std::string_view right) {
  return *CanonicalView(left) <=> *CanonicalView(right);
}

bool isBefore(std::string_view left, std::string_view right) {
  const std::strong_ordering order = compare(left, right);
  return std::is_eq(order) ? left < right : std::is_lt(order);
}

}  // namespace tallyfin::Text
