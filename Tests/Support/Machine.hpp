#pragma once

#include "Support/TempHome.hpp"
#include "TallyfinCore/Environment.hpp"

#include <string>

namespace tallyfin {

/// A clock that always returns the same time.
inline TimePoint stopped() {
  return {1000};
}

/// A machine for one test: a home, a zone, and a clock that the test sets.
struct Machine {
  /// `date`, `hour` and `minute` set the clock, in the given zone.
  explicit Machine(const CalendarDate& date, int hour, int minute, const char* zone = "UTC")
      : calendar(*Calendar::named(zone)),
        now(calendar.startOfDay(date)->seconds + hour * 3600 + minute * 60) {}

  /// What the server learns about the machine, which must outlive the server.
  Environment environment() const {
    return {.home = home.path(),
            .tallyfinHome = {},
            .tallyfinCachePath = home.path("cache/scan.bin"),
            .calendar = calendar,
            .now = [this] { return TimePoint{now}; }};
  }

  TempHome home;
  Calendar calendar;
  double now;  ///< seconds since 1970
};

}  // namespace tallyfin
