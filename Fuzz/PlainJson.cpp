#include "Fuzz/PlainJson.hpp"

#include "Fuzz/Target.hpp"
#include "nlohmann/json.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace tallyfin::Fuzz {
namespace {

constexpr int kDeepest = 1024;

struct Invalid {};

class Parser {
 public:
  explicit Parser(std::string_view document) : rest_(document) {}

  PlainValue document() {
    PlainValue all = value(0);
    blanks();
    if (!rest_.empty()) throw Invalid();
    return all;
  }

 private:
  using Kind = PlainValue::Kind;

  void blanks() {
    while (!rest_.empty() && std::string_view(" \t\r\n").find(rest_.front()) != std::string_view::npos) {
      rest_.remove_prefix(1);
    }
  }

  char next() const { return rest_.empty() ? '\0' : rest_.front(); }

  char take() {
    if (rest_.empty()) throw Invalid();
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  bool takeIf(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  PlainValue value(int depth) {
    blanks();
    PlainValue result;
    if (takeIf("{")) {
      result.kind = Kind::object;
      readMembers(result, depth + 1);
    } else if (takeIf("[")) {
      result.kind = Kind::array;
      readElements(result, depth + 1);
    } else if (takeIf("\"")) {
      result.kind = Kind::text;
      result.text = string();
    } else if (takeIf("true")) {
      result.kind = Kind::truth;
    } else if (takeIf("false")) {
      result.kind = Kind::falsehood;
    } else if (!takeIf("null")) {
      result.kind = Kind::number;
      result.text = number();
    }
    return result;
  }

  void readMembers(PlainValue& object, int depth) {
    if (depth > kDeepest) throw Invalid();
    blanks();
    if (takeIf("}")) return;
    do {
      blanks();
      if (take() != '"') throw Invalid();
      const std::string key = string();
      blanks();
      if (take() != ':') throw Invalid();
      object.members[key] = value(depth);
      blanks();
    } while (takeIf(","));
    if (take() != '}') throw Invalid();
  }

  void readElements(PlainValue& array, int depth) {
    if (depth > kDeepest) throw Invalid();
    blanks();
    if (takeIf("]")) return;
    do {
      array.elements.push_back(value(depth));
      blanks();
    } while (takeIf(","));
    if (take() != ']') throw Invalid();
  }

  std::string digits() {
    std::string all;
    while (next() >= '0' && next() <= '9') all += take();
    if (all.empty()) throw Invalid();
    return all;
  }

  std::string number() {
    std::string all;
    if (takeIf("-")) all += '-';
    const std::string whole = digits();
    if (whole.size() > 1 && whole.front() == '0') throw Invalid();
    all += whole;
    if (takeIf(".")) all += "." + digits();
    if (next() == 'e' || next() == 'E') {
      all += take();
      if (next() == '+' || next() == '-') all += take();
      all += digits();
    }
    return all;
  }

  std::string string() {
    std::string all;
    while (true) {
      const auto c = static_cast<unsigned char>(take());
      if (c == '"') return all;
      if (c < 0x20) throw Invalid();
      if (c == '\\') {
        escape(all);
      } else if (c < 0x80) {
        all += static_cast<char>(c);
      } else {
        encode(codePointAfter(c), all);
      }
    }
  }

  void escape(std::string& all) {
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const char name = take();
    if (name != 'u') {
      const std::size_t at = kNames.find(name);
      if (at == std::string_view::npos) throw Invalid();
      all += kMeanings[at];
      return;
    }
    std::uint32_t point = unit();
    if (point >= 0xDC00 && point <= 0xDFFF) throw Invalid();
    if (point >= 0xD800 && point <= 0xDBFF) {
      if (take() != '\\' || take() != 'u') throw Invalid();
      const std::uint32_t low = unit();
      if (low < 0xDC00 || low > 0xDFFF) throw Invalid();
      point = 0x10000 + (point - 0xD800) * 0x400 + (low - 0xDC00);
    }
    encode(point, all);
  }

  std::uint32_t unit() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      const char c = take();
      if (c >= '0' && c <= '9') {
        value = value * 16 + static_cast<std::uint32_t>(c - '0');
      } else if (c >= 'a' && c <= 'f') {
        value = value * 16 + static_cast<std::uint32_t>(c - 'a') + 10;
      } else if (c >= 'A' && c <= 'F') {
        value = value * 16 + static_cast<std::uint32_t>(c - 'A') + 10;
      } else {
        throw Invalid();
      }
    }
    return value;
  }

  // The code point that begins with a byte beyond ASCII: shortest form, no surrogate, at most U+10FFFF.
  std::uint32_t codePointAfter(unsigned char lead) {
    int more = 0;
    std::uint32_t point = 0;
    std::uint32_t least = 0;
    if (lead >= 0xC0 && lead < 0xE0) {
      more = 1, point = lead & 0x1FU, least = 0x80;
    } else if (lead >= 0xE0 && lead < 0xF0) {
      more = 2, point = lead & 0x0FU, least = 0x800;
    } else if (lead >= 0xF0 && lead < 0xF8) {
      more = 3, point = lead & 0x07U, least = 0x10000;
    } else {
      throw Invalid();
    }
    for (; more > 0; --more) {
      const auto c = static_cast<unsigned char>(take());
      if ((c & 0xC0U) != 0x80) throw Invalid();
      point = point * 64 + (c & 0x3FU);
    }
    if (point < least || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) throw Invalid();
    return point;
  }

