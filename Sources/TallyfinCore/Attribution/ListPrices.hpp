#pragma once

// The list API prices, kept in a form that can be compared line by line with the price page. A new model or a
// new price is one new line.

#include "Platform/Calendar.hpp"

#include <array>
#include <optional>
#include <string_view>

namespace tallyfin::Pricing {

/// The date of the last comparison with the price page.
inline constexpr CalendarDate listPricesCompared{2026, 11, 23};

/// A price in US dollars per million tokens. The cache prices are derived from `input`.
struct ListPrice {
  std::string_view model;  ///< as `normalizeModel` returns it: lower case, without date suffix and "[1m]"
  double input = 0;
  double output = 0;
  std::optional<CalendarDate> until = std::nullopt;  ///< last day of validity; absent: open-ended
};

/// The lines of a model are adjacent and in order of time; the last one is open-ended.
inline constexpr auto listPrices = std::to_array<ListPrice>({
    {"claude-fable-5", 10, 50},
    {"claude-mythos-5", 10, 50},
    {"claude-mythos-preview", 10, 50},
    {"claude-opus-5", 5, 25},
    {"claude-opus-4-8", 5, 25},
    {"claude-opus-4-7", 5, 25},
    {"claude-opus-4-6", 5, 25},
    {"claude-opus-4-5", 5, 25},
    {"claude-opus-4-1", 15, 75},
    {"claude-opus-4-0", 15, 75},
    {"claude-opus-4", 15, 75},
    {"claude-3-opus", 15, 75},
    {"claude-sonnet-5", 2, 10, CalendarDate{2026, 8, 31}},
    {"claude-sonnet-5", 3, 15},
    {"claude-sonnet-4-6", 3, 15},
    {"claude-sonnet-4-5", 3, 15},
    {"claude-sonnet-4-0", 3, 15},
    {"claude-sonnet-4", 3, 15},
    {"claude-3-7-sonnet", 3, 15},
    {"claude-3-5-sonnet", 3, 15},
    {"claude-haiku-4-5", 1, 5},
    {"claude-3-5-haiku", 0.8, 4},
    {"claude-3-haiku", 0.25, 1.25},
});

}  // namespace tallyfin::Pricing
