#include "TallyfinCore/Figures/TimeCuts.hpp"

#include "TallyfinCore/Attribution/Pricing.hpp"

namespace tallyfin {
namespace {

/// 0 for Monday to 6 for Sunday.
int weekday(TimePoint day, const Calendar& calendar) {
  const std::optional<TimePoint> monday = calendar.startOfDay(CalendarDate{1970, 1, 5});
  const std::int64_t days = calendar.daysBetween(monday.value_or(TimePoint{}), day) % 7;
  return static_cast<int>(days < 0 ? days + 7 : days);
}

}  // namespace

TimePoint startOfStep(TimeStep step, TimePoint day, const Calendar& calendar) {
  if (step == TimeStep::week) {
    return calendar.startOfDay(day, -weekday(day, calendar)).value_or(day);
  }
  const std::optional<CalendarInterval> month = step == TimeStep::month ? calendar.month(day) : std::nullopt;
  return month ? month->start : day;
}

std::optional<TimePoint> nextStep(TimeStep step, TimePoint start, const Calendar& calendar) {
  return step == TimeStep::month ? calendar.startOfDayMonthsLater(start, 1)
                                 : calendar.startOfDay(start, step == TimeStep::week ? 7 : 1);
}

TimeCuts timeCuts(const Aggregator& aggregator, std::span<const UsageRecord> records,
                  std::optional<TimePoint> from, std::optional<TimePoint> to, const RecordFilter& filter,
                  TimeStep step) {
  struct Place {
    std::size_t step = 0;
    int weekday = 0;
  };
  const Calendar& calendar = aggregator.calendar();
  TimeCuts cuts{.step = step, .main = {}, .subagents = {}, .byStep = {}, .byWeekHour = {}};
  KeyedRows<TimePoint, std::optional<Place>> places;  // by day
  Pricing::Pricer pricer(calendar);
  RecordSelection selection(calendar, from, to, filter);
  for (const UsageRecord& record : records) {
    const std::optional<TimePoint> day = selection.day(record);
    if (!day) {
      continue;
    }
    std::optional<Place>& place = places[*day];
    if (!place) {
      place = {cuts.byStep.place(startOfStep(step, *day, calendar)), weekday(*day, calendar)};
    }
    const Estimate<double> cost = pricer.cost(record, *day);
    TimeShares& shares = cuts.byStep.at(place->step);
    const bool isSubagent = record.agent.isSubagent();
    shares.all.add(record, cost);
    (isSubagent ? shares.subagents : shares.main).add(record, cost);
    (isSubagent ? cuts.subagents : cuts.main).add(record, cost);
    cuts.byWeekHour[weekHour(place->weekday, calendar.hour(record.timestamp))].add(record, cost);
  }
  return cuts;
}

}  // namespace tallyfin
