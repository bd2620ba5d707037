#include "Tallyfin/Tables.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Sheets.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Exports/AxisSheet.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

namespace tallyfin::Command {
namespace {

// The time step of an axis whose rows can include idle ones. Blocks have none, because a block starts with a
// request.
std::optional<TimeStep> calendarStep(Axis axis) {
  const std::optional<TimeStep> step = stepOf(axis);
  return step == TimeStep::block ? std::nullopt : step;
}

// Adds a row for each idle step from `at` to before `end`; more than 31 of them become one row.
void addIdle(std::vector<Entry>& rows, std::optional<TimePoint> at, TimePoint end, TimeStep step,
             const Calendar& calendar) {
  constexpr std::size_t kMostRows = 31;
  const std::size_t before = rows.size();
  for (; at && *at < end; at = nextStep(step, *at, calendar)) {
    if (rows.size() - before == kMostRows) {
      rows.resize(before);
      rows.push_back({.key = InternedText("…")});
      return;
    }
    rows.push_back({.key = InternedText(nameOfStep(step, *at, calendar))});
  }
}

// One row per step of the range, from the `first` request of the history to today. Nothing is known of the
// time before that request.
std::vector<Entry> rowsOf(const Report& report, TimeStep step, const Period& period,
                          std::optional<TimePoint> first, TimePoint now, const Calendar& calendar) {
  std::vector<Entry> rows;
  std::optional<TimePoint> next;  // the first step without a row
  if (period.from && first) {
    next = startOfStep(step, std::max(*period.from, calendar.startOfDay(*first)), calendar);
  }
  for (const auto& [start, bucket] : inOrder(report.by(step))) {
    addIdle(rows, next, start, step, calendar);
    rows.push_back({.key = InternedText(nameOfStep(step, start, calendar)), .bucket = bucket});
    next = nextStep(step, start, calendar);
  }
  const TimePoint today = calendar.startOfDay(now);
  const TimePoint last = std::min(period.through.value_or(today), today);
  addIdle(rows, next, calendar.startOfDay(last, 1), step, calendar);
  return rows;
}

// Notes when the history begins, if that is within the range.
void noteBeginning(std::vector<std::string>& notes, const Period& period, const DataSource& data) {
  const std::optional<TimePoint> first = firstRequest(data);
  if (first && period.from && data.calendar().startOfDay(*first) > *period.from) {
    notes.push_back(concat("The transcripts begin on ", data.calendar().formatDay(*first), "."));
  }
}

// Notes which steps at the start and end of the range are only partly in it.
void noteCuts(std::vector<std::string>& notes, TimeStep step, const Period& period,
              const Calendar& calendar) {
  if (period.from && startOfStep(step, *period.from, calendar) < *period.from) {
    notes.push_back(concat(nameOfStep(step, *period.from, calendar), " counts from ",
                           calendar.formatDay(*period.from), " on."));
  }
  if (period.through && !period.includesToday &&
      startOfStep(step, calendar.startOfDay(*period.through, 1), calendar) <= *period.through) {
    notes.push_back(concat(nameOfStep(step, *period.through, calendar), " counts up to ",
                           calendar.formatDay(*period.through), "."));
  }
}

// Notes about the current block, and about what a block is not.
void noteBlock(std::vector<std::string>& notes, const Report& report, const Period& period, TimePoint now,
               const Calendar& calendar) {
  for (const auto& [start, bucket] : report.by(TimeStep::block)) {
    const double left = nextStep(TimeStep::block, start, calendar)->seconds - now.seconds;
    const bool isCut = period.from && start < *period.from;
    if (isCut) {
      notes.push_back(concat(calendar.formatDistinctMinute(start), " counts from ",
                             calendar.formatDay(*period.from), " on."));
    }
    if (start <= now && left > 0) {
      const Estimate<CostEstimate> rate =
          isCut ? UnknownReason::periodIncomplete() : Derived::blockRate(bucket, start, now);
      notes.push_back(concat(
          "The current block began at ", calendar.formatDistinctMinute(start), ": ", rateInLine(rate), ", ",
          counted(static_cast<std::int64_t>(std::ceil(left / 60)), "minute", "minutes"), " left."));
    }
  }
  notes.emplace_back(
      "A block is five hours from the full hour of its first request. Real limits are not in transcripts: a "
      "block tells what was used, not what is left.");
}

std::vector<std::string> notesOf(const Report& report, Axis axis, const Period& period, DataSource& data) {
  std::vector<std::string> notes = notesOn(report, data);
  if (const std::optional<TimeStep> step = calendarStep(axis)) {
    noteBeginning(notes, period, data);
    noteCuts(notes, *step, period, data.calendar());
  } else if (axis == Axis::kind) {
    notes.emplace_back("A run is one agent; for the main session, one session.");
    if (report.byKind.find(AgentKind::unnamed()) != nullptr) {
      notes.emplace_back(
          "Agents are unnamed if they have no name and no readable type beside their transcript.");
    }
  } else if (axis == Axis::block) {
    noteBlock(notes, report, period, data.now(), data.calendar());
  }
  disclaim(notes);
  return notes;
}

// Notes how many rows a limit left out.
void noteLimit(std::vector<std::string>& notes, std::int64_t limit, std::size_t leftOut, bool isInTime) {
  notes.insert(notes.begin(),
               concat("--limit ", std::to_string(limit), " left out ",
                      counted(static_cast<std::int64_t>(leftOut), isInTime ? "earlier row" : "row",
                              isInTime ? "earlier rows" : "rows"),
                      "; the total has them."));
}

int showTable(const Call& call, Axis axis, const Days& days) {
  return withTranscripts(call, [&](DataSource& data) {
    const Period period = periodOf(days, data);
    const Filters filters = filtersOf(call.arguments, data);
    ReportParts parts = neededFor({&axis, 1});
    const bool isDocument = call.arguments.has("json");
    parts.origins &= isDocument;  // no column of a table shows them
    const Report report = data.report(period, filters.predicate, parts);
    const std::optional<TimeStep> step = calendarStep(axis);
    const bool isInTime = isChronological(axis);
    const std::optional<std::int64_t> limit = call.arguments.number("limit");
    std::vector<Entry> entries =
        step && !isDocument ? rowsOf(report, *step, period, firstRequest(data), data.now(), data.calendar())
                            : rows(report, axis, data.calendar(), isInTime ? std::nullopt : limit);
    const auto all = isInTime ? entries.size() : static_cast<std::size_t>(rowCount(report, axis));
    if (limit && std::cmp_less(*limit, entries.size())) {  // chronological rows: keep the latest
      entries.erase(entries.begin(), entries.end() - *limit);
    }
    Sheet sheet = axisSheet(report, axis, std::move(entries), data.calendar());
    setQuestion(sheet, days, period, filters);
    sheet.notes = notesOf(report, axis, period, data);
    sheet.rowsLeftOut = all - sheet.rowCount;
    if (sheet.rowsLeftOut > 0) {
      noteLimit(sheet.notes, *limit, sheet.rowsLeftOut, isInTime);
    }
    return show(sheet, data, call);
  });
}

// A table with its own subcommand.
struct Named {
  std::string name;
  Axis axis;
  std::string summary;
  std::string span;  // the range without options, for help
  std::string example;
  Days (*days)(TimePoint now, const Calendar& calendar);
};

Days through(TimePoint from, TimePoint now, const Calendar& calendar, std::string label) {
  return {.period = {}, .from = from, .through = calendar.startOfDay(now), .label = std::move(label)};
}

Days lastSevenDays(TimePoint, const Calendar&) {
  return {.period = "7d", .from = {}, .through = {}, .label = {}};
}

Days lastEightWeeks(TimePoint now, const Calendar& calendar) {
  return through(calendar.startOfDay(calendar.startOfWeek(now), -49), now, calendar, "last 8 weeks");
}

Days lastTwelveMonths(TimePoint now, const Calendar& calendar) {
  const TimePoint month = calendar.startOfMonth(now);
  return through(calendar.startOfDayMonthsLater(month, -11).value_or(month), now, calendar, "last 12 months");
}

Subcommand subcommandOf(const Named& named) {
  Subcommand subcommand{.name = named.name, .summary = named.summary};
  if (named.name == "table") {
    subcommand.options.push_back({.name = "by",
                                  .value = "AXIS",
                                  .help = "What a row stands for",
                                  .values = Values::word,
                                  .words = axisNames(),
                                  .isRequired = true});
  }
  std::ranges::move(choosingOptions(named.span), std::back_inserter(subcommand.options));
  subcommand.options.push_back(limitOption("Show at most N rows: the latest, or the most expensive"));
  subcommand.options.push_back(jsonOption());
  subcommand.examples = {named.example};
  subcommand.run = [named](const Call& call) {
    const std::optional<std::string> by = call.arguments.text("by");
    const Environment& environment = call.environment;
    return showTable(
        call, by ? *axisNamed(*by) : named.axis,
        namesDays(call.arguments) ? daysOf(call, "") : named.days(environment.now(), environment.calendar));
  };
  return subcommand;
}

}  // namespace

std::vector<Subcommand> tables() {
  const Named all[] = {
      {"daily", Axis::day, "A row a day, idle ones too", "7d", "tallyfin daily 30d --project app",
       lastSevenDays},
      {"weekly", Axis::week, "A row a week: ISO 8601, Monday to Sunday", "the last 8 weeks",
       "tallyfin weekly yearToDate", lastEightWeeks},
      {"monthly", Axis::month, "A row a calendar month", "the last 12 months", "tallyfin monthly all",
       lastTwelveMonths},
      {"blocks", Axis::block,
       "A row for each five hours of use, as subscriptions meter, with the rate of the current one", "7d",
       "tallyfin blocks today", lastSevenDays},
      {"table", Axis::day, "A row a key of any axis, with a bar", "7d", "tallyfin table --by project 30d",
       lastSevenDays}};
  std::vector<Subcommand> subcommands;
  for (const Named& named : all) {
    subcommands.push_back(subcommandOf(named));
  }
  return subcommands;
}

}  // namespace tallyfin::Command
