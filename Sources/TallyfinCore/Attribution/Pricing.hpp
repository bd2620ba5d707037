#pragma once

// Finds the price of a model on a day, and computes the cost of a request. Prices are in US dollars per
// million tokens. A price is either a built-in list price of the API or an own price of the user. A reduced
// model id is a result of `normalizeModel` (ModelId.hpp).

#include "Platform/Calendar.hpp"
#include "Platform/KeyedRows.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <optional>
#include <span>
#include <vector>

namespace tallyfin::Pricing {

/// The prices of the prompt cache, as multiples of the input price. They apply unless an own price sets them.
inline constexpr double cacheReadMultiplier = 0.1;
inline constexpr double cacheWrite5mMultiplier = 1.25;
inline constexpr double cacheWrite1hMultiplier = 2.0;
/// The price of one web search, in US dollars.
inline constexpr double webSearchCostPerRequest = 0.01;

/// The cost of web fetches. Always unknown (`notMetered`), because web fetches are counted but have no price.
Estimate<double> webFetchCost();

/// The built-in list prices (ListPrices.hpp), one entry for each model.
std::span<const PricedModel> table();

/// The entries whose name (`PricedModel::model`) is equal to a reduced model id or a prefix of it. Entries
/// with longer names come first. Of two entries with the same name, the entry with own prices comes first.
/// Empty if the id has no price.
std::vector<const PricedModel*> candidates(InternedText model, const PriceList& list);

/// The price on the day that contains the time `day`. Returns the price of the first candidate that has a
/// price for this day. If the prices of all candidates ended earlier, returns the last price of the first
/// candidate; this happens only if all candidates contain own prices. Null if there are no candidates. Days
/// are days of `calendar`, not of UTC.
const PriceTier* tierOn(std::span<const PricedModel* const> candidates, TimePoint day,
                        const Calendar& calendar);

/// The prices of a reduced model id on the day that contains the time `day`; unknown (`noPriceForModel`) if
/// the id has no price.
Estimate<Prices> prices(InternedText model, TimePoint day, const Calendar& calendar,
                        const PriceList& list = PriceList::builtIn());

/// The cost of a record in US dollars, at these prices; 0 if all counts are 0.
double cost(const UsageRecord& record, const Prices& prices);

/// Computes the costs of many records. Looks up each model once, and the price of a model only when the day
/// changes. Keeps references to the calendar and the price list, which must outlive the object.
class Pricer {
 public:
  Pricer(const Calendar& calendar, const PriceList& list) : calendar_(calendar), list_(list) {}

  /// The cost of the record in US dollars; unknown (`noPriceForModel`) if its model has no price. `day` is
  /// the start of the record's day.
  RequestCost cost(const UsageRecord& record, TimePoint day);

 private:
  struct Known {
    std::vector<const PricedModel*> candidates;  // empty if the model has no price
    bool isLookedUp = false;
    std::optional<TimePoint> day;  // the day for which `prices` was looked up; absent before the first lookup
    Prices prices;
  };

  const Calendar& calendar_;
  const PriceList& list_;
  KeyedRows<InternedText, Known> known_;  // by reduced model id
};

}  // namespace tallyfin::Pricing
