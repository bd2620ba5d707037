#include "Platform/Json.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "absl/strings/str_format.h"

#include <bit>
#include <charconv>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tallyfin {
namespace {

constexpr int kDeepest = 1024;

bool endsPlainRun(char c) {
  return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
}

// The first quotation mark, backslash or control character in [at, end), or `end`. Most of the bytes are
// inside long strings, so the reader spends most of its time here.
const char* endOfPlainRun(const char* at, const char* end) {
#if defined(__SSE2__)
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  for (; end - at >= 16; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(bytes, lastControl), bytes);
    const __m128i special =
        _mm_or_si128(control, _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash)));
    if (const auto mask = static_cast<unsigned>(_mm_movemask_epi8(special)); mask != 0) {
      return at + std::countr_zero(mask);
    }
  }
#endif
  while (at != end && !endsPlainRun(*at)) {
    ++at;
  }
  return at;
}

// The code unit of four hexadecimal digits at `at`, or -1.
int codeUnit(const char* at, const char* end) {
  std::uint16_t unit = 0;
  return end - at >= 4 && std::from_chars(at, at + 4, unit, 16).ptr == at + 4 ? unit : -1;
}

bool isHighSurrogate(int unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool isLowSurrogate(int unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The end of the escape whose backslash is at `at`, or null if the escape is invalid.
const char* endOfEscape(const char* at, const char* end) {
  if (end - at < 2) {
    return nullptr;
  }
  if (at[1] != 'u') {
    return std::string_view("\"\\/bfnrt").find(at[1]) == std::string_view::npos ? nullptr : at + 2;
  }
  const int unit = codeUnit(at + 2, end);
  if (unit < 0 || isLowSurrogate(unit)) {
    return nullptr;
  }
  if (!isHighSurrogate(unit)) {
    return at + 6;
  }
  const bool paired =
      end - at >= 12 && at[6] == '\\' && at[7] == 'u' && isLowSurrogate(codeUnit(at + 8, end));
  return paired ? at + 12 : nullptr;
}

// Appends the character of the valid escape at `at` and returns the end of the escape.
const char* unescape(const char* at, const char* end, std::string& out) {
  constexpr std::string_view kLetters = "bfnrt";
  if (at[1] != 'u') {
    const std::size_t letter = kLetters.find(at[1]);
    out.push_back(letter == std::string_view::npos ? at[1] : "\b\f\n\r\t"[letter]);
    return at + 2;
  }
  const int unit = codeUnit(at + 2, end);
  if (!isHighSurrogate(unit)) {
    Text::appendCodePoint(out, static_cast<char32_t>(unit));
    return at + 6;
  }
  const int point = 0x10000 + ((unit - 0xD800) << 10) + (codeUnit(at + 8, end) - 0xDC00);
  Text::appendCodePoint(out, static_cast<char32_t>(point));
  return at + 12;
}

}  // namespace

std::string_view JsonReader::String::text(std::string& buffer) const {
  if (!escaped) {
    return raw;
  }
  buffer.clear();
  const char* at = raw.data();
  const char* const end = at + raw.size();
  while (at != end) {
    const char* const run = endOfPlainRun(at, end);
    buffer.append(at, run);
    at = run == end ? end : unescape(run, end, buffer);
  }
  return buffer;
}

void JsonReader::fail() {
  failed_ = true;
  at_ = end_;
}

void JsonReader::skipWhitespace() {
  while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) {
    ++at_;
  }
}

bool JsonReader::consume(char expected) {
  if (at_ == end_ || *at_ != expected) {
    fail();
    return false;
  }
  ++at_;
  return true;
}

JsonReader::Kind JsonReader::peek() {
  skipWhitespace();
  if (at_ == end_) {
    return Kind::invalid;
  }
  switch (*at_) {
    case '{':
      return Kind::object;
    case '[':
      return Kind::array;
    case '"':
      return Kind::string;
    case 't':
    case 'f':
      return Kind::boolean;
    case 'n':
      return Kind::null;
    default:
      return isDigit(*at_) || *at_ == '-' ? Kind::number : Kind::invalid;
  }
}

bool JsonReader::enter(char bracket) {
  skipWhitespace();
  if (!consume(bracket)) {
    return false;
  }
  if (++depth_ > kDeepest) {
    fail();
    return false;
  }
  first_ = true;
  return true;
}

// Consumes the closing bracket. Returns false, because no member or element follows.
bool JsonReader::leave() {
  ++at_;
  --depth_;
  first_ = false;
  return false;
}

bool JsonReader::nextKey(String& key) {
  skipWhitespace();
  if (at_ != end_ && *at_ == '}') {
    return leave();
  }
  if (!first_ && !consume(',')) {
    return false;
  }
  first_ = false;
  key = string();
  skipWhitespace();
  return consume(':');
}

