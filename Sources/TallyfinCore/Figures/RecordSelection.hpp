#pragma once

// Selects the records that a figure counts: those in a range of days that pass a filter. Reports and the file
// breakdown both use it, so they cannot disagree.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <functional>
#include <optional>

namespace tallyfin {

/// Returns whether a record passes; an empty filter passes every record.
using RecordFilter = std::function<bool(const UsageRecord&)>;

/// Decides for each record whether it counts. Keeps references: calendar and filter must outlive it.
class RecordSelection {
 public:
  /// `from` and `to` are the first and the last day that count. Each is absent (no bound) or the start of a
  /// day.
  RecordSelection(const Calendar& calendar, std::optional<TimePoint> from, std::optional<TimePoint> to,
                  const RecordFilter& filter)
      : days_(calendar), from_(from), to_(to), filter_(filter) {}

  /// The start of the record's day, valid until the next call; null if the record does not count. The filter
  /// is called only for records in the range of days.
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
