#pragma once

// The steps into which a time axis is divided. The table in TimeSteps.cpp is the only list of them.

#include "Platform/Calendar.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tallyfin {

/// A span of time. Weeks begin on Monday (ISO 8601). A block is five hours, the window in which subscriptions
/// meter use; where blocks begin depends on the requests (see `Report`).
enum class TimeStep : std::uint8_t { day, week, month, block };

inline constexpr std::array allTimeSteps = {TimeStep::day, TimeStep::week, TimeStep::month, TimeStep::block};

/// The start of the step that contains `time`. For a block: the start of a block whose first request is at
/// `time`.
TimePoint startOfStep(TimeStep step, TimePoint time, const Calendar& calendar);

/// The start of the step after the one that starts at `start`; absent at the end of the calendar.
std::optional<TimePoint> nextStep(TimeStep step, TimePoint start, const Calendar& calendar);

/// The name of the step that starts at `start`: "2026-11-22", "2026-W47", "2026-11", "2026-11-22 14:00".
std::string nameOfStep(TimeStep step, TimePoint start, const Calendar& calendar);

/// One value per step.
template <typename Value>
class EachStep {
 public:
  Value& operator[](TimeStep step) { return values_[static_cast<std::size_t>(step)]; }
  const Value& operator[](TimeStep step) const { return values_[static_cast<std::size_t>(step)]; }

 private:
  std::array<Value, allTimeSteps.size()> values_{};
};

}  // namespace tallyfin
