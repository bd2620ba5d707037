#include "Platform/Json.hpp"
#include "Platform/Numbers.hpp"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <iterator>

namespace tallyfin {
namespace {

// A JSON number as decimal digits: 0.DIGITS times ten to the power of `point`, with a sign.
class Decimal {
 public:
  explicit Decimal(std::string_view text) : negative_(text.front() == '-') {
    const std::size_t end = std::min(text.find_first_of("eE"), text.size());
    const std::string_view mantissa = text.substr(0, end);
    std::copy_if(mantissa.begin(), mantissa.end(), std::back_inserter(digits_), isDigit);
    point_ = static_cast<std::int64_t>(std::min(mantissa.find('.'), end)) - (negative_ ? 1 : 0);
    if (end < text.size()) {
      // An exponent beyond a billion in either direction makes the number too large or too small, whatever
      // its digits.
      point_ += std::clamp(saturated(std::string(text.substr(end + 1))), -kFarthest, kFarthest);
    }
    const std::size_t zeros = std::min(digits_.find_first_not_of('0'), digits_.size());
    digits_.erase(0, zeros);
    point_ -= static_cast<std::int64_t>(zeros);
  }

  // Whether all digits after the decimal point are zeros.
  bool isWhole() const {
    const std::size_t last = digits_.find_last_not_of('0');
    return last == std::string::npos || static_cast<std::int64_t>(last) < point_;
  }

  // Truncates the fraction. A number beyond 64 bits becomes the nearest that fits.
  std::int64_t integer() const {
    constexpr std::int64_t kTooMany = 20;  // more digits than 64 bits can hold
    const auto before = static_cast<std::size_t>(std::clamp<std::int64_t>(point_, 0, kTooMany));
    std::string whole = digits_.substr(0, before);
    whole.resize(digits_.empty() ? 0 : before, '0');
    return saturated((negative_ ? "-" : "") + whole);
  }

 private:
  static constexpr std::int64_t kFarthest = 1'000'000'000;

  // Clamps to the range of 64 bits; an empty text is 0.
  static std::int64_t saturated(const std::string& integer) {
    return std::strtoll(integer.c_str(), nullptr, 10);
  }

  bool negative_;
  std::string digits_;  // without leading zeros
  std::int64_t point_ = 0;
};

}  // namespace

std::int64_t integerOfJsonNumber(std::string_view digits) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  const bool plain = error == std::errc() && end == digits.data() + digits.size();
  return plain ? value : Decimal(digits).integer();
}

std::optional<std::int64_t> wholeJsonNumber(std::string_view digits) {
  const Decimal decimal(digits);
  return decimal.isWhole() ? std::optional(decimal.integer()) : std::nullopt;
}

}  // namespace tallyfin
