#pragma once

// Figures that are computed from reports or requests: the current spending rate, comparisons with yesterday,
// and the median of recent days. All functions are pure. They take the present time (`now`) and the calendar
// as parameters.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <span>

namespace tallyfin::Derived {

/// Every answer of a tool contains this text. So does every document with costs that is meant for people.
inline constexpr const char* disclaimer = "Estimate from usage × list API prices. Not a bill.";

/// The current spending rate in dollars per hour. `today` must be the report of today, built with
/// `ReportParts::hours`. The rate is the first of these that applies:
///
/// 1. If the current hour has requests and at least 10 minutes of it have passed: the cost of this hour so
///    far, extrapolated to a whole hour.
/// 2. If one of the three hours before the current hour has requests and belongs to today: the cost of the
///    latest such hour.
/// 3. If the current hour has requests and at least 2 minutes of it have passed: as in 1.
/// 4. If today has no requests: unknown (`noData`).
/// 5. Otherwise: unknown (`noRecentActivity`).
Estimate<CostEstimate> currentHourlyRate(const Report& today, TimePoint now, const Calendar& calendar);

/// The average cost of a block in dollars per hour, from its start until `now`. Unknown (`noData`) if the
/// block started less than two minutes ago.
Estimate<CostEstimate> blockRate(const Bucket& block, TimePoint start, TimePoint now);

/// The cost of the requests from the start of yesterday until the same number of seconds after that start as
/// have passed today. Fractions of a second are dropped, and both ends are included. If the clock was changed
/// on either day, the end differs from the present time of day. Unknown (`noData`) if there are no such
/// requests.
Estimate<CostEstimate> yesterdayAtSameTime(const RecordList& records, TimePoint now, const Calendar& calendar,
                                           const PriceList& prices = PriceList::builtIn());

/// The cost of the whole of yesterday, the calendar day before the day of `now`. The range of `report` must
/// include yesterday. Unknown (`noData`) if yesterday has no requests.
Estimate<CostEstimate> yesterdayCost(const Report& report, TimePoint now, const Calendar& calendar);

/// The median of the daily costs of the last `count` days with requests before today. If `report` has fewer
/// such days, the result is the median of those. Unknown (`noData`) if there are none.
Estimate<CostEstimate> medianOfRecentDays(const Report& report, std::size_t count, TimePoint now,
                                          const Calendar& calendar);

/// The change from `baseline` to `current` as a percentage of `baseline`; both are in dollars. Negative if
/// `current` is lower. Unknown (`noData`) if `baseline` is unknown or not above 0.
Estimate<double> delta(double current, const Estimate<CostEstimate>& baseline);

}  // namespace tallyfin::Derived
