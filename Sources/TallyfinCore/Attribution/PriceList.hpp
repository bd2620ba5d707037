#pragma once

// Prices of models over time: the list prices that are built in, and those of one's own that a file adds or
// puts in their place. A file that is wrong anywhere is not used at all.

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
  bool isOwn = false;                                 ///< from a file of one's own, not a list price

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

/// The prices of one's own beside the built-in ones. A new one holds none.
struct PriceList {
  std::vector<PricedModel> own;        ///< by model, in text order
  std::string file;                    ///< the file that was looked at; empty when there is none
  std::optional<std::string> problem;  ///< why that file is not used; `own` is empty then

  /// The built-in prices alone.
  static const PriceList& builtIn();

  /// The prices for a program: those of the file that TALLYFIN_PRICES names, which must be there, else of
  /// ~/.config/net.quillpond.tallyfin/prices.json, which need not.
  static PriceList of(const Environment& environment);

  /// The prices of one file, which must be there.
  static PriceList ofFile(const std::string& path);

  /// The prices that the text of a file holds; `file` stays empty.
  static PriceList parse(std::string_view text);
};

}  // namespace tallyfin
