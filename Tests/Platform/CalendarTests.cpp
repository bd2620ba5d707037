#include "Platform/Calendar.hpp"
#include "Support/TempHome.hpp"
#include "absl/strings/str_cat.h"
#include "absl/time/civil_time.h"
#include "gtest/gtest.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace tallyfin {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// Parses a moment in UTC without using Calendar.
TimePoint utc(const std::string& text) {
  absl::CivilSecond second;
  EXPECT_TRUE(absl::ParseCivilTime(text, &second)) << text;
  return {static_cast<double>(second - absl::CivilSecond())};
}

TimePoint plus(TimePoint time, double seconds) {
  return {time.seconds + seconds};
}

Calendar in(const std::string& zone) {
  const auto calendar = Calendar::named(zone);
  EXPECT_TRUE(calendar) << zone;
  return calendar.value_or(Calendar::utc());
}

TEST(Calendar, DaysStartAndEndByTheRulesOfTheZone) {
  struct Case {
    std::string zone;
    std::string day;
    std::string start;  // in UTC
    std::string clock;  // the local time at the start
    double hours;
  };
  const std::vector<Case> cases = {
      {"UTC", "2024-02-29", "2024-02-29T00:00:00", "00:00", 24},
      {"UTC", "0001-01-01", "0001-01-01T00:00:00", "00:00", 24},
      {"Asia/Kathmandu", "2024-02-29", "2024-02-28T18:15:00", "00:00", 24},
      {"America/New_York", "2026-03-08", "2026-03-08T05:00:00", "00:00", 23},
      {"America/New_York", "2026-11-01", "2026-11-01T04:00:00", "00:00", 25},
      {"Europe/Berlin", "2090-03-26", "2090-03-25T23:00:00", "00:00", 23},      // after the zone's table ends
      {"America/Sao_Paulo", "2018-11-04", "2018-11-04T03:00:00", "01:00", 23},  // no midnight
      {"America/Sao_Paulo", "2018-02-17", "2018-02-17T02:00:00", "00:00", 25},  // 23:00 to 24:00 twice
      {"Asia/Beirut", "2024-10-26", "2024-10-25T21:00:00", "00:00", 25},
      {"Australia/Lord_Howe", "2024-04-07", "2024-04-06T13:00:00", "00:00", 24.5},
      {"Australia/Lord_Howe", "2024-10-06", "2024-10-05T13:30:00", "00:00", 23.5},
      {"America/Havana", "2023-11-05", "2023-11-05T04:00:00", "00:00", 25},    // midnight twice
      {"America/St_Johns", "2010-11-07", "2010-11-07T02:30:00", "00:00", 25},  // one minute, then back
      {"Pacific/Apia", "2011-12-31", "2011-12-30T10:00:00", "00:00", 24},      // after the skipped day
  };
  for (const auto& [zone, day, startText, clock, hours] : cases) {
    SCOPED_TRACE(testing::Message() << zone << " " << day);
    const Calendar calendar = in(zone);
    const TimePoint start = utc(startText);
    const TimePoint end = plus(start, hours * 3600);
    EXPECT_EQ(calendar.parseDay(day), start);
    EXPECT_EQ(calendar.startOfDay(start), start);
    EXPECT_EQ(calendar.startOfDay(plus(start, 0.5)), start);
    EXPECT_EQ(calendar.startOfDay(plus(end, -1)), start);
    EXPECT_EQ(calendar.startOfDay(end), end);
    EXPECT_LT(calendar.startOfDay(plus(start, -1)), start);
    EXPECT_EQ(calendar.startOfDay(start, 0), start);
    EXPECT_EQ(calendar.startOfDay(plus(end, -1), 1), end);
    EXPECT_EQ(calendar.startOfDay(plus(end, 7200), -1), start);
    EXPECT_EQ(calendar.formatDay(plus(end, -1)), day);
    EXPECT_EQ(calendar.formatMinute(start), absl::StrCat(day, " ", clock));
    EXPECT_EQ(calendar.startOfDay(calendar.date(start)), start);
  }
}

