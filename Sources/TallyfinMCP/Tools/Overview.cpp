#include "TallyfinCore/Answers/Overview.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

#include <algorithm>

namespace tallyfin::Tools {
namespace {

std::string whoSpentIt(const Report& today) {
  if (today.total.requests == 0) {
    return "  unknown — no requests recorded today\n";
  }
  const Report::Split split = today.subagentSplit();
  if (!split.share(split.main).isKnown()) {
    return "  unknown — none of today’s requests has a known price\n";
  }
  const auto line = [&](std::string_view label, const CostEstimate& cost) {
    return concat(label, CostEstimate::money(cost.priced), "  (", percent(split.share(cost)), ")\n");
  };
  return concat(line("  main session         ", split.main), line("  sub-agents           ", split.subagent),
                "  distinct agents      ", grouped(static_cast<std::int64_t>(today.byAgent.size())), "\n");
}

}  // namespace

std::string overview(DataSource& data, const Arguments& given) {
  const std::int64_t top = std::max<std::int64_t>(1, given.integer("top"));
  const Answers::Overview answer = Answers::overview(data, {.top = top});
  const Calendar& calendar = data.calendar();
  const std::string head = std::to_string(top);
  std::string text;
  const auto line = [&text](const auto&... parts) { append(text, parts..., "\n"); };
  line("Tallyfin — status at ", R::stamp(answer.now, calendar));
  line(R::rule);
  line("TODAY (", calendar.formatDay(answer.now), ")");
  line("  cost                 ", costInAnswer(answer.today->total));
  line("  current rate         ", R::costEst(answer.rate, "/h"));
  line("  yesterday, same time ", R::costEst(answer.yesterdaySoFar, ""));
  line("  change               ", R::signedPercent(answer.change));
  line("  yesterday, full day  ", R::costEst(answer.yesterday, ""));
  line("  median, 7 full days  ", R::costEst(answer.usualDay, ""));
  line("\nWHO SPENT IT TODAY");
  text += whoSpentIt(*answer.today);
  line("\nTOP ", head, " AGENTS TODAY");
  text += list(rowsOf(answer.agents), "no agent with activity today");
  line("\nTOP ", head, " PROJECTS TODAY");
  text += list(rowsOf(answer.projects), "no project with activity today");
  line("\nHISTORY");
  line("  days with activity   ", grouped(answer.activeDays));
  line("  total recorded       ", costInAnswer(answer.history));
  line("  range                ", R::span(answer.history, calendar));
  text += footer(*answer.today, answer.day, answer.history.cost);
  line("Next: tally_top_agents · tally_provenance · tally_sources");
  return text;
}

}  // namespace tallyfin::Tools
