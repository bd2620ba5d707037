// Makes the HTML page: computes the figures, and replaces the placeholders of the page template.

#include "TallyfinCore/Exports/Page.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Exports/PageTables.hpp"
#include "TallyfinCore/Exports/PageTemplate.hpp"
#include "TallyfinCore/Figures/DateRange.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinCore/Figures/Money.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tallyfin::Exporter {
namespace {

// The days that the page covers: `from` and `to` of the options. If `from` is absent, the range begins on the
// day of the first request. If `to` is absent, it ends on the day of the last request. If there are no
// requests, the day on which the page is made is used instead.
DateRange daysOf(const Report& report, const Options& options) {
  const TimePoint first = options.from.value_or(report.total.firstActivity.value_or(options.generatedAt));
  const TimePoint last = options.to.value_or(report.total.lastActivity.value_or(options.generatedAt));
  return {first, std::max(first, last), options.calendar};
}

// The step of the bar chart for a range of this many days.
TimeStep stepFor(std::int64_t days) {
  constexpr std::int64_t kMostDays = 62;
  constexpr std::int64_t kMostWeeks = 62;
  return days <= kMostDays ? TimeStep::day : days <= kMostWeeks * 7 ? TimeStep::week : TimeStep::month;
}

// The name of a step in the table and in tooltips: "2026-11-22", "week of 2026-11-16" or "November 2026".
std::string slotLabel(TimeStep step, TimePoint start, const Calendar& calendar) {
  if (step == TimeStep::month) {
    return calendar.formatMonth(start);
  }
  return concat(step == TimeStep::week ? "week of " : "", calendar.formatDay(start));
}

// The label of a step below the bar chart: "22 Nov", or "Nov 2026" for a month.
std::string slotTick(TimeStep step, TimePoint start, const Calendar& calendar) {
  const std::string month = calendar.formatMonth(start);
  const std::string shortened = month.substr(0, 3);
  return step == TimeStep::month ? concat(shortened, month.substr(month.rfind(' ')))
                                 : concat(std::to_string(calendar.date(start).day), " ", shortened);
}

// The steps of the range in order. If the steps are months, only the last 120 of them. Steps without requests
// are included, with null as `shares`.
std::vector<Slot> slotsOf(const TimeCuts& cuts, const DateRange& days, const Calendar& calendar) {
  constexpr std::int64_t kMost = 120;
  TimePoint start = startOfStep(cuts.step, days.from(), calendar);
  if (cuts.step == TimeStep::month) {
    const std::optional<TimePoint> earliest = calendar.startOfDayMonthsLater(days.through(), 1 - kMost);
    start = std::max(start, startOfStep(cuts.step, earliest.value_or(start), calendar));
  }
  std::vector<Slot> slots;
  for (std::optional<TimePoint> at = start; at && *at <= days.through();
       at = nextStep(cuts.step, *at, calendar)) {
    slots.push_back(
        {slotLabel(cuts.step, *at, calendar), slotTick(cuts.step, *at, calendar), cuts.byStep.find(*at)});
  }
  return slots;
}

// The heading of the page: the name of the period, or its days, or that it covers everything.
std::string heading(const Options& options, const DateRange& days) {
  if (options.periodLabel && !options.periodLabel->empty()) {
    return *options.periodLabel;
  }
  return options.from || options.to ? days.title(options.calendar) : "All that is recorded";
}

// The line below the heading. It has the first and last day, unless the heading shows them already, and the
// number of days.
Markup range(const Report& report, const Options& options, const DateRange& days) {
  if (!options.from && !options.to && report.total.requests < 1) {
    return periodDescription(report, options, Stamps(options.calendar));
  }
  const std::string label = days.label(options.calendar);
  return concat(heading(options, days) == label ? "" : concat(label, " · "),
                counted(days.dayCount(options.calendar), "day", "days"));
}

// The list of reasons why the total may be incomplete or not final. Empty if there are none.
Markup caveats(const Report& report, const Options& options, const DateRange& days) {
  Markup all;
  const auto add = [&all](const Markup& caveat) { all += element("li", {}, caveat); };
  const Bucket& total = report.total;
  constexpr std::size_t kLongest = 300;
  if (total.requests < 1) {
    add(report.diagnostics.filesScanned > 0 ? "no request falls in the selected range"
                                            : "unknown — no source file was read");
  }
  if (const std::optional<std::string> left = total.cost.caveat()) {
    add(name(*left, kLongest));
  }
  const TimePoint last = options.to.value_or(options.generatedAt);
  if (const auto running = DateRange(days.from(), std::max(days.from(), last), options.calendar)
                               .caveat(options.generatedAt, options.calendar)) {
    add(*running);
  }
  const std::int64_t lost = report.diagnostics.totalRejected();
  const auto unreadable = static_cast<std::int64_t>(report.diagnostics.filesUnreadable.size());
  if (lost > 0 || unreadable > 0) {
    add(element("a", {{"href", "#losses"}},
                concat(counted(lost, "line", "lines"), " rejected · ", counted(unreadable, "file", "files"),
                       " unreadable")));
  }
  if (const auto folders = static_cast<std::int64_t>(report.diagnostics.foldersUnreadable.size());
      folders > 0) {
    add(concat(counted(folders, "folder", "folders"),
               " could not be listed: the transcripts below are in no figure"));
  }
  if (const std::optional<std::string> own = total.cost.ownPriced()) {
    add(name(concat("own prices for ", *own, " were used"), kLongest));
  }
  return all.html().empty() ? all : element("ul", {{"class", "caveats"}}, all);
}

Markup figure(std::string_view term, const Markup& value, const Markup& detail = {}) {
  Markup all = element("dt", {}, term);
  all += element("dd", {}, value);
  return element("div", {}, all,
                 detail.html().empty() ? Markup() : element("dd", {{"class", "detail"}}, detail));
}

// What the page shows of those parts of the report that may have one row for each request.
struct LargeParts {
  Shown<AgentIdentity> agents;
  Report::Split split;
  Shown<InternedText> projects;
  std::vector<ProvenanceLine> provenance;
  Shown<InternedText> sessions;
  absl::flat_hash_map<InternedText, InternedText> sessionProject;  // the project of each shown session
  AgentsByKey agentsByProject;                                     // of the shown agents and projects
};

Markup keyFigures(const Report& report, const LargeParts& large) {
  const Bucket& total = report.total;
  if (total.requests < 1 && report.diagnostics.filesScanned < 1) {
    return {};  // no transcript was listed, so no count is known
  }
  const auto count = [](std::size_t rows) { return grouped(static_cast<std::int64_t>(rows)); };
  Markup all = figure("Requests", grouped(total.requests));
  all += figure("Days with activity", grouped(report.activeDays()));
  all += figure("Average of an active day", amount(report.averagePerActiveDay()));
  all += figure("Median of an active day", amount(report.medianPerActiveDay()));
  all += figure("Agents", count(large.agents.all));
  all += figure("Sessions", count(large.sessions.all));
  all += figure("Tokens", grouped(total.totalTokens()),
                concat("in ", grouped(total.input), " · out ", grouped(total.output), " · cache write ",
                       grouped(total.cacheWrite()), " · cache read ", grouped(total.cacheRead)));
  return element("dl", {{"class", "figures"}}, all);
}

// The bar that shows how the cost is split between the main session and sub-agents. Its legend applies to all
// bars of the page.
Markup split(const Report::Split& costs, const TimeCuts& cuts) {
  const auto share = [&](std::string_view classes, std::string_view who, const Bucket& bucket,
                         const CostEstimate& cost) {
    Markup text = element("span", {{"class", concat("key ", classes)}}, "");
    text += element("span", {{"class", "who"}}, who);
    if (bucket.requests < 1) {
      return element("li", {}, text, " no request");
    }
    const Estimate<double> part = costs.share(cost);
    const std::string shown = part.isKnown() && !bucket.cost.isUnknown() ? concat(" ", percent(part)) : "";
    return element("li", {}, text, " ", amountMarkup(bucket), element("span", {{"class", "detail"}}, shown));
  };
  return element("div", {{"class", "who-spent"}}, splitBar(cuts),
                 element("ul", {}, share("main", "Main session", cuts.main, costs.main),
                         share("agents", "Sub-agents", cuts.subagents, costs.subagent)));
}

std::string_view stepNoun(TimeStep step) {
  return step == TimeStep::day ? "day" : step == TimeStep::week ? "week" : "month";
}

// The note about the months with requests that the bar chart leaves out. Empty if there are none.
Markup earlierSteps(const TimeCuts& cuts, const std::vector<Slot>& slots) {
  const auto drawn = std::ranges::count_if(slots, [](const Slot& slot) { return slot.shares != nullptr; });
  const std::int64_t left = static_cast<std::int64_t>(cuts.byStep.size()) - drawn;
  return left < 1 ? Markup()
                  : element("p", {{"class", "more"}},
                            concat(counted(left, "earlier month", "earlier months"),
                                   " with requests — the CSV export has all of them"));
}

// The lines of the provenance document, without the lines about each transcript, because there may be many.
std::vector<ProvenanceLine> provenance(const Report& report, const Options& options) {
  const Options without{.periodLabel = options.periodLabel,
                        .from = options.from,
                        .to = options.to,
                        .generatedAt = options.generatedAt,
                        .calendar = options.calendar};
  return provenanceLines(report, without, Stamps(options.calendar));
}

// Makes one report for each part. Because each may be large, only one of these reports is in memory at a
// time.
LargeParts largeParts(const Report& report, const Aggregator& aggregator, const RecordList& records,
                      const Options& options) {
  LargeParts large;
  const auto reportOf = [&](const ReportParts& parts, const RecordFilter& filter) {
    return aggregator.aggregate(records, options.from, options.to, report.diagnostics, parts, filter);
  };
  {
    const Report agents = reportOf(ReportParts::only(&ReportParts::agents), options.recordFilter);
    large.agents = shownAgents(agents.byAgent);
    large.split = agents.subagentSplit();
  }
  {
    const Report projects = reportOf(ReportParts::only(&ReportParts::projects), options.recordFilter);
    large.projects = shownRows(projects.byProject);
    large.provenance = provenance(projects, options);
  }
  large.sessions =
      shownRows(reportOf(ReportParts::only(&ReportParts::sessions), options.recordFilter).bySession);
  const auto isCounted = [&](const UsageRecord& record) {
    return !options.recordFilter || options.recordFilter(record);
  };
  large.sessionProject =
      reportOf(ReportParts::only(&ReportParts::sessions, &ReportParts::origins),
               [&](const UsageRecord& record) {
                 return large.sessions.rows.find(record.sessionId) != nullptr && isCounted(record);
               })
          .sessionProject;
  const auto isShown = [&, last = std::optional<std::uint32_t>(),
                        isProject = false](const UsageRecord& record) mutable {
    if (last != record.rawCwd.spelling()) {  // consecutive records mostly share a directory
      last = record.rawCwd.spelling();
      isProject = large.projects.rows.find(aggregator.resolver().resolve(record.rawCwd).canonical) != nullptr;
    }
    return (isProject || large.agents.rows.find(record.agent) != nullptr) && isCounted(record);
  };
  large.agentsByProject = reportOf(ReportParts::only(&ReportParts::agentsByProject), isShown).agentsByProject;
  return large;
}

}  // namespace

