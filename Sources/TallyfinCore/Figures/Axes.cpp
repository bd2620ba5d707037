#include "TallyfinCore/Figures/Axes.hpp"

#include "Platform/Concat.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <utility>

namespace tallyfin {
namespace {

using Limit = std::optional<std::int64_t>;

// The rows of an axis that is ranked by cost.
template <auto Buckets>
std::vector<Entry> ranking(const Report& report, const Calendar&, Limit limit) {
  std::vector<Entry> entries;
  for (const auto& [key, bucket] : ranked(report.*Buckets, limit)) {
    entries.push_back({std::string(key.text()), std::string(key.text()), bucket});
  }
  return entries;
}

std::vector<Entry> agents(const Report& report, const Calendar&, Limit limit) {
  std::vector<Entry> entries;
  for (const auto& [agent, bucket] : rankedAgents(report.byAgent, limit, true)) {
    entries.push_back({std::string(agent.description()), agent.label(), bucket, agent});
  }
  return entries;
}

template <TimeStep step>
std::vector<Entry> steps(const Report& report, const Calendar& calendar, Limit) {
  std::vector<Entry> entries;
  for (const auto& [start, bucket] : inOrder(report.by(step))) {
    const std::string name = nameOfStep(step, start, calendar);
    entries.push_back({name, name, bucket});
  }
  return entries;
}

std::vector<Entry> hours(const Report& report, const Calendar&, Limit) {
  std::vector<Entry> entries;
  for (const auto& [hour, bucket] : inOrder(report.byHour)) {
    const std::string digits = absl::StrFormat("%02d", hour);
    entries.push_back({digits, concat(digits, ":00"), bucket});
  }
  return entries;
}

struct AxisRow {
  Axis axis;
  std::string_view rawValue;
  std::string_view columnValue;
  std::string_view title;
  std::vector<Entry> (*rows)(const Report& report, const Calendar& calendar, Limit limit);
  std::string_view note = {};
  std::optional<TimeStep> step = {};
  bool isChronological = false;
};

template <TimeStep step>
constexpr AxisRow ofStep(Axis axis, std::string_view name, std::string_view title, std::string_view note) {
  return {axis, name, name, title, steps<step>, note, step, true};
}

constexpr std::array<AxisRow, allAxes.size()> kAxes = {{
    {Axis::project, "project", "project", "BY PROJECT", ranking<&Report::byProject>},
    {Axis::rawCwd, "rawCwd", "raw_cwd", "BY RAW CWD", ranking<&Report::byRawCwd>,
     "raw cwd as written in the transcript, before any folding"},
    {Axis::session, "session", "session", "BY SESSION", ranking<&Report::bySession>},
    {Axis::agent, "agent", "agent", "BY AGENT", agents},
    {Axis::model, "model", "model", "BY MODEL", ranking<&Report::byModel>,
     "one model, across every project and agent in range"},
    ofStep<TimeStep::day>(Axis::day, "day", "BY DAY",
                          "calendar day in the local time zone, as the aggregator counts it"),
    {Axis::hour, "hour", "hour", "BY HOUR", hours, "hour of the local day, across the selected period",
     std::nullopt, true},
    {Axis::source, "source", "source_home", "BY SOURCE HOME", ranking<&Report::bySource>,
     "the Claude home directory the transcripts were read from"},
    ofStep<TimeStep::week>(Axis::week, "week", "BY WEEK",
                           "ISO 8601 week of the local calendar, Monday to Sunday"),
    ofStep<TimeStep::month>(Axis::month, "month", "BY MONTH", "calendar month in the local time zone"),
    ofStep<TimeStep::block>(Axis::block, "block", "BY BLOCK",
                            "five hours from the full local hour of the first request after the last block; "
                            "real limits are not in transcripts"),
}};

constexpr const AxisRow& rowOf(Axis axis) {
  return kAxes.at(static_cast<std::size_t>(axis));
}
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
  ReportParts parts;
  for (const Axis axis : axes) {
    if (const std::optional<TimeStep> step = stepOf(axis)) {
      parts.steps[*step] = true;
    }
    parts.hours |= axis == Axis::hour;
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

}  // namespace tallyfin
