#pragma once

// The days that a person means, on the road of the tools: whatever was typed becomes the arguments of which
// Period::parse makes the span.

#include "Tallyfin/Subcommand.hpp"
#include "TallyfinMCP/DataSource.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// Days as they were typed.
struct Days {
  std::optional<std::string> period;  ///< a word that the tools know: "7d"
  std::optional<TimePoint> from;  ///< else the start of the first day; absent with `through`: of all history
  std::optional<TimePoint> through;  ///< and of the last
  std::optional<std::string> label;  ///< the name of a preset: "Last month"
};

/// The options `period`, `from` and `to`, of which the first is a word that needs no name.
std::vector<Option> daysOptions(const std::string& fallback);

/// All words for `period` that are no number of days.
const std::vector<std::string>& periodWords();

/// Reads those options, in any letter case; `fallback` is the period when none is given. Throws UsageError
/// for what names no days, for a reversed range, and for a period beside dates.
Days daysOf(const Call& call, const std::string& fallback);

/// The days as arguments of a tool. Looks at the transcripts when the first day is that of all history.
JsonValue::Object toolArguments(const Days& days, DataSource& data);

/// The span of days.
Period periodOf(const Days& days, DataSource& data);

}  // namespace tallyfin::Command
