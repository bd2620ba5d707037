#pragma once

// What a request costs at list API prices: a fixed table per model with dated tiers, in US dollars per
// million tokens; the multipliers that derive the cache prices from the input price; the flat price of a web
// search.

#include "Platform/Calendar.hpp"
#include "Platform/KeyedRows.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// Prices of a model on a day, in US dollars per million tokens.
struct Prices {
  double input = 0;
  double output = 0;

  friend bool operator==(const Prices&, const Prices&) = default;
};

/// One dated price.
struct PriceTier {
  std::optional<CalendarDate> until;  ///< the last day on which it applies; absent: open-ended
  double input = 0;                   ///< US dollars per million input tokens
  double output = 0;                  ///< US dollars per million output tokens

  friend bool operator==(const PriceTier&, const PriceTier&) = default;
};

namespace Pricing {

/// Shares of the input price, and dollars for one web search (10 dollars per thousand).
inline constexpr double cacheReadMultiplier = 0.1;
inline constexpr double cacheWrite5mMultiplier = 1.25;
inline constexpr double cacheWrite1hMultiplier = 2.0;
inline constexpr double webSearchCostPerRequest = 0.01;

/// Web fetches are counted but have no price: always unknown.
Estimate<double> webFetchCost();

/// The prices of a model over time.
struct TableEntry {
  std::string_view model;
  std::vector<PriceTier> tiers;  ///< in order of time; at least one
};

/// The price table.
std::span<const TableEntry> table();

/// Prices of a reduced model id on the calendar day of `day`: those of the id itself, else of the longest
/// table key that it begins with. Unknown with `noPriceForModel` when there is none. The last day of a tier
/// is a day of `calendar`, whatever the date in UTC.
Estimate<Prices> prices(InternedText model, TimePoint day, const Calendar& calendar);

/// The cost of a record in US dollars at those prices; 0 when all counts are 0.
double cost(const UsageRecord& record, const Prices& prices);

/// Prices records one after the other. Looks a model up once and its tier when the day changes, instead of
/// both with each record; holds a reference, so the calendar must outlive it.
class Pricer {
 public:
  explicit Pricer(const Calendar& calendar) : calendar_(calendar) {}

  /// The cost of the record in US dollars at the prices of `day`, the start of the record's own calendar day.
  Estimate<double> cost(const UsageRecord& record, TimePoint day);

 private:
  struct Known {
    const TableEntry* entry = nullptr;  // null: no price
    bool isLookedUp = false;
    std::optional<TimePoint> day;  // of `prices`
    Prices prices;
  };

  const Calendar& calendar_;
  KeyedRows<InternedText, Known> known_;  // by model
};

}  // namespace Pricing
}  // namespace tallyfin
