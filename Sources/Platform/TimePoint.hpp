#pragma once

#include <compare>
#include <functional>
#include <utility>

namespace tallyfin {

/// A moment: seconds since 1970-01-01T00:00:00 UTC, leap seconds not counted, fractions kept.
/// A strong type, so that a moment is never mixed up with a length of time or an amount of money.
struct TimePoint {
  double seconds = 0;

  friend auto operator<=>(const TimePoint&, const TimePoint&) = default;

  template <typename H>
  friend H AbslHashValue(H state, const TimePoint& time) {
    return H::combine(std::move(state), time.seconds);
  }
};

/// Gives the present time. `main` passes the system's clock down; tests pass one that they set.
using Clock = std::function<TimePoint()>;

}  // namespace tallyfin
