// The breakdown of a report along one axis: its rows, and the table made of them.

#include "Platform/Concat.hpp"
#include "TallyfinCore/Exports/ExportText.hpp"
#include "TallyfinCore/Exports/Exporter.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <span>

namespace tallyfin::Exporter {
namespace {

struct AxisTexts {
  std::string_view rawValue;
  std::string_view columnValue;
  std::string_view title;
};

constexpr std::array<AxisTexts, allAxes.size()> kAxisTexts = {{{"project", "project", "BY PROJECT"},
                                                               {"rawCwd", "raw_cwd", "BY RAW CWD"},
                                                               {"session", "session", "BY SESSION"},
                                                               {"agent", "agent", "BY AGENT"},
                                                               {"model", "model", "BY MODEL"},
                                                               {"day", "day", "BY DAY"},
                                                               {"hour", "hour", "BY HOUR"},
                                                               {"source", "source_home", "BY SOURCE HOME"}}};

const AxisTexts& textsOf(Axis axis) {
  return kAxisTexts.at(static_cast<std::size_t>(axis));
}

std::vector<Entry> entriesOf(const Ranking<InternedText>& ranking) {
  std::vector<Entry> entries;
  entries.reserve(ranking.size());
  for (const auto& [key, bucket] : ranking) {
    entries.push_back({std::string(key.text()), std::string(key.text()), bucket, std::nullopt});
  }
  return entries;
}

std::vector<Entry> entriesOf(const Ranking<AgentIdentity>& ranking) {
  std::vector<Entry> entries;
  entries.reserve(ranking.size());
  for (const auto& [agent, bucket] : ranking) {
    entries.push_back({std::string(agent.description()), agent.label(), bucket, agent});
  }
  return entries;
}

// The entries of days or hours, whose keys are ASCII.
template <typename Key, typename TextOf>
std::vector<Entry> byKey(const tallyfin::Axis<Key>& axis, std::string_view labelEnd, TextOf textOf) {
  std::vector<Entry> entries;
  entries.reserve(axis.size());
  for (const auto& [time, bucket] : axis) {
    const std::string key = textOf(time);
    entries.push_back({key, concat(key, labelEnd), &bucket, std::nullopt});
  }
  std::sort(entries.begin(), entries.end(),
            [](const Entry& left, const Entry& right) { return left.key < right.key; });
  return entries;
}

std::string models(const Bucket& bucket) {
  if (bucket.modelCounts.empty()) {
    return "unknown — no model recorded on this row";
  }
  return absl::StrJoin(bucket.modelsByUse(), "; ", [](std::string* out, const auto& entry) {
    append(*out, entry.first.text(), " (", std::to_string(entry.second), ")");
  });
}

std::string provenanceText(Provenance provenance) {
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
      return "the transcript carried no cwd";
  }
  return concat("unrecognised provenance: ", text(provenance));
}

std::string projectAttribution(InternedText project, const Report& report) {
  const auto found = report.projectProvenance.find(project);
  if (found == report.projectProvenance.end() || found->second.empty()) {
    return "unknown — the report carries no label provenance for this project";
  }
  std::map<std::string_view, std::string> texts;  // in the order of the raw values
  for (const Provenance provenance : found->second) {
    texts.emplace(text(provenance), provenanceText(provenance));
  }
  return absl::StrJoin(texts, "; ", [](std::string* out, const auto& entry) { out->append(entry.second); });
}

template <typename Map, typename Key>
std::string_view textOr(const Map& map, const Key& key, std::string_view otherwise) {
  const auto found = map.find(key);
  return found != map.end() ? found->second.text() : otherwise;
}

// The cells that depend on the axis. The views live as long as the entry.
struct Attribution {
  std::string_view project = notBrokenDown;
  std::string_view session = notBrokenDown;
  std::string_view agent = notBrokenDown;
  std::string_view agentKind = notBrokenDown;
  std::string note;
};

Attribution agentAttribution(const Entry& entry, const Report& report) {
  if (!entry.agent) {
    return {.note = std::string(notBrokenDown)};
  }
  Attribution cells{
      .project = textOr(report.agentProject, *entry.agent, "unknown — no project recorded for this agent"),
      .session = textOr(report.agentSession, *entry.agent, "unknown — no session recorded for this agent"),
      .agent = entry.label,
      .note = {}};
  switch (entry.agent->kind()) {
    case AgentIdentity::Kind::named:
      cells.agentKind = "named subagent";
      cells.note = "name read out of the agentId itself";
      break;
    case AgentIdentity::Kind::anonymous:
      cells.agentKind = "anonymous subagent";
      cells.note =
          "the agentId carries no name and no roster entry matched; the agent is reported as anonymous "
          "rather than given a plausible name";
      break;
    case AgentIdentity::Kind::main:
      cells.agentKind = "main session";
      cells.note = "requests with no agentId, i.e. the main session";
      break;
  }
  return cells;
}

Attribution attribution(const Entry& entry, Axis axis, const Report& report) {
  switch (axis) {
    case Axis::project:
      return {.project = entry.key, .note = projectAttribution(InternedText(entry.key), report)};
    case Axis::rawCwd:
      return {.note = "raw cwd as written in the transcript, before any folding"};
    case Axis::session:
      return {.project = textOr(report.sessionProject, InternedText(entry.key),
                                "unknown — no project could be attached to this session"),
              .session = entry.key,
              .note = "project taken from the session's last activity"};
    case Axis::agent:
      return agentAttribution(entry, report);
    case Axis::model:
      return {.note = "one model, across every project and agent in range"};
    case Axis::day:
      return {.note = "calendar day in the local time zone, as the aggregator counts it"};
    case Axis::hour:
      return {.note = "hour of the local day, across the selected period"};
    case Axis::source:
      break;
  }
  return {.note = "the Claude home directory the transcripts were read from"};
}

std::string activity(std::optional<TimePoint> time, const Stamps& stamps) {
  return time ? stamps.instant(*time) : "unknown — the row holds no dated request";
}

void writeRow(CSVWriter& csv, const Entry& entry, Axis axis, const Report& report, const Stamps& stamps) {
  const Bucket& bucket = *entry.bucket;
  const Attribution cells = attribution(entry, axis, report);
  for (const std::string_view cell :
       {columnValue(axis), std::string_view(entry.key), std::string_view(entry.label), cells.project,
        cells.session, cells.agent, cells.agentKind}) {
    csv.text(cell);
  }
  csv.text(models(bucket));
  csv.text(cells.note);
  csv.text(activity(bucket.firstActivity, stamps));
  csv.text(activity(bucket.lastActivity, stamps));
  for (const std::int64_t count :
       {bucket.requests, bucket.input, bucket.output, bucket.cacheWrite5m, bucket.cacheWrite1h,
        bucket.cacheRead, bucket.totalTokens(), bucket.webSearch, bucket.webFetch}) {
    csv.number(count);
  }
  const CostFields cost = costFields(bucket);
  csv.text(currencyCode);
  csv.text(cost.value);
  csv.text(cost.basis);
  csv.number(bucket.cost.unpricedRequests);
  csv.text(bucket.cost.unpricedModels.empty() ? "(none)" : bucket.cost.unpricedNames("; "));
  csv.number(bucket.cacheWriteAssumedRequests);
  csv.endRow();
}

std::string table(std::span<const Entry> entries, const Report& report, Axis axis, const Options& options) {
  const Stamps stamps(options.calendar);
  CSVWriter csv(options.byteOrderMark, breakdownColumns);
  const auto limit = static_cast<std::uint64_t>(std::max<std::int64_t>(options.limitPerAxis.value_or(0), 0));
  if (options.limitPerAxis && limit < entries.size()) {
    entries = entries.first(limit);
  }
  for (const Entry& entry : entries) {
    writeRow(csv, entry, axis, report, stamps);
  }
  return std::move(csv).document();
}

}  // namespace

