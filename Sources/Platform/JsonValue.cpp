#include "Platform/Json.hpp"
#include "Platform/Numbers.hpp"

#include <algorithm>
#include <charconv>
#include <limits>

namespace tallyfin {
namespace {

// A JSON number taken apart: sign, digits without the point, and how many of them stand before it.
class Decimal {
 public:
  explicit Decimal(std::string_view text) {
    std::size_t at = 0;
    if (text[at] == '-') {
      negative_ = true;
      ++at;
    }
    bool behindPoint = false;
    for (; at < text.size() && (isDigit(text[at]) || text[at] == '.'); ++at) {
      if (text[at] == '.') {
        behindPoint = true;
      } else {
        digits_.push_back(text[at]);
        point_ += behindPoint ? 0 : 1;
      }
    }
    if (at < text.size()) {
      point_ += exponent(text.substr(at + 1));
    }
    const std::size_t zeros = std::min(digits_.find_first_not_of('0'), digits_.size());
    digits_.erase(0, zeros);
    point_ -= static_cast<std::int64_t>(zeros);
  }

  // Whether nothing but zeros stands behind the point.
  bool isWhole() const {
    const std::size_t last = digits_.find_last_not_of('0');
    return last == std::string::npos || static_cast<std::int64_t>(last) < point_;
  }

  // Towards zero, and to the nearest that fits.
  std::int64_t integer() const {
    constexpr std::int64_t kMostDigits = 19;
    if (digits_.empty() || point_ <= 0) {
      return 0;
    }
    if (point_ > kMostDigits) {
      return farthest();
    }
    std::string whole = digits_.substr(0, static_cast<std::size_t>(point_));
    whole.append(static_cast<std::size_t>(point_) - whole.size(), '0');
    if (negative_) {
      whole.insert(whole.begin(), '-');
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(whole.data(), whole.data() + whole.size(), value);
    return error == std::errc() ? value : farthest();
  }

 private:
  // Beyond a billion either way every number is too large or too small, however many digits it has.
  static std::int64_t exponent(std::string_view text) {
    constexpr std::int64_t kFarthest = 1'000'000'000;
    if (text.front() == '+') {
      text.remove_prefix(1);
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) {
      value = text.front() == '-' ? -kFarthest : kFarthest;
    }
    return std::clamp(value, -kFarthest, kFarthest);
  }

  std::int64_t farthest() const {
    return negative_ ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }

  std::string digits_;  // no zeros in front
  std::int64_t point_ = 0;
  bool negative_ = false;
};

}  // namespace

JsonValue JsonValue::scalar(JsonReader& reader) {
  switch (reader.peek()) {
    case JsonReader::Kind::string:
      return reader.optionalText().value_or("");
    case JsonReader::Kind::number: {
      JsonValue value;
      if (const std::string_view digits = reader.number(); !reader.failed()) {
        value.value_ = Number{std::string(digits)};
      }
      return value;
    }
    case JsonReader::Kind::boolean:
      return reader.boolean();
    default:
      reader.skipValue();
      return {};
  }
}

std::optional<std::int64_t> JsonValue::wholeNumber() const {
  const Number* const number = std::get_if<Number>(&value_);
  if (number == nullptr) {
    return std::nullopt;
  }
  const Decimal decimal(number->digits);
  return decimal.isWhole() ? std::optional(decimal.integer()) : std::nullopt;
}

const JsonValue* JsonValue::member(std::string_view key) const {
  if (const Object* const members = object()) {
    for (const auto& [name, value] : *members) {
      if (name == key) {
        return &value;
      }
    }
  }
  return nullptr;
}

std::int64_t integerOfJsonNumber(std::string_view digits) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  const bool plain = error == std::errc() && end == digits.data() + digits.size();
  return plain ? value : Decimal(digits).integer();
}

}  // namespace tallyfin
