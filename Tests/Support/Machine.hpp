#pragma once

#include "Support/TempHome.hpp"
#include "TallyfinCore/Environment.hpp"

#include <string>

namespace tallyfin {

/// A clock that stands still.
inline TimePoint stopped() {
  return {1000};
}

/// A machine of its own for a test: a home, a zone, a clock that the test moves by hand.
struct Machine {
  /// `local` is the time at first, in the given zone.
  explicit Machine(const CalendarDate& date, int hour, int minute, const char* zone = "UTC")
      : calendar(*Calendar::named(zone)),
        now(calendar.startOfDay(date)->seconds + hour * 3600 + minute * 60) {}

  /// What the server is told of it. The machine must outlive the server.
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