  static void encode(std::uint32_t point, std::string& all) {
    const auto byte = [&all](std::uint32_t value) { all += static_cast<char>(value); };
    if (point < 0x80) {
      byte(point);
    } else if (point < 0x800) {
      byte(0xC0 + point / 64), byte(0x80 + point % 64);
    } else if (point < 0x10000) {
      byte(0xE0 + point / 4096), byte(0x80 + point / 64 % 64), byte(0x80 + point % 64);
    } else {
      byte(0xF0 + point / 262144), byte(0x80 + point / 4096 % 64), byte(0x80 + point / 64 % 64),
          byte(0x80 + point % 64);
    }
  }

  std::string_view rest_;
};

using nlohmann::json;

bool isSame(const PlainValue& plain, const json& other) {
  switch (plain.kind) {
    case PlainValue::Kind::null:
      return other.is_null();
    case PlainValue::Kind::truth:
      return other.is_boolean() && other.get<bool>();
    case PlainValue::Kind::falsehood:
      return other.is_boolean() && !other.get<bool>();
    case PlainValue::Kind::number:
      return other.is_number() &&
             (!other.is_number_integer() || plainInteger(plain.text) == other.get<std::int64_t>() ||
              other.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max());
    case PlainValue::Kind::text:
      return other.is_string() && other.get_ref<const std::string&>() == plain.text;
    case PlainValue::Kind::array:
      return other.is_array() &&
             std::equal(plain.elements.begin(), plain.elements.end(), other.begin(), other.end(), isSame);
    case PlainValue::Kind::object:
      break;
  }
  return other.is_object() && other.size() == plain.members.size() &&
         std::all_of(plain.members.begin(), plain.members.end(), [&](const auto& member) {
           return other.contains(member.first) && isSame(member.second, other[member.first]);
         });
}

bool isDeep(std::string_view document) {
  return std::count_if(document.begin(), document.end(), [](char c) { return c == '[' || c == '{'; }) >
         kDeepest;
}

}  // namespace

const PlainValue* PlainValue::member(const std::string& key) const {
  const auto found = members.find(key);
  return found == members.end() ? nullptr : &found->second;
}

std::optional<std::string> PlainValue::textMember(const std::string& key) const {
  const PlainValue* const value = member(key);
  return value != nullptr && value->kind == Kind::text ? std::optional(value->text) : std::nullopt;
}

std::optional<PlainValue> readPlainJson(std::string_view document) {
  try {
    return Parser(document).document();
  } catch (const Invalid&) {
    return std::nullopt;
  }
}

void requireSameAsNlohmann(std::string_view document, const std::optional<PlainValue>& value) {
  if (document.starts_with("\xEF\xBB\xBF") || document.find('\0') != std::string_view::npos ||
      isDeep(document)) {
    return;  // it accepts a byte order mark and any depth, and takes a NUL for the end
  }
  try {
    const json other = json::parse(document);
    require(value && isSame(*value, other), "another parser reads the same values");
  } catch (const json::out_of_range&) {  // it refuses a number beyond a double
  } catch (const json::parse_error&) {
    require(!value, "another parser refuses the same documents");
  }
}

std::int64_t plainInteger(std::string_view digits) {
  const bool negative = digits.starts_with('-');
  if (negative) digits.remove_prefix(1);
  const std::size_t exponentAt = std::min(digits.find_first_of("eE"), digits.size());
  std::int64_t exponent = 0;
  if (exponentAt < digits.size()) {
    const std::string_view text = digits.substr(exponentAt + 1);
    for (const char c : text) {
      if (c >= '0' && c <= '9') exponent = std::min<std::int64_t>(exponent * 10 + (c - '0'), 1'000'000'000);
    }
    if (text.front() == '-') exponent = -exponent;
  }
  const std::string_view mantissa = digits.substr(0, exponentAt);
  const std::size_t pointAt = std::min(mantissa.find('.'), mantissa.size());
  const std::int64_t wholeDigits = static_cast<std::int64_t>(pointAt) + exponent;
  std::string all(mantissa.substr(0, pointAt));
  if (pointAt < mantissa.size()) all += mantissa.substr(pointAt + 1);

  constexpr std::uint64_t kBeyond = std::uint64_t{1} << 63;  // the first that does not fit
  std::uint64_t value = 0;
  for (std::int64_t i = 0; i < wholeDigits && value < kBeyond; ++i) {
    const auto at = static_cast<std::size_t>(i);
    if (at >= all.size() && value == 0) break;  // nothing but zeros
    const auto digit = static_cast<std::uint64_t>(at < all.size() ? all[at] - '0' : 0);
    value = value > kBeyond / 10 ? kBeyond : std::min(value * 10 + digit, kBeyond);
  }
  if (value == kBeyond) {
    return negative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }
  return negative ? -static_cast<std::int64_t>(value) : static_cast<std::int64_t>(value);
}

}  // namespace tallyfin::Fuzz
