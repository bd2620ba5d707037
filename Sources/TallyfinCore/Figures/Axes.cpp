#include "TallyfinCore/Figures/Axes.hpp"

#include "Platform/Concat.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

namespace tallyfin {
namespace {

using Limit = std::optional<std::int64_t>;

// The rows of an axis that is ranked by cost.
template <auto Buckets>
std::vector<Entry> ranking(const Report& report, const Calendar&, Limit limit) {
  const auto best = ranked(report.*Buckets, limit);
  std::vector<Entry> entries;
  entries.reserve(best.size());
  for (const auto& [key, bucket] : best) {
    entries.push_back({.key = key, .bucket = bucket});
  }
  return entries;
}

std::vector<Entry> agents(const Report& report, const Calendar&, Limit limit) {
  const auto best = rankedAgents(report.byAgent, limit, true);
  const InternedText main(AgentIdentity::main().description());
  std::vector<Entry> entries;
  entries.reserve(best.size());
  for (const auto& [agent, bucket] : best) {
    entries.push_back({.key = agent.isSubagent() ? agent.rawId() : main, .bucket = bucket, .agent = agent});
  }
  return entries;
}

std::vector<Entry> kinds(const Report& report, const Calendar&, Limit limit) {
  const auto best = rankedKinds(report.byKind, limit);
  std::vector<Entry> entries;
  entries.reserve(best.size());
  for (const auto& [kind, bucket] : best) {
    entries.push_back(
        {.key = kind.key(), .name = kind.label(), .bucket = bucket, .runs = *report.runsByKind.find(kind)});
  }
  return entries;
}

// Chronological axes have few rows, so all of them are built before the list is cut.
std::vector<Entry> first(std::vector<Entry> entries, Limit limit) {
  if (limit && *limit < std::ssize(entries)) {
    entries.resize(static_cast<std::size_t>(std::max<std::int64_t>(*limit, 0)));
  }
  return entries;
}

template <TimeStep step>
std::vector<Entry> steps(const Report& report, const Calendar& calendar, Limit limit) {
  std::vector<Entry> entries;
  entries.reserve(report.by(step).size());
  for (const auto& [start, bucket] : inOrder(report.by(step))) {
    entries.push_back({.key = InternedText(nameOfStep(step, start, calendar)), .bucket = bucket});
  }
  return first(std::move(entries), limit);
}

std::vector<Entry> hours(const Report& report, const Calendar&, Limit limit) {
  std::vector<Entry> entries;
  entries.reserve(report.byHour.size());
  for (const auto& [hour, bucket] : inOrder(report.byHour)) {
    const std::string digits = absl::StrFormat("%02d", hour);
    entries.push_back(
        {.key = InternedText(digits), .name = InternedText(concat(digits, ":00")), .bucket = bucket});
  }
  return first(std::move(entries), limit);
}

template <auto Buckets>
std::int64_t sizeOf(const Report& report) {
  return static_cast<std::int64_t>((report.*Buckets).size());
}

template <TimeStep step>
std::int64_t countOf(const Report& report) {
  return static_cast<std::int64_t>(report.by(step).size());
}

struct AxisRow {
  Axis axis;
  std::string_view rawValue;
  std::string_view columnValue;
  std::string_view title;
  Noun noun;
  std::vector<Entry> (*rows)(const Report& report, const Calendar& calendar, Limit limit);
  std::int64_t (*count)(const Report& report);
  std::string_view note = {};
  bool ReportParts::*part = nullptr;  // the part that the report must contain; null if none
  std::optional<TimeStep> step = {};  // the time step that the report must contain, if any
  bool isChronological = false;
};

template <TimeStep step>
constexpr AxisRow ofStep(Axis axis, std::string_view name, std::string_view title, std::string_view plural,
                         std::string_view note) {
  return {axis, name, name, title, {name, plural}, steps<step>, countOf<step>, note, nullptr, step, true};
}

constexpr std::array<AxisRow, allAxes.size()> kAxes = {{
    {Axis::project,
     "project",
     "project",
     "BY PROJECT",
     {"project", "projects"},
     ranking<&Report::byProject>,
     sizeOf<&Report::byProject>,
     "",
     &ReportParts::projects},
    {Axis::rawCwd,
     "rawCwd",
     "raw_cwd",
     "BY RAW CWD",
     {"directory", "directories"},
     ranking<&Report::byRawCwd>,
     sizeOf<&Report::byRawCwd>,
     "raw cwd as written in the transcript, before any folding",
     &ReportParts::directories},
    {Axis::session,
     "session",
     "session",
     "BY SESSION",
     {"session", "sessions"},
     ranking<&Report::bySession>,
     sizeOf<&Report::bySession>,
     "",
     &ReportParts::sessions},
    {Axis::agent,
     "agent",
     "agent",
     "BY AGENT",
     {"agent", "agents"},
     agents,
     sizeOf<&Report::byAgent>,
     "",
     &ReportParts::agents},
    {Axis::model,
     "model",
     "model",
     "BY MODEL",
     {"model", "models"},
     ranking<&Report::byModel>,
     sizeOf<&Report::byModel>,
     "one model, across every project and agent in range"},
    ofStep<TimeStep::day>(Axis::day, "day", "BY DAY", "days",
                          "calendar day in the local time zone, as the aggregator counts it"),
    {Axis::hour,
     "hour",
     "hour",
     "BY HOUR",
     {"hour", "hours"},
     hours,
     sizeOf<&Report::byHour>,
     "hour of the local day, across the selected period",
     &ReportParts::hours,
     std::nullopt,
     true},
    {Axis::source,
     "source",
     "source_home",
     "BY SOURCE HOME",
     {"home", "homes"},
     ranking<&Report::bySource>,
     sizeOf<&Report::bySource>,
     "the Claude home directory the transcripts were read from"},
    ofStep<TimeStep::week>(Axis::week, "week", "BY WEEK", "weeks",
                           "ISO 8601 week of the local calendar, Monday to Sunday"),
    ofStep<TimeStep::month>(Axis::month, "month", "BY MONTH", "months",
                            "calendar month in the local time zone"),
    ofStep<TimeStep::block>(Axis::block, "block", "BY BLOCK", "blocks",
                            "five hours from the full local hour of the first request after the last block; "
                            "real limits are not in transcripts"),
    {Axis::kind,
     "kind",
     "kind",
     "BY KIND",
     {"kind", "kinds"},
     kinds,
     sizeOf<&Report::byKind>,
     "name read out of the agentId itself, or else the agent type noted beside the transcript",
     &ReportParts::kinds},
}};

constexpr const AxisRow& rowOf(Axis axis) {
  return kAxes.at(static_cast<std::size_t>(axis));
}
static_assert(allAxes.back() == Axis::kind, "transcriptAxes leaves out the last axis");
static_assert(std::ranges::all_of(allAxes, [](Axis axis) { return rowOf(axis).axis == axis; }));

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

Noun nounOf(Axis axis) {
  return rowOf(axis).noun;
}

bool isChronological(Axis axis) {
  return rowOf(axis).isChronological;
}

std::optional<TimeStep> stepOf(Axis axis) {
  return rowOf(axis).step;
}

std::string_view noteOf(Axis axis) {
  return rowOf(axis).note;
}

ReportParts neededFor(std::span<const Axis> axes) {
  ReportParts parts = ReportParts::only();
  for (const Axis axis : axes) {
    const AxisRow& row = rowOf(axis);
    if (row.step) {
      parts.steps[*row.step] = true;
    }
    if (row.part != nullptr) {
      parts.*row.part = true;
    }
    parts.origins |= axis == Axis::session || axis == Axis::agent;
  }
  return parts;
}

std::optional<Axis> axisNamed(std::string_view rawValue) {
  const auto* const row = std::ranges::find(kAxes, rawValue, &AxisRow::rawValue);
  return row == kAxes.end() ? std::nullopt : std::optional(row->axis);
}

std::vector<Entry> rows(const Report& report, Axis axis, const Calendar& calendar,
                        std::optional<std::int64_t> limit) {
  return rowOf(axis).rows(report, calendar, limit);
}

std::int64_t rowCount(const Report& report, Axis axis) {
  return rowOf(axis).count(report);
}

}  // namespace tallyfin
