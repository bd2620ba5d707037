#include "TallyfinCore/Figures/TimeCuts.hpp"

#include "TallyfinCore/Attribution/Pricing.hpp"

namespace tallyfin {
namespace {

// What all requests of a day share.
struct Day {
  std::size_t step = 0;  ///< its row in `byStep`
  int weekday = 0;
  // The day starts at midnight and has 24 hours. The hour then comes from a division, which saves a third of
  // the pass.
  bool isPlain = false;
};

bool isPlain(TimePoint day, const Calendar& calendar) {
  return calendar.startOfDay(day, 1).seconds - day.seconds == 24 * 3'600 && calendar.hour(day) == 0;
}

}  // namespace

TimeCuts timeCuts(const Aggregator& aggregator, const RecordList& records, std::optional<TimePoint> from,
                  std::optional<TimePoint> to, const RecordFilter& filter, TimeStep step) {
  const Calendar& calendar = aggregator.calendar();
  TimeCuts cuts{.step = step, .main = {}, .subagents = {}, .byStep = {}, .byWeekHour = {}};
  KeyedRows<TimePoint, std::optional<Day>> days;  // by start of the day
  Pricing::Pricer pricer(calendar, aggregator.prices());
  RecordSelection selection(calendar, from, to, filter);
  for (const UsageRecord& record : records) {
    const TimePoint* const day = selection.day(record);
    if (day == nullptr) {
      continue;
    }
    std::optional<Day>& known = days[*day];
    if (!known) {
      known = {cuts.byStep.place(startOfStep(step, *day, calendar)), calendar.weekday(*day),
               isPlain(*day, calendar)};
    }
    const RequestCost cost = pricer.cost(record, *day);
    TimeShares& shares = cuts.byStep.at(known->step);
    const bool isSubagent = record.agent.isSubagent();
    shares.all.add(record, cost);
    (isSubagent ? shares.subagents : shares.main).add(record, cost);
    (isSubagent ? cuts.subagents : cuts.main).add(record, cost);
    const int hour = known->isPlain ? static_cast<int>((record.timestamp.seconds - day->seconds) / 3'600)
                                    : calendar.hour(record.timestamp);
    cuts.byWeekHour[weekHour(known->weekday, hour)].add(record, cost);
  }
  return cuts;
}

}  // namespace tallyfin
