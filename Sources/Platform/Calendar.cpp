#include "Platform/Calendar.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"
#include "absl/strings/str_format.h"
#include "absl/time/civil_time.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tallyfin {
namespace {

// The calendar's limits: this far from 1970 in both directions. Up to 2^53 seconds (9.007e15) a double
// represents every whole second.
constexpr double kFarthest = 9e15;  // seconds; about 285 million years

absl::Time toAbsl(TimePoint time) {
  double seconds = std::floor(time.seconds);
  if (!(seconds > -kFarthest)) {  // also true for NaN
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
  // For a skipped midnight, `trans` is the moment of the jump; for a midnight that occurs twice, `pre` is the
  // first.
  return fromAbsl(info.kind == absl::TimeZone::TimeInfo::SKIPPED ? info.trans : info.pre);
}

std::string yearText(std::int64_t year) {
  return absl::StrFormat("%0*d", year < 0 ? 5 : 4, year);  // the width includes the minus
}

template <typename Civil>
std::string dateText(Civil time) {
  return yearText(time.year()) + absl::StrFormat("-%02d-%02d", time.month(), time.day());
}

// The file that the zone library loads for a zone.
std::string zoneFile(std::string_view zone) {
  if (zone.starts_with("file:")) {
    zone.remove_prefix(5);
  }
  if (zone.starts_with('/')) {
    return std::string(zone);
  }
  const char* const folder = std::getenv("TZDIR");
  return concat(folder != nullptr && *folder != '\0' ? folder : "/usr/share/zoneinfo", "/", zone);
}

// Whether a zone file (RFC 8536) is as long as its headers say. The zone library allocates that much before
// it reads the file.
bool isWholeZone(std::string_view file) {
  constexpr std::size_t kHeader = 44;
  constexpr std::size_t kCounts = 20;  // offset of the header's six counts
  for (const std::uint64_t timeSize : {4U, 8U}) {
    if (!file.starts_with("TZif") || file.size() < kHeader) {
      return false;
    }
    // Bytes per item of each count: UT and standard indicators, leap seconds, transitions, types, names.
    std::uint64_t length = 0;
    std::size_t at = kCounts;
    for (const std::uint64_t size : {std::uint64_t{1}, std::uint64_t{1}, timeSize + 4, timeSize + 1,
                                     std::uint64_t{6}, std::uint64_t{1}}) {
      std::uint64_t count = 0;
      for (const std::size_t end = at + 4; at < end; ++at) {
        count = count << 8U | static_cast<unsigned char>(file[at]);
      }
      length += count * size;
    }
    if (length > file.size() - kHeader) {
      return false;
    }
    if (file[4] == '\0') {
      return true;  // version 1 has only times of four bytes
    }
    file.remove_prefix(kHeader + length);
  }
  return true;
}

template <typename Civil>
bool hasFourDigitYear(Civil time) {
  return time.year() >= 1 && time.year() <= 9999;
}

// The month or year as an interval. The end of year 9999 is the start of year 10000.
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
  constexpr std::uint64_t kLargestFile = 1 << 20;  // files of the tz database are smaller than 10 KB
  const std::string file = zoneFile(zone);
  if (Files::exists(file)) {  // some zones that the library knows have no file, such as "UTC0"
    const std::optional<Buffer> content = Files::contents(file, kLargestFile);
    if (!content || !isWholeZone(content->bytes())) {
      return std::nullopt;
    }
  }
  absl::TimeZone found;
  if (!absl::LoadTimeZone(zone, &found)) {
    return std::nullopt;
  }
  return Calendar(found);
}

std::string Calendar::localZone() {
  constexpr const char* kSystemFile = "/etc/localtime";
  const char* const variable = std::getenv("TZ");
  std::string zone = variable != nullptr ? variable : "localtime";
  if (zone.starts_with(':')) {
    zone.erase(0, 1);
  }
  if (zone == "localtime" && Files::exists(kSystemFile)) {
    return kSystemFile;
  }
  return zone.empty() || zone == "localtime" ? "UTC" : zone;
}

TimePoint Calendar::startOfDay(TimePoint time) const {
  return startOf(absl::ToCivilDay(toAbsl(time), zone_), zone_);
}

TimePoint Calendar::startOfDay(TimePoint time, std::int64_t daysLater) const {
  constexpr std::int64_t kAllDays = 300'000'000'000;  // exceeds the calendar's range; sums cannot overflow
  const absl::CivilDay day =
      absl::ToCivilDay(toAbsl(time), zone_) + std::clamp(daysLater, -kAllDays, kAllDays);
  const TimePoint start = startOf(day, zone_);
  if (absl::ToCivilDay(toAbsl(start), zone_) == day) {
    return start;
  }
  // Either the day is beyond the calendar's limits, or the zone skipped it. In the second case `start` is the
  // start of the next date.
  return startOfDay(TimePoint{daysLater < 0 ? start.seconds - 1 : start.seconds});
}

std::optional<TimePoint> Calendar::startOfDay(const CalendarDate& date) const {
  const absl::CivilDay day(date.year, date.month, date.day);
  if (day.year() != date.year || day.month() != date.month || day.day() != date.day) {
    return std::nullopt;  // absl::CivilDay normalises: 30 February becomes 2 March
  }
  return startOf(day, zone_);
}

std::optional<TimePoint> Calendar::startOfDayMonthsLater(TimePoint time, std::int64_t months) const {
  constexpr std::int64_t kMonthsOfAllYears = 120'000;  // more than the years 1 to 9999 have
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

int Calendar::weekday(TimePoint time) const {
  return static_cast<int>(absl::GetWeekday(absl::ToCivilDay(toAbsl(time), zone_)));
}

TimePoint Calendar::startOfWeek(TimePoint time) const {
  return startOf(absl::ToCivilDay(toAbsl(time), zone_) - weekday(time), zone_);
}

TimePoint Calendar::startOfMonth(TimePoint time) const {
  return startOf(absl::CivilDay(absl::CivilMonth(absl::ToCivilDay(toAbsl(time), zone_))), zone_);
}

TimePoint Calendar::startOfHour(TimePoint time) const {
  const absl::Time at = toAbsl(time);
  const absl::TimeZone::TimeInfo info =
      zone_.At(absl::CivilSecond(absl::CivilHour(absl::ToCivilSecond(at, zone_))));
  if (info.kind == absl::TimeZone::TimeInfo::SKIPPED) {
    return fromAbsl(info.trans);
  }
  return fromAbsl(info.kind == absl::TimeZone::TimeInfo::REPEATED && info.post <= at ? info.post : info.pre);
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
  return dateText(absl::ToCivilDay(toAbsl(time), zone_));
}

std::string Calendar::formatMonth(TimePoint time) const {
  constexpr const char* kNames[] = {"January", "February", "March",     "April",   "May",      "June",
                                    "July",    "August",   "September", "October", "November", "December"};
  const absl::CivilDay day = absl::ToCivilDay(toAbsl(time), zone_);
  return concat(kNames[day.month() - 1], " ", yearText(day.year()));
}

std::string Calendar::formatMinute(TimePoint time) const {
  const absl::CivilSecond at = absl::ToCivilSecond(toAbsl(time), zone_);
  return dateText(at) + absl::StrFormat(" %02d:%02d", at.hour(), at.minute());
}

std::string Calendar::formatWeek(TimePoint time) const {
  const absl::CivilDay day = absl::ToCivilDay(toAbsl(time), zone_);
  const absl::CivilDay thursday = day - weekday(time) + 3;
  return yearText(thursday.year()) + absl::StrFormat("-W%02d", (absl::GetYearDay(thursday) - 1) / 7 + 1);
}

std::string Calendar::formatYearMonth(TimePoint time) const {
  const std::string day = formatDay(time);
  return day.substr(0, day.rfind('-'));
}

std::string Calendar::formatDistinctMinute(TimePoint time) const {
  const absl::CivilMinute minute(absl::ToCivilSecond(toAbsl(time), zone_));
  const bool isRepeated = zone_.At(absl::CivilSecond(minute)).kind == absl::TimeZone::TimeInfo::REPEATED;
  const std::string text = formatMinute(time);
  // formatInstant has the same length up to the minute, then three bytes of seconds, then the offset.
  return isRepeated ? text + formatInstant(time).substr(text.size() + 3) : text;
}

std::string Calendar::formatInstant(TimePoint time) const {
  const absl::TimeZone::CivilInfo info = zone_.At(toAbsl(time));
  const absl::CivilSecond at = info.cs;
  std::string text = dateText(at) + absl::StrFormat("T%02d:%02d:%02d", at.hour(), at.minute(), at.second());
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
  // A zone that crossed the date line skipped a whole day: that date exists, but no moment in the zone falls
  // on it.
  return start && this->date(*start) == date ? start : std::nullopt;
}

void DayLookup::lookUp(TimePoint time) {
  start_ = calendar_.startOfDay(time);
  end_ = start_;
  // Only days of 24 hours are cached. On the others, two a year, a clock change may make midnight occur
  // twice, so that the date goes back for a while.
  constexpr double kPlainDay = 86'400;
  const TimePoint next = calendar_.startOfDay(time, 1);
  if (next.seconds - start_.seconds == kPlainDay && time >= start_ && time < next) {
    end_ = next;
  }
}

}  // namespace tallyfin
