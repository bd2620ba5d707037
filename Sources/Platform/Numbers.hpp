#pragma once

// Numbers as people write and read them, whatever the locale.

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

/// The decimal number in the `count` bytes of `text` from `at` on, at most nine; -1 unless all are digits.
/// The text must hold all these bytes.
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

/// The sum of two counts; one that would overflow becomes the largest or smallest value, so that an absurd
/// count does not turn a large figure into a negative one.
inline std::int64_t saturatingAdd(std::int64_t left, std::int64_t right) {
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(left, right, &sum)) {
    return sum;
  }
  return left < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

/// Commas between the thousands of a decimal number, with or without sign and fraction: "-1234567.89" becomes
/// "-1,234,567.89". Text without digits, such as "nan", comes back as it is.
std::string withCommas(std::string number);

/// The digits with commas between thousands: "-1,234,567".
std::string grouped(std::int64_t n);

/// A grouped count with its noun: "1 request", "1,204 requests", "-1 request".
std::string counted(std::int64_t n, std::string_view one, std::string_view many);

/// The same without commas: "1204 requests".
std::string plainlyCounted(std::int64_t n, std::string_view one, std::string_view many);

/// The exact binary value with so many decimals, as printf prints it; -0.0 prints as 0.
std::string decimal(double value, int places);

}  // namespace tallyfin
