// The table of axes: how each is called, which rows it has and what a row tells beside its sums.

#include "Platform/Concat.hpp"
#include "TallyfinCore/Exports/ExportText.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <map>

namespace tallyfin::Exporter {
namespace {

// The rows of an axis that is ranked by cost.
template <auto Buckets>
std::vector<Entry> ranking(const Report& report, const Calendar&) {
  std::vector<Entry> entries;
  for (const auto& [key, bucket] : ranked(report.*Buckets)) {
    entries.push_back({std::string(key.text()), std::string(key.text()), bucket, std::nullopt});
  }
  return entries;
}

std::vector<Entry> agents(const Report& report, const Calendar&) {
  std::vector<Entry> entries;
  for (const auto& [agent, bucket] : rankedAgents(report.byAgent, std::nullopt, true)) {
    entries.push_back({std::string(agent.description()), agent.label(), bucket, agent});
  }
  return entries;
}

// The rows in order of their keys, which are ASCII: the day 10000-01-01 stands before 9999-12-31.
std::vector<Entry> byKey(std::vector<Entry> entries) {
  std::sort(entries.begin(), entries.end(),
            [](const Entry& left, const Entry& right) { return left.key < right.key; });
  return entries;
}

std::vector<Entry> days(const Report& report, const Calendar& calendar) {
  std::vector<Entry> entries;
  for (const auto& [day, bucket] : report.byDay) {
    const std::string date = calendar.formatDay(day);
    entries.push_back({date, date, &bucket, std::nullopt});
  }
  return byKey(std::move(entries));
}

// The rows of stretches of time, oldest first.
template <auto Buckets, auto Name>
std::vector<Entry> stretches(const Report& report, const Calendar& calendar) {
  std::map<TimePoint, const Bucket*> inOrder;
  for (const auto& [start, bucket] : report.*Buckets) {
    inOrder.emplace(start, &bucket);
  }
  std::vector<Entry> entries;
  for (const auto& [start, bucket] : inOrder) {
    const std::string name = (calendar.*Name)(start);
    entries.push_back({name, name, bucket, std::nullopt});
  }
  return entries;
}

std::vector<Entry> hours(const Report& report, const Calendar&) {
  std::vector<Entry> entries;
  for (const auto& [hour, bucket] : report.byHour) {
    const std::string digits = absl::StrFormat("%02d", hour);
    entries.push_back({digits, concat(digits, ":00"), &bucket, std::nullopt});
  }
  return byKey(std::move(entries));
}

std::string_view inWords(Provenance provenance) {
  switch (provenance) {
    case Provenance::exact:
      return "cwd is the repository root";
    case Provenance::worktreeFolded:
      return "folded out of a .claude/worktrees path";
    case Provenance::gitRootFolded:
      return "folded up to the git root";
    case Provenance::rawFallback:
      return "no repository found; the raw cwd was kept";
    case Provenance::missing:
      break;
  }
  return "the transcript carried no cwd";
}

template <typename Map, typename Key>
std::string_view textOr(const Map& map, const Key& key, std::string_view otherwise) {
  const auto found = map.find(key);
  return found != map.end() ? found->second.text() : otherwise;
}

Attribution ofProject(const Entry& entry, const Report& report) {
  const auto found = report.projectProvenance.find(InternedText(entry.key));
  if (found == report.projectProvenance.end() || found->second.empty()) {
    return {.project = entry.key,
            .note = "unknown — the report carries no label provenance for this project"};
  }
  std::map<std::string_view, std::string_view> reasons;  // in the order of their names
  for (const Provenance provenance : found->second) {
    reasons.emplace(text(provenance), inWords(provenance));
  }
  const auto words = [](std::string* out, const auto& reason) { append(*out, reason.second); };
  return {.project = entry.key, .note = absl::StrJoin(reasons, "; ", words)};
}

Attribution ofSession(const Entry& entry, const Report& report) {
  return {.project = textOr(report.sessionProject, InternedText(entry.key),
                            "unknown — no project could be attached to this session"),
          .session = entry.key,
          .note = "project taken from the session's last activity"};
}

Attribution ofAgent(const Entry& entry, const Report& report) {
  const AgentIdentity& agent = entry.agent.value();  // the rows of this axis have one
  Attribution cells{
      .project = textOr(report.agentProject, agent, "unknown — no project recorded for this agent"),
      .session = textOr(report.agentSession, agent, "unknown — no session recorded for this agent"),
      .agent = entry.label,
      .agentKind = "main session",
      .note = "requests with no agentId, i.e. the main session"};
  if (agent.kind() == AgentIdentity::Kind::named) {
    cells.agentKind = "named subagent";
    cells.note = "name read out of the agentId itself";
  } else if (agent.kind() == AgentIdentity::Kind::anonymous) {
    cells.agentKind = "anonymous subagent";
    cells.note =
        "the agentId carries no name and no roster entry matched; the agent is reported as anonymous "
        "rather than given a plausible name";
  }
  return cells;
}

struct AxisRow {
  Axis axis;
  std::string_view rawValue;
  std::string_view columnValue;
  std::string_view title;
  bool isChronological;
  std::vector<Entry> (*rows)(const Report& report, const Calendar& calendar);
  std::string_view note;  // the attribution of every row that has nothing else to tell
  Attribution (*attribution)(const Entry& entry, const Report& report) = nullptr;
  bool OptionalAxes::*needed = nullptr;  // what a report must have been asked for
};

constexpr std::array<AxisRow, allAxes.size()> kAxes = {{
    {Axis::project, "project", "project", "BY PROJECT", false, ranking<&Report::byProject>, "", ofProject},
    {Axis::rawCwd, "rawCwd", "raw_cwd", "BY RAW CWD", false, ranking<&Report::byRawCwd>,
     "raw cwd as written in the transcript, before any folding"},
    {Axis::session, "session", "session", "BY SESSION", false, ranking<&Report::bySession>, "", ofSession},
    {Axis::agent, "agent", "agent", "BY AGENT", false, agents, "", ofAgent},
    {Axis::model, "model", "model", "BY MODEL", false, ranking<&Report::byModel>,
     "one model, across every project and agent in range"},
    {Axis::day, "day", "day", "BY DAY", true, days,
     "calendar day in the local time zone, as the aggregator counts it"},
    {Axis::hour, "hour", "hour", "BY HOUR", true, hours, "hour of the local day, across the selected period",
     nullptr, &OptionalAxes::hours},
    {Axis::source, "source", "source_home", "BY SOURCE HOME", false, ranking<&Report::bySource>,
     "the Claude home directory the transcripts were read from"},
    {Axis::week, "week", "week", "BY WEEK", true, stretches<&Report::byWeek, &Calendar::formatWeek>,
     "ISO 8601 week of the local calendar, Monday to Sunday", nullptr, &OptionalAxes::weeks},
    {Axis::month, "month", "month", "BY MONTH", true, stretches<&Report::byMonth, &Calendar::formatYearMonth>,
     "calendar month in the local time zone", nullptr, &OptionalAxes::months},
    {Axis::block, "block", "block", "BY BLOCK", true,
     stretches<&Report::byBlock, &Calendar::formatDistinctMinute>,
     "five hours from the full local hour of the first request after the last block; real limits are not in "
     "transcripts",
     nullptr, &OptionalAxes::blocks},
}};

constexpr const AxisRow& rowOf(Axis axis) {
  return kAxes.at(static_cast<std::size_t>(axis));
}
static_assert(std::all_of(allAxes.begin(), allAxes.end(),
                          [](Axis axis) { return rowOf(axis).axis == axis; }));

}  // namespace

std::string_view rawValue(Axis axis) {
  return rowOf(axis).rawValue;
}

std::string_view columnValue(Axis axis) {
  return rowOf(axis).columnValue;
}

std::string_view title(Axis axis) {
  return rowOf(axis).title;
}

bool isChronological(Axis axis) {
  return rowOf(axis).isChronological;
}

OptionalAxes neededFor(std::span<const Axis> axes) {
  OptionalAxes needed;
  for (const Axis axis : axes) {
    if (rowOf(axis).needed != nullptr) {
      needed.*rowOf(axis).needed = true;
    }
  }
  return needed;
}

std::optional<Axis> axisNamed(std::string_view rawValue) {
  for (const AxisRow& row : kAxes) {
    if (row.rawValue == rawValue) {
      return row.axis;
    }
  }
  return std::nullopt;
}

std::vector<Entry> rows(const Report& report, Axis axis, const Calendar& calendar) {
  return rowOf(axis).rows(report, calendar);
}

Attribution attribution(const Entry& entry, Axis axis, const Report& report) {
  const AxisRow& row = rowOf(axis);
  return row.attribution != nullptr ? row.attribution(entry, report)
                                    : Attribution{.note = std::string(row.note)};
}

}  // namespace tallyfin::Exporter
