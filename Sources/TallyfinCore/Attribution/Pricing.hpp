#pragma once

// What a request costs: at list API prices or at own prices, in US dollars per million tokens; the
// multipliers that derive the cache prices from the input price; the flat price of a web search.

#include "Platform/Calendar.hpp"
#include "Platform/KeyedRows.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <optional>
#include <span>
#include <vector>

namespace tallyfin::Pricing {

/// As the list API prices have it: the prices of the caches as multiples of the input price, and the dollars
/// for one web search (10 dollars per thousand).
inline constexpr double cacheReadMultiplier = 0.1;
inline constexpr double cacheWrite5mMultiplier = 1.25;
inline constexpr double cacheWrite1hMultiplier = 2.0;
inline constexpr double webSearchCostPerRequest = 0.01;

/// Web fetches are counted but have no price: always unknown.
Estimate<double> webFetchCost();

/// The built-in list prices (ListPrices.hpp), by model.
std::span<const PricedModel> table();

/// The priced models whose name is the reduced id or a beginning of it, in the order in which they are asked
/// for a price: the longest name first, of equally long ones an own one before a built-in one. Empty when the
/// id has no price.
std::vector<const PricedModel*> candidates(InternedText model, const PriceList& list);

/// The price on the calendar day of `day`: that of the first candidate which has a price on that day. When
/// the prices of all have ended, which can only happen with own prices, it is the last price of the first
/// candidate. Null without candidates. Days are those of `calendar`, not of UTC.
const PriceTier* tierOn(std::span<const PricedModel* const> candidates, TimePoint day,
                        const Calendar& calendar);

/// The prices of a reduced model id on the calendar day of `day`. Unknown with `noPriceForModel` when there
/// are none.
Estimate<Prices> prices(InternedText model, TimePoint day, const Calendar& calendar,
                        const PriceList& list = PriceList::builtIn());

/// The cost of a record in US dollars at those prices; 0 when all counts are 0.
double cost(const UsageRecord& record, const Prices& prices);

/// Prices records one after the other. Looks a model up once and its tier when the day changes, instead of
/// both with each record; holds references, so calendar and list must outlive it.
class Pricer {
 public:
  Pricer(const Calendar& calendar, const PriceList& list) : calendar_(calendar), list_(list) {}

  /// The cost of the record in US dollars at the prices of `day`, the start of the record's own calendar day.
  RequestCost cost(const UsageRecord& record, TimePoint day);

 private:
  struct Known {
    std::vector<const PricedModel*> candidates;  // empty: no price
    bool isLookedUp = false;
    std::optional<TimePoint> day;  // of `prices`
    Prices prices;
  };

  const Calendar& calendar_;
  const PriceList& list_;
  KeyedRows<InternedText, Known> known_;  // by model
};

}  // namespace tallyfin::Pricing
