#include "TallyfinCore/Figures/DateRange.hpp"

#include "Platform/Concat.hpp"

#include <algorithm>
#include <utility>

namespace tallyfin {
namespace {

struct PresetTexts {
  std::string_view rawValue;
  std::string_view label;
};

const PresetTexts& textsOf(RangePreset preset) {
  static constexpr std::array<PresetTexts, allRangePresets.size()> kTexts = {{
      {"thisMonth", "This month"},
      {"lastMonth", "Last month"},
      {"last7Days", "Last 7 days"},
      {"last30Days", "Last 30 days"},
      {"yearToDate", "Year to date"},
      {"custom", "Custom range"},
  }};
  return kTexts.at(static_cast<std::size_t>(preset));
}

DateRange daysBack(std::int64_t days, TimePoint now, const Calendar& calendar) {
  const TimePoint today = calendar.startOfDay(now);
  return {calendar.startOfDay(today, 1 - days), today, calendar};
}

DateRange toDate(const std::optional<CalendarInterval>& interval, TimePoint today, const Calendar& calendar) {
  return {interval ? interval->start : today, today, calendar};
}

TimePoint lastDay(const CalendarInterval& interval, const Calendar& calendar) {
  return calendar.startOfDay(interval.end, -1);
}

std::optional<DateRange> monthBefore(TimePoint today, const Calendar& calendar) {
  const std::optional<TimePoint> monthAgo = calendar.startOfDayMonthsLater(today, -1);
  const std::optional<CalendarInterval> month = monthAgo ? calendar.month(*monthAgo) : std::nullopt;
  return month ? std::optional<DateRange>({month->start, lastDay(*month, calendar), calendar}) : std::nullopt;
}

}  // namespace

DateRange::DateRange(TimePoint from, TimePoint through, const Calendar& calendar)
    : from_(calendar.startOfDay(from)), through_(calendar.startOfDay(through)) {
  if (through_ < from_) {
    std::swap(from_, through_);
  }
}

std::int64_t DateRange::dayCount(const Calendar& calendar) const {
  return calendar.daysBetween(from_, through_) + 1;
}

bool DateRange::contains(TimePoint time, const Calendar& calendar) const {
  const TimePoint day = calendar.startOfDay(time);
  return from_ <= day && day <= through_;
}

std::optional<std::string_view> DateRange::caveat(TimePoint now, const Calendar& calendar) const {
  if (!includesToday(now, calendar)) {
    return std::nullopt;
  }
  return "This range includes today, so the figure is not final yet.";
}

std::string DateRange::label(const Calendar& calendar) const {
  if (isSingleDay()) {
    return calendar.formatDay(from_);
  }
  return concat(calendar.formatDay(from_), " → ", calendar.formatDay(through_));
}

std::string DateRange::title(const Calendar& calendar) const {
  const std::optional<CalendarInterval> month = calendar.month(from_);
  if (!month || month->start != from_ || lastDay(*month, calendar) != through_) {
    return label(calendar);
  }
  return calendar.formatMonth(from_);
}

std::string_view rawValue(RangePreset preset) {
  return textsOf(preset).rawValue;
}

std::optional<RangePreset> rangePreset(std::string_view text) {
  const auto found =
      std::ranges::find(allRangePresets, text, [](RangePreset preset) { return rawValue(preset); });
  return found == allRangePresets.end() ? std::nullopt : std::optional(*found);
}

std::string_view label(RangePreset preset) {
  return textsOf(preset).label;
}

std::optional<DateRange> range(RangePreset preset, TimePoint now, const Calendar& calendar) {
  const TimePoint today = calendar.startOfDay(now);
  switch (preset) {
    case RangePreset::thisMonth:
      return toDate(calendar.month(today), today, calendar);
    case RangePreset::lastMonth:
      return monthBefore(today, calendar).value_or(daysBack(30, now, calendar));
    case RangePreset::last7Days:
      return daysBack(7, now, calendar);
    case RangePreset::last30Days:
      return daysBack(30, now, calendar);
    case RangePreset::yearToDate:
      return toDate(calendar.year(today), today, calendar);
    case RangePreset::custom:
      break;
  }
  return std::nullopt;
}

RangeSelection::RangeSelection(RangePreset chosen, std::optional<TimePoint> from, std::optional<TimePoint> to,
                               TimePoint now, const Calendar& calendar)
    : preset(chosen) {
  const DateRange recent = daysBack(30, now, calendar);
  customFrom = from.value_or(recent.from());
  customTo = to.value_or(recent.through());
}

DateRange RangeSelection::resolved(TimePoint now, const Calendar& calendar) const {
  return range(preset, now, calendar).value_or(DateRange(customFrom, customTo, calendar));
}

Report report(const Aggregator& aggregator, const RecordList& records, const DateRange& range,
              const ScanDiagnostics& diagnostics, std::optional<ReportParts> parts) {
  return aggregator.aggregate(records, range.from(), range.through(), diagnostics,
                              parts.value_or(range.isSingleDay()));
}

Report report(const Aggregator& aggregator, const RecordList& records, const RangeSelection& selection,
              TimePoint now, const ScanDiagnostics& diagnostics) {
  return report(aggregator, records, selection.resolved(now, aggregator.calendar()), diagnostics);
}

}  // namespace tallyfin