TEST(Calendar, FormatsMomentsWithTheOffsetThenInForce) {
  struct Case {
    std::string zone;
    std::string moment;  // in UTC
    std::string text;
  };
  for (const auto& [zone, moment, text] : std::vector<Case>{
           {"Asia/Kathmandu", "2024-02-28T18:14:59", "2024-02-28T23:59:59+05:45"},
           {"America/Sao_Paulo", "2018-02-18T02:30:00", "2018-02-17T23:30:00-03:00"},  // the second 23:30
           {"America/St_Johns", "2010-11-07T02:31:00", "2010-11-06T23:01:00-03:30"},   // the date goes back
           {"Europe/Berlin", "2026-10-25T00:59:59", "2026-10-25T02:59:59+02:00"},
           {"Europe/Berlin", "2026-10-25T01:00:00", "2026-10-25T02:00:00+01:00"},
           {"Europe/London", "2026-01-01T00:00:00", "2026-01-01T00:00:00Z"},
           {"Africa/Monrovia", "1960-01-01T00:00:00", "1959-12-31T23:15:30-00:44:30"},
           {"UTC", "0000-12-31T23:59:59", "0000-12-31T23:59:59Z"}}) {
    const Calendar calendar = in(zone);
    const TimePoint time = plus(utc(moment), 0.75);
    EXPECT_EQ(calendar.formatInstant(time), text);
    EXPECT_EQ(calendar.formatMinute(time), text.substr(0, 10) + " " + text.substr(11, 5));
    EXPECT_EQ(calendar.formatDay(time), text.substr(0, 10));
    EXPECT_EQ(calendar.hour(time), std::stoi(text.substr(11, 2)));
    EXPECT_EQ(calendar.minute(time), std::stoi(text.substr(14, 2)));
  }
  EXPECT_FALSE(Calendar::named("Mars/Olympus_Mons") || Calendar::named("../../etc/passwd"));
}

