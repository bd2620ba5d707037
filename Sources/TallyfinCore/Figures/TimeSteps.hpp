#pragma once

// The steps of a time axis: day, week, month and block. The table in TimeSteps.cpp defines each step.

#include "Platform/Calendar.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tallyfin {

/// A kind of time span. A week begins on Monday (ISO 8601). A block lasts five hours, like the periods for
/// which subscriptions limit usage. Where blocks begin depends on the requests; see `Report::bySteps`.
enum class TimeStep : std::uint8_t { day, week, month, block };

inline constexpr std::array allTimeSteps = {TimeStep::day, TimeStep::week, TimeStep::month, TimeStep::block};

/// The start of the step that contains `time`. For a block, the function assumes that `time` is the time of
/// the block's first request, and returns the start of the local hour that contains `time`.
TimePoint startOfStep(TimeStep step, TimePoint time, const Calendar& calendar);

/// The start of the step that follows the step starting at `start`. Absent only for a month outside the years
/// 1 to 9999.
std::optional<TimePoint> nextStep(TimeStep step, TimePoint start, const Calendar& calendar);

/// The name of the step that starts at `start`, such as "2026-11-22" for a day, "2026-W47" for a week,
/// "2026-11" for a month and "2026-11-22 14:00" for a block.
std::string nameOfStep(TimeStep step, TimePoint start, const Calendar& calendar);

/// An array that holds one value for each TimeStep.
template <typename Value>
class EachStep {
 public:
  Value& operator[](TimeStep step) { return values_[static_cast<std::size_t>(step)]; }
  const Value& operator[](TimeStep step) const { return values_[static_cast<std::size_t>(step)]; }

 private:
  std::array<Value, allTimeSteps.size()> values_{};
};

}  // namespace tallyfin
