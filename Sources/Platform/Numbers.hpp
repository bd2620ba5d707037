#pragma once

// Numbers as text, independent of the locale.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace tallyfin {

/// Whether a byte is one of the ten ASCII digits.
constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// The decimal number in the `count` bytes of `text` from `at` on; -1 unless all are digits. `count` is at
/// most nine, and the text must contain all these bytes.
constexpr int digitsAt(std::string_view text, std::size_t at, std::size_t count) {
  int value = 0;
  for (const char c : text.substr(at, count)) {
    if (!isDigit(c)) {
      return -1;
    }
    value = value * 10 + (c - '0');
  }
  return value;
}

/// The sum of two counts, clamped to the range of the type, so that overflow cannot make a large figure
/// negative.
inline std::int64_t saturatingAdd(std::int64_t left, std::int64_t right) {
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(left, right, &sum)) {
    return sum;
  }
  return left < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

/// Puts commas between the thousands of a decimal number, which may have a sign and a fraction: "-1234567.89"
/// becomes "-1,234,567.89". Text without digits, such as "nan", is returned unchanged.
std::string withCommas(std::string number);

/// The number with commas between thousands: "-1,234,567".
std::string grouped(std::int64_t n);

/// A grouped count with its noun: "1 request", "1,204 requests", "-1 request".
std::string counted(std::int64_t n, std::string_view one, std::string_view many);

/// As `counted`, but without commas: "1204 requests".
std::string plainlyCounted(std::int64_t n, std::string_view one, std::string_view many);

/// The exact binary value rounded to `places` decimals, as printf does; -0.0 becomes 0.
std::string decimal(double value, int places);

}  // namespace tallyfin
