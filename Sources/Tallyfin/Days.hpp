#pragma once

// The days that a user names on the command line, and the names that narrow a question.

#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Answers/Filters.hpp"

#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Command {

/// The days as the user typed them.
struct Days {
  std::optional<std::string> period;  ///< a word that Period::named accepts: "7d"
  /// Only without `period`: start of the first day; absent: the first day of the history.
  std::optional<TimePoint> from;
  std::optional<TimePoint> through;  ///< only without `period`: start of the last day
  std::optional<std::string> label;  ///< the name of a preset: "Last month"
};

/// The options `period`, `from` and `to`. Users may omit the name of `period`. Help shows `fallback` as its
/// default.
std::vector<Option> daysOptions(const std::string& fallback);

/// Whether any of these options was given.
bool namesDays(const CallArguments& arguments);

/// Reads these options, in any letter case; `fallback` is the period if none was given. Throws UsageError for
/// a text that is not a day or period, for a reversed range, and if both a period and dates were given.
Days daysOf(const Call& call, const std::string& fallback);

/// All words that `period` accepts, except numbers of days.
const std::vector<std::string>& periodWords();

/// The range of days. Reads the transcripts if the range starts with the first day of the history.
Period periodOf(const Days& days, DataSource& data);

/// The options that select requests: the days (help shows `fallback` as the default), --agent, --project and
/// --session-id.
std::vector<Option> choosingOptions(const std::string& fallback);

/// The session with an id or the beginning of an id. "last" and an absent text mean the session of the last
/// request. Throws std::runtime_error with the reason if there is no such session, or more than one.
InternedText sessionOf(const std::optional<std::string>& text, DataSource& data);

/// The filters of --agent, --project and --session-id, which also accepts "last". Throws std::runtime_error
/// with the reason if a name does not match exactly one key.
Filters filtersOf(const CallArguments& arguments, DataSource& data);

}  // namespace tallyfin::Command
