#pragma once

// The axes along which sums are cut. The table in Axes.cpp is the only list of them: reports, answers,
// tables, documents, the page, help and completion read it.

#include "TallyfinCore/Figures/Report.hpp"
#include "TallyfinCore/Figures/TimeSteps.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// What a row stands for.
enum class Axis : std::uint8_t {
  project,
  rawCwd,
  session,
  agent,
  model,
  day,
  hour,
  source,
  week,
  month,
  block
};

/// All axes in their order.
inline constexpr std::array<Axis, 11> allAxes = {Axis::project, Axis::rawCwd, Axis::session, Axis::agent,
                                                 Axis::model,   Axis::day,    Axis::hour,    Axis::source,
                                                 Axis::week,    Axis::month,  Axis::block};

/// The name of an axis, as it is typed: "project", "rawCwd", ...
std::string_view rawValue(Axis axis);

/// Its name in the column `axis` of documents and in file names: "raw_cwd", "source_home", otherwise the raw
/// value.
std::string_view columnValue(Axis axis);

/// Its title in the summary: "BY PROJECT".
std::string_view title(Axis axis);

/// What a row of it is called in a sentence, of one and of several.
struct Noun {
  std::string_view singular;
  std::string_view plural;
};
Noun nounOf(Axis axis);

/// Whether its rows stand in order of time instead of cost.
bool isChronological(Axis axis);

/// The step of time that a row covers; absent for other axes. The hour of the day is not a step, since it
/// folds all days.
std::optional<TimeStep> stepOf(Axis axis);

/// Why a row stands under its key, where every row of the axis has the same reason; otherwise empty.
std::string_view noteOf(Axis axis);

/// What a report must hold for these axes to have rows, and for documents to tell where each row belongs.
ReportParts neededFor(std::span<const Axis> axes);

/// The axis of a raw value; absent for any other text.
std::optional<Axis> axisNamed(std::string_view rawValue);

/// One key of an axis with its sums. It owns no memory, since an axis may have a row for each request.
struct Entry {
  InternedText key;
  InternedText name = key;                  ///< the label, except for an agent
  const Bucket* bucket = nullptr;           ///< lives as long as the report
  std::optional<AgentIdentity> agent = {};  ///< on the axis of agents alone

  /// What people are shown for the key.
  std::string label() const { return agent ? agent->label() : std::string(name.text()); }
};

/// The rows of an axis: by time on a chronological one, else the highest priced cost first and equal costs by
/// key. The first `limit` of them, which must not be negative, or all. The report must outlive them.
std::vector<Entry> rows(const Report& report, Axis axis, const Calendar& calendar,
                        std::optional<std::int64_t> limit = {});

/// How many rows an axis has without a limit.
std::int64_t rowCount(const Report& report, Axis axis);

}  // namespace tallyfin
