#pragma once

// What is worked out from reports: the present rate of spending, the comparisons with yesterday, the median
// of recent days. Pure functions; clock and calendar come in as parameters.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <span>

namespace tallyfin::Derived {

/// Stands below every answer and in every document for people that tells costs.
inline constexpr const char* disclaimer = "Estimate from usage × list API prices. Not a bill.";

/// Dollars per hour now, from today's report with its hours: the running hour extrapolated once it is 10
/// minutes old, else the latest finished of the three hours before (not past midnight), else the running hour
/// from 2 minutes on. Unknown: `noRecentActivity`, or `noData` when today has no requests at all.
Estimate<CostEstimate> currentHourlyRate(const Report& today, TimePoint now, const Calendar& calendar);

/// Dollars per hour: the cost of all that a block holds, over the time since its start. Unknown (`noData`)
/// within its first two minutes.
Estimate<CostEstimate> blockRate(const Bucket& block, TimePoint start, TimePoint now);

/// The cost of yesterday's requests in as many seconds from the start of that day as have passed of today,
/// both ends included. Unknown (`noData`) when no record lies there.
Estimate<CostEstimate> yesterdayAtSameTime(const RecordList& records, TimePoint now, const Calendar& calendar,
                                           const PriceList& prices = PriceList::builtIn());

/// The cost of yesterday in a report that covers it. Unknown (`noData`) when it had no requests.
Estimate<CostEstimate> yesterdayCost(const Report& report, TimePoint now, const Calendar& calendar);

/// The median cost of the last `count` days with activity before today. Unknown (`noData`) when there is
/// none.
Estimate<CostEstimate> medianOfRecentDays(const Report& report, std::size_t count, TimePoint now,
                                          const Calendar& calendar);

/// The change from `baseline` to `current` dollars in percent. Unknown (`noData`) unless the baseline is
/// above 0.
Estimate<double> delta(double current, const Estimate<CostEstimate>& baseline);

}  // namespace tallyfin::Derived