std::string_view rawValue(Axis axis) {
  return textsOf(axis).rawValue;
}

std::string_view columnValue(Axis axis) {
  return textsOf(axis).columnValue;
}

std::string_view title(Axis axis) {
  return textsOf(axis).title;
}

bool isChronological(Axis axis) {
  return axis == Axis::day || axis == Axis::hour;
}

std::optional<Axis> axisNamed(std::string_view rawValue) {
  for (const Axis axis : allAxes) {
    if (Exporter::rawValue(axis) == rawValue) {
      return axis;
    }
  }
  return std::nullopt;
}

std::vector<Entry> rows(const Report& report, Axis axis, const Calendar& calendar) {
  switch (axis) {
    case Axis::project:
      return entriesOf(ranked(report.byProject));
    case Axis::rawCwd:
      return entriesOf(ranked(report.byRawCwd));
    case Axis::session:
      return entriesOf(ranked(report.bySession));
    case Axis::agent:
      return entriesOf(rankedAgents(report.byAgent, std::nullopt, true));
    case Axis::model:
      return entriesOf(ranked(report.byModel));
    case Axis::day:
      return byKey(report.byDay, "", [stamps = Stamps(calendar)](TimePoint day) { return stamps.day(day); });
    case Axis::hour:
      return byKey(report.byHour, ":00", [](int hour) { return absl::StrFormat("%02d", hour); });
    case Axis::source:
      break;
  }
  return entriesOf(ranked(report.bySource));
}

std::string breakdownCSV(const Report& report, Axis axis, const Options& options) {
  return table(rows(report, axis, options.calendar), report, axis, options);
}

std::vector<AxisCSV> allBreakdownCSVs(const Report& report, const Options& options) {
  std::vector<AxisCSV> tables;
  for (const Axis axis : allAxes) {
    const std::vector<Entry> entries = rows(report, axis, options.calendar);
    if (!entries.empty()) {
      tables.push_back({axis, table(entries, report, axis, options)});
    }
  }
  return tables;
}

}  // namespace tallyfin::Exporter