std::string page(const Report& report, const Aggregator& aggregator, const RecordList& records,
                 const Options& options) {
  const Calendar& calendar = options.calendar;
  const DateRange days = daysOf(report, options);
  const TimeCuts cuts = timeCuts(aggregator, records, options.from, options.to, options.recordFilter,
                                 stepFor(days.dayCount(calendar)));
  const LargeParts large = largeParts(report, aggregator, records, options);
  const std::vector<Slot> slots = slotsOf(cuts, days, calendar);
  const std::vector<ProvenanceLine>& lines = large.provenance;
  constexpr Section kRead[] = {Section::scan};
  constexpr Section kLost[] = {Section::loss};
  constexpr Section kAssumed[] = {Section::assumption, Section::attribution};
  const std::string title = heading(options, days);
  const Gap gaps[] = {
      {"style", Markup::verbatim(std::string(pageStyle))},
      {"style-hash", pageStyleHash},
      {"heading", name(title, 160)},
      {"title", Text::visible(title, 60)},
      {"range", range(report, options, days)},
      {"generated", calendar.formatMinute(options.generatedAt)},
      {"total", amountMarkup(report.total)},
      {"caveats", caveats(report, options, days)},
      {"figures", keyFigures(report, large)},
      {"split", split(large.split, cuts)},
      {"step", stepNoun(cuts.step)},
      {"time-bars", timeBars(slots)},
      {"time-table", timeTable(slots)},
      {"time-left-out", earlierSteps(cuts, slots)},
      {"heat-map", heatMap(cuts)},
      {"hours-table", hoursTable(cuts)},
      {"agents", agentsTable(large.agents, large.agentsByProject)},
      {"projects", projectsTable(large.projects, large.agentsByProject)},
      {"models", modelsTable(report)},
      {"sessions", sessionsTable(large.sessions, large.sessionProject, calendar)},
      {"homes", homesTable(report)},
      {"read", provenanceTable(lines, "What was read", kRead)},
      {"lost", provenanceTable(lines, "What was lost", kLost)},
      {"assumed", provenanceTable(lines, "What was assumed", kAssumed)},
      {"disclaimer", Derived::disclaimer},
  };
  return filled(pageTemplate, gaps);
}

}  // namespace tallyfin::Exporter
