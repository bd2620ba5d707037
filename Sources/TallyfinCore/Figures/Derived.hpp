#pragma once

// Figures calculated from reports: the current spending rate, comparisons with yesterday, the median of
// recent days. Pure functions; clock and calendar are parameters.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <span>

namespace tallyfin::Derived {

/// Printed below every answer and in every document for people that contains costs.
inline constexpr const char* disclaimer = "Estimate from usage × list API prices. Not a bill.";

/// The current spending rate in dollars per hour. `today` must be today's report with hours. From minute 10
/// on, the current hour is extrapolated. Before that, the latest of the three preceding hours of today that
/// has requests is used; if none has, the current hour is extrapolated from minute 2 on. Unknown: `noData` if
/// today has no requests, otherwise `noRecentActivity`.
Estimate<CostEstimate> currentHourlyRate(const Report& today, TimePoint now, const Calendar& calendar);

/// The cost of a block in dollars per hour since its start. Unknown (`noData`) within its first two minutes.
Estimate<CostEstimate> blockRate(const Bucket& block, TimePoint start, TimePoint now);

/// The cost of yesterday's requests up to the present time of day, measured in seconds since the start of the
/// day; both ends included. Unknown (`noData`) if there are no such requests.
Estimate<CostEstimate> yesterdayAtSameTime(const RecordList& records, TimePoint now, const Calendar& calendar,
                                           const PriceList& prices = PriceList::builtIn());

/// The cost of yesterday; the report must cover it. Unknown (`noData`) if there were no requests.
Estimate<CostEstimate> yesterdayCost(const Report& report, TimePoint now, const Calendar& calendar);

/// The median cost of the last `count` active days before today. Unknown (`noData`) if there is none.
Estimate<CostEstimate> medianOfRecentDays(const Report& report, std::size_t count, TimePoint now,
                                          const Calendar& calendar);

/// The change from `baseline` to `current` dollars, in percent. Unknown (`noData`) unless the baseline is
/// above 0.
Estimate<double> delta(double current, const Estimate<CostEstimate>& baseline);

}  // namespace tallyfin::Derived
