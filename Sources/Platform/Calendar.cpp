#include "Platform/Calendar.hpp"

#include "Platform/Numbers.hpp"
#include "absl/strings/str_format.h"
#include "absl/time/civil_time.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tallyfin {
namespace {

// Far beyond every date that can be written, and still far inside the range of civil time.
constexpr double kFarthest = 1e13;  // seconds; about 317,000 years

absl::Time toAbsl(TimePoint time) {
  double seconds = std::floor(time.seconds);
  if (!(seconds > -kFarthest)) {  // NaN as well
    seconds = -kFarthest;
  } else if (seconds > kFarthest) {
    seconds = kFarthest;
  }
  return absl::FromUnixSeconds(static_cast<std::int64_t>(seconds));
}

TimePoint fromAbsl(absl::Time time) {
  return {static_cast<double>(absl::ToUnixSeconds(time))};
}

TimePoint startOf(absl::CivilDay day, absl::TimeZone zone) {
  const absl::TimeZone::TimeInfo info = zone.At(absl::CivilSecond(day));
  // A midnight that was skipped is the moment of the jump; of a midnight that comes twice `pre` is the first.
  return fromAbsl(info.kind == absl::TimeZone::TimeInfo::SKIPPED ? info.trans : info.pre);
}

template <typename Civil>
bool hasFourDigitYear(Civil time) {
  return time.year() >= 1 && time.year() <= 9999;
}

// The month or year as an interval; its end may be the start of the year 10000.
template <typename Civil>
std::optional<CalendarInterval> interval(Civil unit, absl::TimeZone zone) {
  if (!hasFourDigitYear(unit)) {
    return std::nullopt;
  }
  return CalendarInterval{startOf(absl::CivilDay(unit), zone), startOf(absl::CivilDay(unit + 1), zone)};
}

}  // namespace

Calendar Calendar::utc() {
  return Calendar(absl::UTCTimeZone());
}

std::optional<Calendar> Calendar::named(const std::string& zone) {
  absl::TimeZone found;
  if (!absl::LoadTimeZone(zone, &found)) {
    return std::nullopt;
  }
  return Calendar(found);
}

Calendar Calendar::local() {
  return Calendar(absl::LocalTimeZone());
}

TimePoint Calendar::startOfDay(TimePoint time) const {
  return startOf(absl::ToCivilDay(toAbsl(time), zone_), zone_);
}

std::optional<TimePoint> Calendar::startOfDay(TimePoint time, std::int64_t daysLater) const {
  constexpr std::int64_t kDaysOfAllYears = 4'000'000;  // more than years 1 to 9999 hold: no sum can overflow
  const absl::CivilDay today = absl::ToCivilDay(toAbsl(time), zone_);
  if (daysLater < -kDaysOfAllYears || daysLater > kDaysOfAllYears || !hasFourDigitYear(today + daysLater)) {
    return std::nullopt;
  }
  return startOf(today + daysLater, zone_);
}

std::optional<TimePoint> Calendar::startOfDay(const CalendarDate& date) const {
  const absl::CivilDay day(date.year, date.month, date.day);
  if (day.year() != date.year || day.month() != date.month || day.day() != date.day) {
    return std::nullopt;  // civil days normalise: 30 February becomes 2 March
  }
  return startOf(day, zone_);
}

std::optional<TimePoint> Calendar::startOfDayMonthsLater(TimePoint time, std::int64_t months) const {
  constexpr std::int64_t kMonthsOfAllYears = 120'000;  // more than years 1 to 9999 hold
  const absl::CivilDay today = absl::ToCivilDay(toAbsl(time), zone_);
  const absl::CivilMonth month =
      absl::CivilMonth(today) + std::clamp(months, -kMonthsOfAllYears, kMonthsOfAllYears);
  if (!hasFourDigitYear(month)) {
    return std::nullopt;
  }
  const absl::CivilDay last = absl::CivilDay(month + 1) - 1;
  return startOf(std::min(absl::CivilDay(month) + (today.day() - 1), last), zone_);
}

