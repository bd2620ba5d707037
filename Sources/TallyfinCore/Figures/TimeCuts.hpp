#pragma once

// What drawings over time are made of: the sums of a report for each day, week or month, apart for the main
// session and the sub-agents, and for each hour of each weekday. Built on request, in one pass of its own
// over the same records.

#include "Platform/Calendar.hpp"
#include "Platform/KeyedRows.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <cstdint>
#include <optional>
#include <span>

namespace tallyfin {

/// The sums of one step. `main` and `subagents` hold nothing, not a cost of 0, when they made no request.
struct TimeShares {
  Bucket all;
  Bucket main;
  Bucket subagents;
};

/// The sums of a range, cut in these ways. `step` is never `block`.
struct TimeCuts {
  TimeStep step = TimeStep::day;
  Bucket main;                              ///< of the whole range
  Bucket subagents;                         ///< likewise
  KeyedRows<TimePoint, TimeShares> byStep;  ///< by start of the step
  BucketsBy<int> byWeekHour;                ///< by `weekHour`
};

/// The key of an hour of a weekday: 0 is Monday, 24 the first hour of Tuesday.
constexpr int weekHour(int weekday, int hour) {
  return weekday * 24 + hour;
}

/// Sums the records that a report of the same range and filter is made of, in the order of the list, so that
/// each sum equals the report's to the last bit.
TimeCuts timeCuts(const Aggregator& aggregator, const RecordList& records, std::optional<TimePoint> from,
                  std::optional<TimePoint> to, const RecordFilter& filter, TimeStep step);

}  // namespace tallyfin
