#pragma once

// Which records a figure is made of: those of a range of days that a filter lets pass. The one place for that
// rule, so that a report and the files behind it cannot disagree.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <functional>
#include <optional>

namespace tallyfin {

/// The predicate of a selection; an empty one lets everything pass.
using RecordFilter = std::function<bool(const UsageRecord&)>;

/// Tells of one record after the other whether it counts. Holds references: calendar and filter must outlive
/// it.
class RecordSelection {
 public:
  /// `from` and `to`, both absent or starts of days, are the first and the last day that count.
  RecordSelection(const Calendar& calendar, std::optional<TimePoint> from, std::optional<TimePoint> to,
                  const RecordFilter& filter)
      : days_(calendar), from_(from), to_(to), filter_(filter) {}

  /// The start of the day of a record that counts, good until the next call; null when it does not. The
  /// filter is asked after the days.
  const TimePoint* day(const UsageRecord& record) {
    day_ = days_.startOfDay(record.timestamp);
    const bool counts = !(from_ && day_ < *from_) && !(to_ && day_ > *to_) && (!filter_ || filter_(record));
    return counts ? &day_ : nullptr;
  }

 private:
  DayLookup days_;
  TimePoint day_;
  std::optional<TimePoint> from_;
  std::optional<TimePoint> to_;
  const RecordFilter& filter_;
};

}  // namespace tallyfin