bool JsonReader::nextElement() {
  skipWhitespace();
  if (at_ != end_ && *at_ == ']') {
    return leave();
  }
  if (!first_ && !consume(',')) {
    return false;
  }
  first_ = false;
  return !failed_ && at_ != end_;
}

JsonReader::String JsonReader::string() {
  skipWhitespace();
  if (!consume('"')) {
    return {};
  }
  const char* const start = at_;
  bool escaped = false;
  while (true) {
    at_ = endOfPlainRun(at_, end_);
    if (at_ != end_ && *at_ == '"') {
      return {{start, static_cast<std::size_t>(at_++ - start)}, escaped};
    }
    const char* const next = at_ != end_ && *at_ == '\\' ? endOfEscape(at_, end_) : nullptr;
    if (next == nullptr) {
      fail();
      return {};
    }
    escaped = true;
    at_ = next;
  }
}

std::string_view JsonReader::number() {
  skipWhitespace();
  const char* const start = at_;
  const auto take = [this](std::string_view any) {  // consumes one of these characters if it comes next
    const bool isNext = at_ != end_ && any.find(*at_) != std::string_view::npos;
    at_ += isNext ? 1 : 0;
    return isNext;
  };
  const auto digits = [this] {
    const char* const from = at_;
    while (at_ != end_ && isDigit(*at_)) {
      ++at_;
    }
    return at_ != from;
  };
  take("-");
  bool valid = take("0") || digits();  // no digit may follow a leading zero
  if (valid && take(".")) {
    valid = digits();
  }
  if (valid && take("eE")) {
    take("+-");
    valid = digits();
  }
  if (!valid) {
    fail();
    return {};
  }
  return {start, static_cast<std::size_t>(at_ - start)};
}

bool JsonReader::literal(std::string_view word) {
  skipWhitespace();
  if (static_cast<std::size_t>(end_ - at_) < word.size() || std::string_view(at_, word.size()) != word) {
    fail();
    return false;
  }
  at_ += word.size();
  return true;
}

bool JsonReader::boolean() {
  if (peek() == Kind::boolean && *at_ == 't') {
    return literal("true");
  }
  literal("false");
  return false;
}

void JsonReader::takeValue(std::string* copy) {
  const auto put = [copy](std::string_view text) {
    if (copy != nullptr) {
      copy->append(text);
    }
  };
  const auto putString = [copy](const String& string) {
    if (copy != nullptr) {
      std::string buffer;
      copy->append(jsonString(string.text(buffer)));
    }
  };
  std::string_view separator;
  switch (peek()) {
    case Kind::object: {
      put("{");
      String key;
      for (beginObject(); nextKey(key); separator = ",") {
        put(separator);
        putString(key);
        put(":");
        takeValue(copy);
      }
      put("}");
      break;
    }
    case Kind::array:
      put("[");
      for (beginArray(); nextElement(); separator = ",") {
        put(separator);
        takeValue(copy);
      }
      put("]");
      break;
    case Kind::string:
      putString(string());
      break;
    case Kind::number:
      put(number());
      break;
    case Kind::boolean:
      put(boolean() ? "true" : "false");
      break;
    case Kind::null:
      literal("null");
      put("null");
      break;
    case Kind::invalid:
      fail();
  }
}

std::string_view JsonReader::rawValue() {
  skipWhitespace();
  const char* const start = at_;
  skipValue();
  return {start, static_cast<std::size_t>(at_ - start)};
}

std::optional<std::string> JsonReader::optionalText() {
  if (peek() != Kind::string) {
    skipValue();
    return std::nullopt;
  }
  std::string buffer;
  return std::string(string().text(buffer));
}

bool JsonReader::finish() {
  skipWhitespace();
  if (failed_ || at_ != end_ || depth_ != 0) {
    return false;
  }
  return Text::isValidUtf8({begin_, static_cast<std::size_t>(end_ - begin_)});
}

std::string jsonString(std::string_view text) {
  if (!Text::isValidUtf8(text)) {
    return jsonString(Text::repaired(text));
  }
  std::string out = "\"";
  const char* at = text.data();
  const char* const end = at + text.size();
  while (true) {
    const char* const run = endOfPlainRun(at, end);
    out.append(at, run);
    if (run == end) {
      break;
    }
    const std::size_t letter = std::string_view("\"\\\n\r\t").find(*run);
    if (letter != std::string_view::npos) {
      out += '\\';
      out += "\"\\nrt"[letter];
    } else {
      absl::StrAppendFormat(&out, "\\u%04x", static_cast<unsigned>(*run));
    }
    at = run + 1;
  }
  out += '"';
  return out;
}

}  // namespace tallyfin
