#pragma once

// Whole numbers as people read them, whatever the locale.

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin {

/// Commas between the thousands of a decimal number, with or without sign and fraction: "-1234567.89" becomes
/// "-1,234,567.89". Text without digits, such as "nan", comes back as it is.
std::string withCommas(std::string number);

/// The digits with commas between thousands: "-1,234,567".
std::string grouped(std::int64_t n);

/// A grouped count with its noun: "1 request", "1,204 requests", "-1 request".
std::string counted(std::int64_t n, std::string_view one, std::string_view many);

/// The noun alone.
std::string_view noun(std::int64_t n, std::string_view one, std::string_view many);

}  // namespace tallyfin
