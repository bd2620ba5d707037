#pragma once

// The Gregorian calendar of one time zone. Moments and calendar days are related only through a zone, so
// whoever needs days or hours takes a Calendar. Only Calendar::localZone asks the process for its zone.
//
//   const Calendar saoPaulo = *Calendar::named("America/Sao_Paulo");
//   saoPaulo.startOfDay(t);  // on 2018-11-04 that is 01:00, since clocks jumped over midnight
//
// A lookup costs about 50 ns. A pass over many times uses DayLookup, which remembers the last day.

#include "Platform/TimePoint.hpp"
#include "absl/time/time.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// A calendar date: proleptic Gregorian, month 1 to 12, day 1 to 31.
struct CalendarDate {
  std::int64_t year = 1970;
  int month = 1;
  int day = 1;

  friend auto operator<=>(const CalendarDate&, const CalendarDate&) = default;
};

/// A month or a year: from `start`, which is part of it, to `end`, which is not.
struct CalendarInterval {
  TimePoint start;
  TimePoint end;

  friend bool operator==(const CalendarInterval&, const CalendarInterval&) = default;
};

class Calendar {
 public:
  /// The calendar of UTC.
  static Calendar utc();

  /// The calendar of a zone of the tz database, such as "Australia/Lord_Howe", or of a zone file by its full
  /// path. Absent when there is none, and when its file is no regular one, is larger than 1 MiB or damaged.
  static std::optional<Calendar> named(const std::string& zone);

  /// The process's zone, for `named`: what TZ says, without a colon before it; the system's zone file when TZ
  /// is unset or "localtime"; "UTC" when TZ is empty or the system has no zone file.
  static std::string localZone();

  /// The first moment of the day that `time` falls on. Where the clocks jump over midnight that is the moment
  /// of the jump; where midnight comes twice, the first. A time further than 285 million years from 1970
  /// counts as the limit on its side; NaN counts as the limit in the past.
  TimePoint startOfDay(TimePoint time) const;

  /// The start of the day that lies `daysLater` calendar days after that of `time`, before it when negative.
  /// In place of a date that the zone skipped stands the next one in that direction; beyond 285 million years
  /// the last that is not.
  TimePoint startOfDay(TimePoint time, std::int64_t daysLater) const;

  /// The start of a date; absent when the calendar has no such date.
  std::optional<TimePoint> startOfDay(const CalendarDate& date) const;

  /// The start of the day that lies `months` calendar months after that of `time`, on the same day of the
  /// month or, where the month is too short, on its last. Absent outside the years 1 to 9999.
  std::optional<TimePoint> startOfDayMonthsLater(TimePoint time, std::int64_t months) const;

  /// The month that `time` falls in, from the start of its first day to the start of the next month's. Absent
  /// outside the years 1 to 9999.
  std::optional<CalendarInterval> month(TimePoint time) const;

  /// The year, likewise.
  std::optional<CalendarInterval> year(TimePoint time) const;

  /// The day of the week, 0 for Monday to 6 for Sunday.
  int weekday(TimePoint time) const;

  /// The start of the Monday of the week that `time` falls in.
  TimePoint startOfWeek(TimePoint time) const;

  /// The start of the first day of the month that `time` falls in, in any year.
  TimePoint startOfMonth(TimePoint time) const;

  /// When the hour began that the local clock shows at `time`. If the clocks jumped over the beginning of
  /// that hour, it is the moment of the jump. When an hour comes twice, each counts as an hour of its own.
  TimePoint startOfHour(TimePoint time) const;

  /// Calendar days from the day of `from` to that of `to`, however long each was; negative when `to` comes
  /// first.
  std::int64_t daysBetween(TimePoint from, TimePoint to) const;

  /// The calendar date that `time` falls on.
  CalendarDate date(TimePoint time) const;

  /// Hour of the local day, 0 to 23. On a day of 25 hours one hour comes twice.
  int hour(TimePoint time) const;

  /// Minute of the local hour, 0 to 59.
  int minute(TimePoint time) const;

  /// The date as yyyy-MM-dd. Here and in the texts below a year has at least four digits; before year 1 there
  /// is a year 0, and years before it have a minus: 0000-12-31, -0001-12-31, 10000-01-01.
  std::string formatDay(TimePoint time) const;

  /// The month in English and the year, as "March 2026".
  std::string formatMonth(TimePoint time) const;

  /// Date and time of day as yyyy-MM-dd HH:mm.
  std::string formatMinute(TimePoint time) const;

  /// The ISO 8601 week as "2026-W47". Week 1 holds the first Thursday of the year; the year is that of the
  /// week's Thursday.
  std::string formatWeek(TimePoint time) const;

  /// The month as yyyy-MM.
  std::string formatYearMonth(TimePoint time) const;

  /// As `formatMinute`; a minute that the clock shows twice has its offset: "2026-10-25 02:00+01:00".
  std::string formatDistinctMinute(TimePoint time) const;

  /// The second with its offset from UTC, "2026-05-04T17:42:10+02:00". An offset of zero is "Z"; one that is
  /// no whole minute, as local mean times are, has its seconds too.
  std::string formatInstant(TimePoint time) const;

  /// Reads exactly yyyy-MM-dd (four, two and two ASCII digits, year 0001 to 9999) and gives the start of that
  /// day. Absent for any other text, for a date that does not exist, and for a day that the zone skipped.
  std::optional<TimePoint> parseDay(std::string_view text) const;

 private:
  explicit Calendar(absl::TimeZone zone) : zone_(zone) {}

  absl::TimeZone zone_;
};

/// Start of day for many times in a row. Neighbouring times mostly fall on the same day, so the last day is
/// kept and most lookups are two comparisons. Holds a reference: the calendar must outlive it.
class DayLookup {
 public:
  explicit DayLookup(const Calendar& calendar) : calendar_(calendar) {}

  /// As Calendar::startOfDay.
  TimePoint startOfDay(TimePoint time) {
    if (!(time >= start_ && time < end_)) {
      lookUp(time);
    }
    return start_;
  }

 private:
  void lookUp(TimePoint time);

  const Calendar& calendar_;
  TimePoint start_;  // of the last day looked up
  TimePoint end_;    // times in [start_, end_) fall on that day; equal to start_ when nothing is kept
};

}  // namespace tallyfin
