#pragma once

// The axes of a report. The table in Axes.cpp is the only list of them: reports, answers, tables, documents,
// the page, the help and completion use it.

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

/// What each row of a breakdown represents.
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
  block,
  kind
};

/// All axes, in the order in which they are listed everywhere.
inline constexpr std::array<Axis, 12> allAxes = {Axis::project, Axis::rawCwd, Axis::session, Axis::agent,
                                                 Axis::model,   Axis::day,    Axis::hour,    Axis::source,
                                                 Axis::week,    Axis::month,  Axis::block,   Axis::kind};

/// The axes that transcripts alone fill: all but `kind`, which needs sidecars. A set of documents of all axes
/// has these.
inline constexpr std::span<const Axis> transcriptAxes = std::span(allAxes).first(allAxes.size() - 1);

/// The name that users type: "project", "rawCwd", ...
std::string_view rawValue(Axis axis);

/// The name in the `axis` column of documents and in file names: "raw_cwd", "source_home"; for other axes the
/// raw value.
std::string_view columnValue(Axis axis);

/// The heading in the summary: "BY PROJECT".
std::string_view title(Axis axis);

/// The word for a row in sentences.
struct Noun {
  std::string_view singular;
  std::string_view plural;
};
Noun nounOf(Axis axis);

/// Whether the rows are sorted by time instead of cost.
bool isChronological(Axis axis);

/// The time step that a row covers; absent for other axes. The hour is not a time step, because each of its
/// rows sums that hour over all days.
std::optional<TimeStep> stepOf(Axis axis);

/// A note that applies to every row of the axis; empty if there is none.
std::string_view noteOf(Axis axis);

/// The parts that a report needs so that these axes have rows and documents can fill the columns about each
/// row's origin.
ReportParts neededFor(std::span<const Axis> axes);

/// The axis with this raw value; absent if there is none.
std::optional<Axis> axisNamed(std::string_view rawValue);

/// One row of an axis. Owns no memory, because an axis may have one row per request.
struct Entry {
  InternedText key;
  InternedText name = key;                  ///< the label; agents use `agent` instead
  const Bucket* bucket = nullptr;           ///< valid while the report exists
  std::optional<AgentIdentity> agent = {};  ///< set only on the agent axis
  std::int64_t runs = 0;                    ///< only on the kind axis: `Report::runsByKind`

  /// The text shown to people for this key.
  std::string label() const { return agent ? agent->label() : std::string(name.text()); }
};

/// The rows of an axis: by time if it is chronological, otherwise by priced cost, highest first, and equal
/// costs by key. Returns the first `limit` rows (not negative), or all without a limit. The report must
/// outlive them.
std::vector<Entry> rows(const Report& report, Axis axis, const Calendar& calendar,
                        std::optional<std::int64_t> limit = {});

/// The number of rows that an axis has without a limit.
std::int64_t rowCount(const Report& report, Axis axis);

}  // namespace tallyfin
