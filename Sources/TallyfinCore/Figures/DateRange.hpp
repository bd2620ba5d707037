#pragma once

// The days that a user asks about, for applications that embed the core: a range of whole days, the presets,
// and a selection that remembers both a preset and custom dates. Every function takes calendar and current
// time as arguments, even for labels, so a range reads the same everywhere.
//
//   const RangeSelection chosen(RangePreset::lastMonth, {}, {}, now, calendar);
//   chosen.resolved(now, calendar).title(calendar);  // "February 2026"

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tallyfin {

/// A range of calendar days, both ends included; `from` is never after `through`.
class DateRange {
 public:
  /// The days that contain the two times, in either order.
  DateRange(TimePoint from, TimePoint through, const Calendar& calendar);

  /// The start of the first day.
  TimePoint from() const { return from_; }

  /// The start of the last day; the range includes that whole day.
  TimePoint through() const { return through_; }

  bool isSingleDay() const { return from_ == through_; }

  /// The number of calendar days.
  std::int64_t dayCount(const Calendar& calendar) const;

  /// Whether `time` falls on one of the days.
  bool contains(TimePoint time, const Calendar& calendar) const;

  bool includesToday(TimePoint now, const Calendar& calendar) const { return contains(now, calendar); }

  /// The note to show beside a figure if the range includes today, which is not over yet; absent for other
  /// ranges.
  std::optional<std::string_view> caveat(TimePoint now, const Calendar& calendar) const;

  /// The day, or the first and last day with an arrow between them.
  std::string label(const Calendar& calendar) const;

  /// The name of the month if the range is one whole month, otherwise `label`.
  std::string title(const Calendar& calendar) const;

  friend bool operator==(const DateRange&, const DateRange&) = default;

  template <typename H>
  friend H AbslHashValue(H state, const DateRange& range) {
    return H::combine(std::move(state), range.from_, range.through_);
  }

 private:
  TimePoint from_;
  TimePoint through_;
};

/// The choices that a user has.
enum class RangePreset : std::uint8_t { thisMonth, lastMonth, last7Days, last30Days, yearToDate, custom };

/// All presets in the order in which they are offered; a user can pick any of them.
inline constexpr std::array allRangePresets = {RangePreset::thisMonth,  RangePreset::lastMonth,
                                               RangePreset::last7Days,  RangePreset::last30Days,
                                               RangePreset::yearToDate, RangePreset::custom};
inline constexpr std::array pickableRangePresets = allRangePresets;

/// The identifier of a preset in settings and on command lines: "thisMonth".
std::string_view rawValue(RangePreset preset);

/// The preset with this identifier; absent if there is none.
std::optional<RangePreset> rangePreset(std::string_view text);

/// The name shown to users: "This month".
std::string_view label(RangePreset preset);

/// The days of a preset as of `now`; absent for `custom`. All presets but last month end with today. Outside
/// the years 1 to 9999 the calendar has no months and years; there, last month is the last 30 days, and this
/// month and the year to date are today alone.
std::optional<DateRange> range(RangePreset preset, TimePoint now, const Calendar& calendar);

/// What a user has chosen. It keeps the dates even while a preset is chosen, for a later switch to `custom`.
struct RangeSelection {
  RangePreset preset;
  TimePoint customFrom;  ///< any time of the first day
  TimePoint customTo;    ///< any time of the last day

  /// Absent dates are replaced by those of the last 30 days.
  RangeSelection(RangePreset chosen, std::optional<TimePoint> from, std::optional<TimePoint> to,
                 TimePoint now, const Calendar& calendar);

  /// The days of the preset as of `now`, so "this month" follows the clock; for `custom`, the days of the two
  /// dates.
  DateRange resolved(TimePoint now, const Calendar& calendar) const;

  friend bool operator==(const RangeSelection&, const RangeSelection&) = default;
};

/// The report of a range. `parts` defaults to hours for a single day and no hours otherwise. The range must
/// have been made with the aggregator's calendar.
Report report(const Aggregator& aggregator, const RecordList& records, const DateRange& range,
              const ScanDiagnostics& diagnostics, std::optional<ReportParts> parts = {});

/// The report of a selection as of `now`.
Report report(const Aggregator& aggregator, const RecordList& records, const RangeSelection& selection,
              TimePoint now, const ScanDiagnostics& diagnostics);

}  // namespace tallyfin
