#pragma once

// The days that a person asks about, for an application around the core: a range of whole days, the presets
// to pick from, and a choice that remembers a preset together with dates of one's own. Calendar and present
// time are arguments, for labels too, so that a range reads the same wherever it is shown.
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

/// Calendar days, both ends included; `from` is never after `through`.
class DateRange {
 public:
  /// The days that the two times fall on, whichever comes first.
  DateRange(TimePoint from, TimePoint through, const Calendar& calendar);

  /// The start of the first day.
  TimePoint from() const { return from_; }

  /// The start of the last day; that whole day is in the range.
  TimePoint through() const { return through_; }

  bool isSingleDay() const { return from_ == through_; }

  /// How many calendar days these are.
  std::int64_t dayCount(const Calendar& calendar) const;

  /// Whether `time` falls on one of the days.
  bool contains(TimePoint time, const Calendar& calendar) const;

  bool includesToday(TimePoint now, const Calendar& calendar) const { return contains(now, calendar); }

  /// What to say beside a figure of a day that is still running; absent for other ranges.
  std::optional<std::string_view> caveat(TimePoint now, const Calendar& calendar) const;

  /// The day, or the first and the last with an arrow between them.
  std::string label(const Calendar& calendar) const;

  /// A whole calendar month as its name, anything else as its label.
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

/// What a person can pick.
enum class RangePreset : std::uint8_t { thisMonth, lastMonth, last7Days, last30Days, yearToDate, custom };

/// All presets in the order in which they are offered; all of them can be picked.
inline constexpr std::array allRangePresets = {RangePreset::thisMonth,  RangePreset::lastMonth,
                                               RangePreset::last7Days,  RangePreset::last30Days,
                                               RangePreset::yearToDate, RangePreset::custom};
inline constexpr std::array pickableRangePresets = allRangePresets;

/// The text under which settings and command lines know a preset, its id: "thisMonth".
std::string_view rawValue(RangePreset preset);

/// The preset of that text; absent for any other text.
std::optional<RangePreset> rangePreset(std::string_view text);

/// What a person is shown: "This month".
std::string_view label(RangePreset preset);

/// The days of a preset, seen from `now`; absent for `custom`. The rolling presets count today as their last
/// day, last month alone ends before today. Beyond the years 1 to 9999 there are no months and years: last
/// month is the last 30 days then, and this month and the year to date are today.
std::optional<DateRange> range(RangePreset preset, TimePoint now, const Calendar& calendar);

/// What a person has chosen. The dates are kept while a preset is chosen, for a later switch to `custom`.
struct RangeSelection {
  RangePreset preset;
  TimePoint customFrom;  ///< any time of the first day
  TimePoint customTo;    ///< any time of the last day

  /// Dates that are absent become those of the last 30 days.
  RangeSelection(RangePreset chosen, std::optional<TimePoint> from, std::optional<TimePoint> to,
                 TimePoint now, const Calendar& calendar);

  /// The days of the preset as of `now`, so that "this month" moves on; for `custom` those of the two dates.
  DateRange resolved(TimePoint now, const Calendar& calendar) const;

  friend bool operator==(const RangeSelection&, const RangeSelection&) = default;
};

/// The report of a range. Hours are built when `parts` says so, by default for a single day. The range must
/// come from the aggregator's calendar.
Report report(const Aggregator& aggregator, const RecordList& records, const DateRange& range,
              const ScanDiagnostics& diagnostics, std::optional<ReportParts> parts = {});

/// The report of a choice as of `now`.
Report report(const Aggregator& aggregator, const RecordList& records, const RangeSelection& selection,
              TimePoint now, const ScanDiagnostics& diagnostics);

}  // namespace tallyfin
