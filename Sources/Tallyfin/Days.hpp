#pragma once

// The days that a person names on the command line, and the names to which a question is narrowed.

#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Answers/Filters.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// Days as they were typed.
struct Days {
  std::optional<std::string> period;  ///< a word of Period::named: "7d"
  /// Without `period`: start of the first day; absent: the first of the history.
  std::optional<TimePoint> from;
  std::optional<TimePoint> through;  ///< without `period`: start of the last day
  std::optional<std::string> label;  ///< the name of a preset: "Last month"
};

/// The options `period`, `from` and `to`. `period` may be given without its name; help calls `fallback` its
/// default.
std::vector<Option> daysOptions(const std::string& fallback);

/// Whether one of those options was given.
bool namesDays(const CallArguments& arguments);

/// Reads those options, in any letter case; `fallback` is the period when none is given. Throws UsageError
/// for a text that names no days, for a reversed range, and when both a period and dates are given.
Days daysOf(const Call& call, const std::string& fallback);

/// All words for `period` that are no number of days.
const std::vector<std::string>& periodWords();

/// The span of days. Looks at the transcripts when the first day is that of all history.
Period periodOf(const Days& days, DataSource& data);

/// The options that choose requests: by days, of which help calls `fallback` the default, and --agent,
/// --project and --session-id.
std::vector<Option> choosingOptions(const std::string& fallback);

/// What the last three narrow to. Throws std::runtime_error with what was wrong when a name does not come to
/// one key.
Filters filtersOf(const CallArguments& arguments, DataSource& data);

}  // namespace tallyfin::Command
