#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

#include <algorithm>

namespace tallyfin::Tools {
namespace {

std::string whoSpentIt(const Report& today) {
  if (today.total.requests == 0) {
    return "  unknown — no requests recorded today\n";
  }
  const auto [main, subagent] = today.subagentSplit();
  const double sum = main + subagent;
  if (sum <= 0) {
    return "  unknown — none of today’s requests has a known price\n";
  }
  std::string text;
  const auto line = [&text](const auto&... parts) { append(text, parts..., "\n"); };
  line("  main session         ", CostEstimate::money(main), "  (", R::percent(main / sum * 100), ")");
  line("  sub-agents           ", CostEstimate::money(subagent), "  (", R::percent(subagent / sum * 100),
       ")");
  line("  distinct agents      ", grouped(static_cast<std::int64_t>(today.byAgent.size())));
  return text;
}

}  // namespace

std::string overview(DataSource& data, const JsonValue& arguments) {
  const std::int64_t top = std::max<std::int64_t>(1, integerArgument(arguments, "top").value_or(5));
  const Calendar& calendar = data.calendar();
  const TimePoint now = data.now();
  const TimePoint day = calendar.startOfDay(now);
  const Period todayPeriod{
      .from = day, .through = day, .label = "today", .includesToday = true, .isSingleDay = true};
  const Report all = data.report(Period::all());
  const Report today = data.report(todayPeriod);

  const auto yesterdaySoFar = Derived::yesterdayAtSameTime(data.records(), now, calendar, data.prices());
  const auto change = Derived::delta(today.total.cost.priced, yesterdaySoFar);
  const auto median = Derived::medianOfRecentDays(all, 7, now, calendar);

  const std::string head = std::to_string(top);
  std::string text;
  const auto line = [&text](const auto&... parts) { append(text, parts..., "\n"); };
  line("Tallyfin — status at ", R::stamp(now, calendar));
  line(R::rule);
  line("TODAY (", calendar.formatDay(now), ")");
  line("  cost                 ", costInAnswer(today.total));
  line("  current rate         ", R::costEst(Derived::currentHourlyRate(today, now, calendar), "/h"));
  line("  yesterday, same time ", R::costEst(yesterdaySoFar, ""));
  line("  change               ", R::signedPercent(change));
  line("  yesterday, full day  ", R::costEst(Derived::yesterdayCost(all, now, calendar), ""));
  line("  median, 7 full days  ", R::costEst(median, ""));
  line("\nWHO SPENT IT TODAY");
  text += whoSpentIt(today);
  line("\nTOP ", head, " AGENTS TODAY");
  text += list(rowsOf(today.topAgents(top, true)), "no agent with activity today");
  line("\nTOP ", head, " PROJECTS TODAY");
  text += list(rowsOf(today.topProjects(top)), "no project with activity today");
  line("\nHISTORY");
  line("  days with activity   ", grouped(all.activeDays()));
  line("  total recorded       ", costInAnswer(all.total));
  line("  range                ", R::span(all.total, calendar));
  text += footer(today, todayPeriod, all.total.cost);
  line("Next: tally_top_agents · tally_provenance · tally_sources");
  return text;
}

}  // namespace tallyfin::Tools
