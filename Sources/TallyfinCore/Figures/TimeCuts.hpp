#pragma once

// The figures behind charts over time: a report's sums for each day, week or month, split into main session
// and sub-agents, and for each hour of each weekday. Computed on request in a separate pass over the same
// records.

#include "Platform/Calendar.hpp"
#include "Platform/KeyedRows.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <cstdint>
#include <optional>
#include <span>

namespace tallyfin {

/// The sums of one step. `main` or `subagents` is an empty bucket, not a cost of 0, if it made no request.
struct TimeShares {
  Bucket all;
  Bucket main;
  Bucket subagents;
};

/// The sums of a range for charts. `step` is never `block`.
struct TimeCuts {
  TimeStep step = TimeStep::day;
  Bucket main;                              ///< of the whole range
  Bucket subagents;                         ///< of the whole range
  KeyedRows<TimePoint, TimeShares> byStep;  ///< by start of the step
  BucketsBy<int> byWeekHour;                ///< by `weekHour`
};

/// The key of an hour of a weekday: 0 is the first hour of Monday, 24 the first hour of Tuesday.
constexpr int weekHour(int weekday, int hour) {
  return weekday * 24 + hour;
}

/// Sums, in list order, the records that a report with the same range and filter counts, so each sum equals
/// the report's to the last bit.
TimeCuts timeCuts(const Aggregator& aggregator, const RecordList& records, std::optional<TimePoint> from,
                  std::optional<TimePoint> to, const RecordFilter& filter, TimeStep step);

}  // namespace tallyfin
