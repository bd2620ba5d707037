#pragma once

// The Gregorian calendar in one time zone. Moments and calendar days are related only through a zone, so code
// that needs days or hours takes a Calendar. Only Calendar::localZone reads the process's zone.
//
//   const Calendar saoPaulo = *Calendar::named("America/Sao_Paulo");
//   saoPaulo.startOfDay(t);  // on 2018-11-04 that is 01:00, since clocks jumped over midnight
//
// A lookup costs about 50 ns. Code that looks up many times should use DayLookup, which caches the last day.

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

/// A month or a year: the half-open interval [start, end).
struct CalendarInterval {
  TimePoint start;
  TimePoint end;

  friend bool operator==(const CalendarInterval&, const CalendarInterval&) = default;
};

class Calendar {
 public:
  /// The calendar of UTC.
  static Calendar utc();

  /// The calendar of a tz database zone, such as "Australia/Lord_Howe", or of the zone file at an absolute
  /// path. Absent if there is no such zone, or if its file is not a regular file, is larger than 1 MiB or is
  /// damaged.
  static std::optional<Calendar> named(const std::string& zone);

  /// The name of the process's zone, to be passed to `named`. This is the value of TZ without a leading
  /// colon. If TZ is unset or "localtime", it is the path of the system's zone file. If TZ is empty or the
  /// system has no zone file, it is "UTC".
  static std::string localZone();

  /// The first moment of the day that `time` falls on. If the clocks skip midnight, this is the moment of the
  /// jump; if midnight occurs twice, it is the first. Times further than 285 million years from 1970 are
  /// clamped to that limit; NaN is treated as the past limit.
  TimePoint startOfDay(TimePoint time) const;

  /// The start of the day that is `daysLater` calendar days after the day of `time`; negative values go back.
  /// If the zone skipped that date, the result is the next existing date in the same direction. The result is
  /// clamped to 285 million years from 1970.
  TimePoint startOfDay(TimePoint time, std::int64_t daysLater) const;

  /// The start of a date; absent if the date does not exist, such as 30 February.
  std::optional<TimePoint> startOfDay(const CalendarDate& date) const;

  /// The start of the day `months` calendar months after the day of `time`, on the same day of the month or,
  /// in a shorter month, on its last day. Absent outside the years 1 to 9999.
  std::optional<TimePoint> startOfDayMonthsLater(TimePoint time, std::int64_t months) const;

  /// The month that `time` falls in. Absent outside the years 1 to 9999.
  std::optional<CalendarInterval> month(TimePoint time) const;

  /// The year that `time` falls in. Absent outside the years 1 to 9999.
  std::optional<CalendarInterval> year(TimePoint time) const;

  /// The day of the week, 0 for Monday to 6 for Sunday.
  int weekday(TimePoint time) const;

  /// The start of the Monday of the week that `time` falls in.
  TimePoint startOfWeek(TimePoint time) const;

  /// The start of the month that `time` falls in. Not limited to the years 1 to 9999.
  TimePoint startOfMonth(TimePoint time) const;

  /// The start of the local hour that `time` falls in. If the clocks skipped the beginning of that hour, this
  /// is the moment of the jump. If the clocks show an hour twice, each counts as an hour of its own.
  TimePoint startOfHour(TimePoint time) const;

  /// The number of calendar days from the day of `from` to the day of `to`; negative if `to` is earlier. Days
  /// count as one whatever their length.
  std::int64_t daysBetween(TimePoint from, TimePoint to) const;

  /// The calendar date that `time` falls on.
  CalendarDate date(TimePoint time) const;

  /// Hour of the local day, 0 to 23. A day of 25 hours has one hour twice.
  int hour(TimePoint time) const;

  /// Minute of the local hour, 0 to 59.
  int minute(TimePoint time) const;

  /// The date as yyyy-MM-dd. In all texts below, years have at least four digits; the year before 1 is 0, and
  /// earlier years have a minus: 0000-12-31, -0001-12-31, 10000-01-01.
  std::string formatDay(TimePoint time) const;

  /// The month in English with its year: "March 2026".
  std::string formatMonth(TimePoint time) const;

  /// Date and time of day as yyyy-MM-dd HH:mm.
  std::string formatMinute(TimePoint time) const;

  /// The ISO 8601 week: "2026-W47". Week 1 contains the first Thursday of the year; the year shown is that of
  /// the week's Thursday.
  std::string formatWeek(TimePoint time) const;

  /// The month as yyyy-MM.
  std::string formatYearMonth(TimePoint time) const;

  /// As `formatMinute`, with the UTC offset if clocks show the minute twice: "2026-10-25 02:00+01:00".
  std::string formatDistinctMinute(TimePoint time) const;

  /// Date, time and offset from UTC to the second: "2026-05-04T17:42:10+02:00". A zero offset is "Z". Offsets
  /// that are not whole minutes, as of local mean time, include seconds.
  std::string formatInstant(TimePoint time) const;

  /// The start of a day written as yyyy-MM-dd (four, two and two ASCII digits, years 0001 to 9999). Absent
  /// for any other text, for a date that does not exist, and for a day that the zone skipped.
  std::optional<TimePoint> parseDay(std::string_view text) const;

 private:
  explicit Calendar(absl::TimeZone zone) : zone_(zone) {}

  absl::TimeZone zone_;
};

/// Calendar::startOfDay for many times in a row. Consecutive times mostly fall on the same day, so the last
/// day is cached and most lookups cost two comparisons. Keeps a reference to the calendar, which must outlive
/// it.
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
  TimePoint start_;  // of the cached day
  TimePoint end_;    // times in [start_, end_) fall on the cached day; equal to start_ if no day is cached
};

}  // namespace tallyfin
