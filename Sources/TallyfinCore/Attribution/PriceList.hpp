#pragma once

// Prices of models over time: the list prices, which are built in, and own prices, which the user gives in a
// file; these add to list prices or replace them. A file with any fault is not used at all.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Environment.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// Prices of a model on a day, in US dollars per million tokens.
struct Prices {
  double input = 0;
  double output = 0;
  std::optional<double> cacheWrite5m = std::nullopt;  ///< absent: the usual multiple of `input`
  std::optional<double> cacheWrite1h = std::nullopt;  ///< likewise
  std::optional<double> cacheRead = std::nullopt;     ///< likewise
  bool isOwn = false;                                 ///< an own price, not a list price

  friend bool operator==(const Prices&, const Prices&) = default;
};

/// One dated price.
struct PriceTier {
  std::optional<CalendarDate> until;  ///< the last day on which it applies; absent: open-ended
  Prices prices;

  friend bool operator==(const PriceTier&, const PriceTier&) = default;
};

/// The prices of a model over time.
struct PricedModel {
  std::string model;             ///< reduced as the ids of records are, in canonical form
  std::vector<PriceTier> tiers;  ///< in order of time, an open-ended one last; at least one
};

/// The own prices, which stand beside the built-in ones. By default there are none.
struct PriceList {
  std::vector<PricedModel> own;        ///< by model, in text order
  std::string file;                    ///< the file that was looked at; empty when there is none
  std::optional<std::string> problem;  ///< why that file is not used; `own` is empty then

  /// The built-in prices alone.
  static const PriceList& builtIn();

  /// The own prices that a program uses: those of the file that TALLYFIN_PRICES names, else of
  /// ~/.config/net.quillpond.tallyfin/prices.json. When the first is missing that is a `problem`; the second
  /// need not exist.
  static PriceList of(const Environment& environment);

  /// The prices of one file. When it is missing that is a `problem`.
  static PriceList ofFile(const std::string& path);

  /// The prices that the text of a file holds; `file` stays empty.
  static PriceList parse(std::string_view text);
};

}  // namespace tallyfin
