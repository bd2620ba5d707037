#pragma once

#include <compare>
#include <functional>
#include <utility>

namespace tallyfin {

/// A moment in seconds since 1970-01-01T00:00:00 UTC, without leap seconds, with fractions. A type of its
/// own, so that a moment cannot be confused with a duration or an amount of money.
struct TimePoint {
  double seconds = 0;

  friend auto operator<=>(const TimePoint&, const TimePoint&) = default;

  template <typename H>
  friend H AbslHashValue(H state, const TimePoint& time) {
    return H::combine(std::move(state), time.seconds);
  }
};

/// Returns the current time. `main` passes the system's clock down; tests pass a clock that they set.
using Clock = std::function<TimePoint()>;

}  // namespace tallyfin
