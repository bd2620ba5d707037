#pragma once

// The cost of requests: at list API prices or at own prices, in US dollars per million tokens. Also the
// multipliers from the input price to the cache prices, and the flat price of a web search.

#include "Platform/Calendar.hpp"
#include "Platform/KeyedRows.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <optional>
#include <span>
#include <vector>

namespace tallyfin::Pricing {

/// From the list API prices: cache prices as multiples of the input price, and dollars per web search (10
/// dollars per thousand).
inline constexpr double cacheReadMultiplier = 0.1;
inline constexpr double cacheWrite5mMultiplier = 1.25;
inline constexpr double cacheWrite1hMultiplier = 2.0;
inline constexpr double webSearchCostPerRequest = 0.01;

/// Always unknown, because web fetches are counted but have no price.
Estimate<double> webFetchCost();

/// The built-in list prices (ListPrices.hpp), by model.
std::span<const PricedModel> table();

/// The priced models whose name is a prefix of the reduced id or equal to it. Longer names come first; of
/// equally long names, own prices come before built-in ones. Empty if the id has no price.
std::vector<const PricedModel*> candidates(InternedText model, const PriceList& list);

/// The price on the calendar day of `day`: that of the first candidate with a price for that day. If the
/// prices of all candidates have ended, which is possible only with own prices, it is the last price of the
/// first candidate. Null without candidates. Days are days of `calendar`, not of UTC.
const PriceTier* tierOn(std::span<const PricedModel* const> candidates, TimePoint day,
                        const Calendar& calendar);

/// The prices of a reduced model id on the calendar day of `day`; unknown (`noPriceForModel`) if there are
/// none.
Estimate<Prices> prices(InternedText model, TimePoint day, const Calendar& calendar,
                        const PriceList& list = PriceList::builtIn());

/// The cost of a record in US dollars; 0 if all counts are 0.
double cost(const UsageRecord& record, const Prices& prices);

/// Prices records in a row. Looks up each model once, and its tier only when the day changes. Keeps
/// references to the calendar and the list, which must outlive it.
class Pricer {
 public:
  Pricer(const Calendar& calendar, const PriceList& list) : calendar_(calendar), list_(list) {}

  /// The cost of the record in US dollars. `day` is the start of the record's calendar day.
  RequestCost cost(const UsageRecord& record, TimePoint day);

 private:
  struct Known {
    std::vector<const PricedModel*> candidates;  // empty if the model has no price
    bool isLookedUp = false;
    std::optional<TimePoint> day;  // the day to which `prices` applies
    Prices prices;
  };

  const Calendar& calendar_;
  const PriceList& list_;
  KeyedRows<InternedText, Known> known_;  // by model
};

}  // namespace tallyfin::Pricing
