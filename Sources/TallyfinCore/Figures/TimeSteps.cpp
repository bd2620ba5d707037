#include "TallyfinCore/Figures/TimeSteps.hpp"

#include <algorithm>

namespace tallyfin {
namespace {

constexpr double kBlockSeconds = 5 * 3600;

struct StepRow {
  TimeStep step;
  TimePoint (*start)(TimePoint time, const Calendar& calendar);
  std::optional<TimePoint> (*next)(TimePoint start, const Calendar& calendar);
  std::string (Calendar::*name)(TimePoint start) const;
};

template <std::int64_t days>
std::optional<TimePoint> daysLater(TimePoint start, const Calendar& calendar) {
  return calendar.startOfDay(start, days);
}

constexpr std::array<StepRow, allTimeSteps.size()> kSteps = {{
    {TimeStep::day, [](TimePoint time, const Calendar& calendar) { return calendar.startOfDay(time); },
     daysLater<1>, &Calendar::formatDay},
    {TimeStep::week, [](TimePoint time, const Calendar& calendar) { return calendar.startOfWeek(time); },
     daysLater<7>, &Calendar::formatWeek},
    {TimeStep::month, [](TimePoint time, const Calendar& calendar) { return calendar.startOfMonth(time); },
     [](TimePoint start, const Calendar& calendar) {
       const std::optional<CalendarInterval> month = calendar.month(start);
       return month ? std::optional(month->end) : std::nullopt;
     },
     &Calendar::formatYearMonth},
    {TimeStep::block, [](TimePoint time, const Calendar& calendar) { return calendar.startOfHour(time); },
     [](TimePoint start, const Calendar&) { return std::optional(TimePoint{start.seconds + kBlockSeconds}); },
     &Calendar::formatDistinctMinute},
}};

constexpr const StepRow& stepRow(TimeStep step) {
  return kSteps.at(static_cast<std::size_t>(step));
}
static_assert(std::ranges::all_of(allTimeSteps, [](TimeStep step) { return stepRow(step).step == step; }));

}  // namespace

TimePoint startOfStep(TimeStep step, TimePoint time, const Calendar& calendar) {
  return stepRow(step).start(time, calendar);
}

std::optional<TimePoint> nextStep(TimeStep step, TimePoint start, const Calendar& calendar) {
  return stepRow(step).next(start, calendar);
}

std::string nameOfStep(TimeStep step, TimePoint start, const Calendar& calendar) {
  return (calendar.*stepRow(step).name)(start);
}

}  // namespace tallyfin
