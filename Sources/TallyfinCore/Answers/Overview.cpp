#include "TallyfinCore/Answers/Overview.hpp"

#include "TallyfinCore/Figures/Derived.hpp"

#include <utility>

namespace tallyfin::Answers {

Overview overview(DataSource& data, const OverviewQuestion& question) {
  constexpr std::size_t kUsualDays = 7;
  const Calendar& calendar = data.calendar();
  const TimePoint now = data.now();
  const TimePoint start = calendar.startOfDay(now);
  const Period day{
      .from = start, .through = start, .label = "today", .includesToday = true, .isSingleDay = true};
  const Report all = data.report(Period::all(), {}, ReportParts::only());
  const auto today = std::make_shared<const Report>(data.report(
      day, {}, ReportParts::only(&ReportParts::hours, &ReportParts::agents, &ReportParts::projects)));
  const auto yesterdaySoFar = Derived::yesterdayAtSameTime(data.records(), now, calendar, data.prices());
  return {.now = now,
          .day = day,
          .today = today,
          .rate = Derived::currentHourlyRate(*today, now, calendar),
          .yesterdaySoFar = yesterdaySoFar,
          .change = Derived::delta(today->total.cost.priced, yesterdaySoFar),
          .yesterday = Derived::yesterdayCost(all, now, calendar),
          .usualDay = Derived::medianOfRecentDays(all, kUsualDays, now, calendar),
          .agents = today->topAgents(question.top, true),
          .projects = today->topProjects(question.top),
          .history = all.total,
          .activeDays = all.activeDays()};
}

}  // namespace tallyfin::Answers
