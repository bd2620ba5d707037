#pragma once

// Prices of models over time: the built-in list prices, and own prices from a file of the user, which add to
// list prices or replace them. A file with any fault is ignored entirely.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Environment.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// The prices of a model on a day, in US dollars per million tokens.
struct Prices {
  double input = 0;
  double output = 0;
  std::optional<double> cacheWrite5m = std::nullopt;  ///< absent: the usual multiple of `input`
  std::optional<double> cacheWrite1h = std::nullopt;  ///< as `cacheWrite5m`
  std::optional<double> cacheRead = std::nullopt;     ///< as `cacheWrite5m`
  bool isOwn = false;                                 ///< from the user's file, not from the list

  friend bool operator==(const Prices&, const Prices&) = default;
};

/// A price with its last day.
struct PriceTier {
  std::optional<CalendarDate> until;  ///< the last day on which it applies; absent: open-ended
  Prices prices;

  friend bool operator==(const PriceTier&, const PriceTier&) = default;
};

/// The prices of a model over time.
struct PricedModel {
  std::string model;             ///< reduced like the ids of records, in canonical form
  std::vector<PriceTier> tiers;  ///< in order of time, an open-ended one last; at least one
};

/// The user's own prices, used in addition to the built-in ones.
struct PriceList {
  std::vector<PricedModel> own;        ///< sorted by model, in text order
  std::string file;                    ///< the file that was tried; empty if there is none
  std::optional<std::string> problem;  ///< why the file is ignored; `own` is then empty

  /// A list without own prices.
  static const PriceList& builtIn();

  /// The own prices that a program uses, from the file named by TALLYFIN_PRICES or, if that is not set,
  /// ~/.config/net.quillpond.tallyfin/prices.json. A missing file is a `problem` in the first case only.
  static PriceList of(const Environment& environment);

  /// The prices in one file. A missing file is a `problem`.
  static PriceList ofFile(const std::string& path);

  /// The prices in the text of a file; `file` stays empty.
  static PriceList parse(std::string_view text);
};

}  // namespace tallyfin