std::optional<CalendarInterval> Calendar::month(TimePoint time) const {
  return interval(absl::CivilMonth(absl::ToCivilDay(toAbsl(time), zone_)), zone_);
}

std::optional<CalendarInterval> Calendar::year(TimePoint time) const {
  return interval(absl::CivilYear(absl::ToCivilDay(toAbsl(time), zone_)), zone_);
}

std::int64_t Calendar::daysBetween(TimePoint from, TimePoint to) const {
  return absl::ToCivilDay(toAbsl(to), zone_) - absl::ToCivilDay(toAbsl(from), zone_);
}

CalendarDate Calendar::date(TimePoint time) const {
  const absl::CivilDay day = absl::ToCivilDay(toAbsl(time), zone_);
  return {day.year(), day.month(), day.day()};
}

int Calendar::hour(TimePoint time) const {
  return absl::ToCivilSecond(toAbsl(time), zone_).hour();
}

int Calendar::minute(TimePoint time) const {
  return absl::ToCivilSecond(toAbsl(time), zone_).minute();
}

std::string Calendar::formatDay(TimePoint time) const {
  const absl::CivilDay day = absl::ToCivilDay(toAbsl(time), zone_);
  return absl::StrFormat("%04d-%02d-%02d", day.year(), day.month(), day.day());
}

std::string Calendar::formatMonth(TimePoint time) const {
  constexpr const char* kNames[] = {"January", "February", "March",     "April",   "May",      "June",
                                    "July",    "August",   "September", "October", "November", "December"};
  const absl::CivilDay day = absl::ToCivilDay(toAbsl(time), zone_);
  return absl::StrFormat("%s %04d", kNames[day.month() - 1], day.year());
}

std::string Calendar::formatMinute(TimePoint time) const {
  const absl::CivilSecond at = absl::ToCivilSecond(toAbsl(time), zone_);
  return absl::StrFormat("%04d-%02d-%02d %02d:%02d", at.year(), at.month(), at.day(), at.hour(), at.minute());
}

std::string Calendar::formatInstant(TimePoint time) const {
  const absl::TimeZone::CivilInfo info = zone_.At(toAbsl(time));
  const absl::CivilSecond at = info.cs;
  std::string text = absl::StrFormat("%04d-%02d-%02dT%02d:%02d:%02d", at.year(), at.month(), at.day(),
                                     at.hour(), at.minute(), at.second());
  if (info.offset == 0) {
    return text + 'Z';
  }
  const int offset = std::abs(info.offset);
  absl::StrAppendFormat(&text, "%c%02d:%02d", info.offset < 0 ? '-' : '+', offset / 3600, offset / 60 % 60);
  if (offset % 60 != 0) {
    absl::StrAppendFormat(&text, ":%02d", offset % 60);
  }
  return text;
}

std::optional<TimePoint> Calendar::parseDay(std::string_view text) const {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
    return std::nullopt;
  }
  const CalendarDate date{digitsAt(text, 0, 4), digitsAt(text, 5, 2), digitsAt(text, 8, 2)};
  if (date.year < 1 || date.month < 1 || date.day < 1) {
    return std::nullopt;
  }
  const std::optional<TimePoint> start = startOfDay(date);
  // A zone that crossed the date line skipped a whole day: it is in the calendar but was never there.
  return start && this->date(*start) == date ? start : std::nullopt;
}

void DayLookup::look(TimePoint time) {
  start_ = calendar_.startOfDay(time);
  end_ = start_;
  // On a day of a clock change the date can go back for a while, where midnight itself comes twice; nothing
  // is kept then. That is two days a year.
  constexpr double kPlainDay = 86'400;
  const std::optional<TimePoint> next = calendar_.startOfDay(time, 1);
  if (next && next->seconds - start_.seconds == kPlainDay && time >= start_ && time < *next) {
    end_ = *next;
  }
}

}  // namespace tallyfin