TEST(Calendar, RejectsDamagedZoneFiles) {
  const TempHome home;
  const Calendar kathmandu = in("Asia/Kathmandu");
  const char* const folder = std::getenv("TZDIR");
  std::ifstream file(std::string(folder != nullptr ? folder : "/usr/share/zoneinfo") + "/Asia/Kathmandu",
                     std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(file), {}};
  const std::size_t second = whole.find("TZif", 4);  // header of the eight-byte times
  ASSERT_NE(second, std::string::npos);
  // The library caches zones by name, so each file has its own name.
  int count = 0;
  const auto load = [&](const std::string& content) {
    const std::string name = "zone" + std::to_string(++count);
    home.write(name, content);
    return Calendar::named(home.path(name));
  };
  ASSERT_TRUE(load(whole));
  EXPECT_EQ(load(whole)->formatInstant({0}), kathmandu.formatInstant({0}));
  EXPECT_TRUE(load(whole + std::string(1'000'000, '\n')));
  EXPECT_FALSE(load(whole + std::string(1 << 20, '\n'))) << "too large";
  for (const std::size_t size : {std::size_t{0}, std::size_t{43}, second - 1, second + 43, second + 60}) {
    EXPECT_FALSE(load(whole.substr(0, size))) << size;
  }
  for (const std::size_t header : {std::size_t{0}, second}) {
    for (std::size_t at = header + 20; at < header + 44; at += 4) {  // the six counts
      for (const char* const number : {"\x7F\xFF\xFF\xFF", "\xFF\xFF\xFF\xFF"}) {
        std::string changed = whole;
        EXPECT_FALSE(load(changed.replace(at, 4, number))) << at;
      }
    }
  }
  ASSERT_EQ(mkfifo(home.path("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(Calendar::named(home.path("fifo")) || Calendar::named("file:" + home.path("fifo")));
}

TEST(Calendar, DaysAreCountedByDateNotByHours) {
  const Calendar apia = in("Pacific/Apia");  // 2011-12-30 did not exist, so its start is that of the 31st
  const TimePoint before = utc("2011-12-29T20:00:00");
  EXPECT_EQ(apia.startOfDay(before, 1), utc("2011-12-30T10:00:00"));
  EXPECT_EQ(apia.startOfDay(before, 2), utc("2011-12-30T10:00:00"));
  EXPECT_EQ(apia.startOfDay(before, 3), utc("2011-12-31T10:00:00"));
  EXPECT_EQ(apia.startOfDay(utc("2012-01-01T00:00:00"), -1), utc("2011-12-30T10:00:00"));
  for (const std::int64_t back : {-2, -3}) {  // the skipped day is replaced by the day before it
    EXPECT_EQ(apia.startOfDay(utc("2012-01-01T00:00:00"), back), utc("2011-12-29T10:00:00")) << back;
  }
  EXPECT_EQ(apia.parseDay("2011-12-30"), std::nullopt);
  const Calendar saoPaulo = in("America/Sao_Paulo");  // 2018-11-04 had 23 hours
  EXPECT_EQ(saoPaulo.daysBetween(utc("2018-11-04T02:59:59"), utc("2018-11-05T02:00:00")), 2);
  EXPECT_EQ(saoPaulo.daysBetween(utc("2018-11-05T02:00:00"), utc("2018-11-04T02:59:59")), -2);
}

TEST(Calendar, MonthsAndYearsRunFromFirstDayToFirstDay) {
  const Calendar asuncion = in("America/Asuncion");  // 2000-10-01 had no midnight
  const TimePoint october = utc("2000-10-15T12:00:00");
  EXPECT_EQ(asuncion.month(october),
            (CalendarInterval{utc("2000-10-01T04:00:00"), utc("2000-11-01T03:00:00")}));
  EXPECT_EQ(asuncion.year(october),
            (CalendarInterval{utc("2000-01-01T03:00:00"), utc("2001-01-01T03:00:00")}));
  EXPECT_EQ(asuncion.formatMonth(october), "October 2000");
  const Calendar calendar = Calendar::utc();
  EXPECT_EQ(calendar.month(utc("9999-12-31T12:00:00")),
            (CalendarInterval{utc("9999-12-01T00:00:00"), utc("10000-01-01T00:00:00")}));
  for (const char* outside : {"0000-12-31T23:59:59", "10000-01-01T00:00:00"}) {
    EXPECT_FALSE(calendar.month(utc(outside)) || calendar.year(utc(outside)));
  }
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(calendar.startOfDayMonthsLater(utc("2024-03-31T22:00:00"), -1), utc("2024-02-29T00:00:00"));
  EXPECT_EQ(calendar.startOfDayMonthsLater(utc("2024-02-29T00:00:00"), -12), utc("2023-02-28T00:00:00"));
  EXPECT_EQ(in("America/Sao_Paulo").startOfDayMonthsLater(utc("2018-12-04T12:00:00"), -1),
            utc("2018-11-04T03:00:00"));
  EXPECT_EQ(calendar.startOfDayMonthsLater(utc("9999-12-01T00:00:00"), 1), std::nullopt);
  EXPECT_EQ(calendar.startOfDayMonthsLater(utc("2026-03-31T00:00:00"), kMost), std::nullopt);
  EXPECT_EQ(calendar.startOfDayMonthsLater(utc("2026-03-31T00:00:00"), -kMost - 1), std::nullopt);
}

TEST(Calendar, CountsDaysBeyondFourDigitYears) {
  for (const char* zone : {"UTC", "Pacific/Apia"}) {
    const Calendar calendar = in(zone);
    const TimePoint today = calendar.startOfDay(utc("2026-03-10T06:00:00"));
    EXPECT_EQ(calendar.formatDay(calendar.startOfDay(today, -739'684)), "0001-01-01");
    EXPECT_EQ(calendar.formatDay(calendar.startOfDay(today, -739'685)), "0000-12-31");
    const TimePoint early = calendar.startOfDay(today, -799'999);
    EXPECT_EQ(calendar.formatMinute(early), "-0165-11-13 00:00");
    EXPECT_EQ(calendar.formatMonth(early) + calendar.formatWeek(early), "November -0165-0165-W46");
    EXPECT_EQ(calendar.formatDay(calendar.startOfDay(today, 3'000'000)), "10239-11-29");
    TimePoint last = today;
    for (const std::int64_t days : {std::int64_t{1}, std::int64_t{4'000'000}, std::int64_t{100'000'000'000},
                                    std::int64_t{1} << 40, std::numeric_limits<std::int64_t>::max()}) {
      const TimePoint start = calendar.startOfDay(today, -days);
      EXPECT_LE(start, last) << "more days back must not start later";
      EXPECT_EQ(calendar.startOfDay(start), start);
      EXPECT_GT(calendar.startOfDay(today, days), today);
      last = start;
    }
    EXPECT_LE(last.seconds, -9e15);
  }
}

TEST(Calendar, DatesThatDoNotExistAreAbsent) {
  const Calendar calendar = Calendar::utc();
  for (const CalendarDate date :
       {CalendarDate{2026, 2, 29}, {2026, 0, 1}, {2026, 13, 1}, {2026, 1, 0}, {2026, 1, -5}}) {
    EXPECT_EQ(calendar.startOfDay(date), std::nullopt);
  }
  using namespace std::string_view_literals;
  EXPECT_EQ(calendar.parseDay("2026-01-0\0"sv), std::nullopt);
}

TEST(Calendar, ClampsTimesBeyondItsLimits) {
  for (const char* zone : {"UTC", "America/Sao_Paulo", "Pacific/Apia"}) {
    const Calendar calendar = in(zone);
    DayLookup days(calendar);
    for (const double seconds :
         {std::nan(""), kInfinity, -kInfinity, 1e300, -1e300, 1e18, -1e18, 9e15, -9e15}) {
      const TimePoint time{seconds};
      const TimePoint start = calendar.startOfDay(time);
      EXPECT_LE(std::abs(start.seconds), 9.1e15);
      EXPECT_EQ(calendar.startOfDay(start), start);
      EXPECT_EQ(days.startOfDay(time), start);
      EXPECT_EQ(days.startOfDay(utc("2026-03-08T12:00:00")), calendar.startOfDay(utc("2026-03-08T12:00:00")));
      EXPECT_GE(calendar.startOfDay(time, 1), start);
      EXPECT_TRUE(calendar.hour(time) >= 0 && calendar.hour(time) < 24);
      EXPECT_FALSE(calendar.formatMinute(time).empty());
    }
  }
}

TEST(DayLookup, AgreesWithTheCalendarInAnyOrder) {
  std::mt19937_64 random(11);  // NOLINT(bugprone-random-generator-seed): the same times in every run
  const auto upTo = [&](double limit) {
    return std::uniform_real_distribution<double>(-limit, limit)(random);
  };
  struct Case {
    std::string zone;
    std::string around;  // a clock change, in UTC
  };
  for (const auto& [zone, around] : std::vector<Case>{{"UTC", "1970-01-01T00:00:00"},
                                                      {"America/Sao_Paulo", "2018-11-04T03:00:00"},
                                                      {"America/Sao_Paulo", "2018-02-18T02:00:00"},
                                                      {"Asia/Beirut", "2024-10-26T21:00:00"},
                                                      {"Australia/Lord_Howe", "2024-04-06T15:00:00"},
                                                      {"America/Havana", "2023-11-05T05:00:00"},
                                                      {"America/St_Johns", "2010-11-07T02:31:00"},
                                                      {"Pacific/Apia", "2011-12-30T10:00:00"},
                                                      {"Asia/Kathmandu", "1985-12-31T18:30:00"}}) {
    const Calendar calendar = in(zone);
    DayLookup days(calendar);
    for (int i = 0; i < 3000; ++i) {
      TimePoint time = plus(utc(around), upTo(i % 10 == 0 ? 5e9 : 2 * 86'400));
      for (int step = 0; step < 4; ++step) {
        ASSERT_EQ(days.startOfDay(time), calendar.startOfDay(time))
            << zone << " " << calendar.formatMinute(time);
        time = step == 0 ? calendar.startOfDay(time) : plus(time, upTo(6 * 3600));
      }
    }
  }
}

}  // namespace
}  // namespace tallyfin
