#include "TallyfinCore/Answers/Sessions.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Sheets.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Exports/SessionSheet.hpp"

#include <algorithm>
#include <iterator>

namespace tallyfin::Command {
namespace {

constexpr std::int64_t kUsualRows = 20;

int showSessions(const Call& call) {
  const Days days = daysOf(call, "7d");
  return withTranscripts(call, [&](DataSource& data) {
    const Period period = periodOf(days, data);
    const Filters filters = filtersOf(call.arguments, data);
    const bool byCost = call.arguments.text("sort") == "cost";
    const Answers::Sessions answer =
        Answers::sessions(data, {.period = period,
                                 .filters = filters,
                                 .limit = call.arguments.number("limit").value_or(kUsualRows),
                                 .byCost = byCost});
    Sheet sheet = sessionSheet(answer, data.calendar());
    setQuestion(sheet, days, period, filters);
    if (answer.leftOut > 0) {
      sheet.notes.push_back(concat(counted(answer.leftOut, byCost ? "cheaper session" : "earlier session",
                                           byCost ? "cheaper sessions" : "earlier sessions"),
                                   answer.leftOut == 1 ? " is" : " are", " not shown; the total includes ",
                                   answer.leftOut == 1 ? "it" : "them", ". Use --limit to show more."));
    }
    std::ranges::move(notesOn(*answer.report, data), std::back_inserter(sheet.notes));
    disclaim(sheet.notes);
    return show(sheet, data, call);
  });
}

}  // namespace

Subcommand sessionList() {
  Subcommand subcommand{.name = "sessions",
                        .summary = "The sessions of a period: when, where, what about, and their cost",
                        .options = choosingOptions("7d"),
                        .examples = {"tallyfin sessions today", "tallyfin sessions 30d --sort cost"},
                        .run = showSessions};
  subcommand.options.push_back({.name = "sort",
                                .value = "ORDER",
                                .help = "time: the latest last (the default); cost: the most expensive first",
                                .values = Values::word,
                                .words = {"time", "cost"}});
  subcommand.options.push_back(
      limitOption("Show at most N sessions: the latest, or the most expensive (default 20)"));
  subcommand.options.push_back(jsonOption());
  return subcommand;
}

}  // namespace tallyfin::Command
