#pragma once

// The tools, one function each: arguments in, plain text out. What a tool cannot do it throws as MCPError;
// the message is then the whole answer.

#include "TallyfinCore/Answers/Filters.hpp"
#include "TallyfinCore/Figures/Axes.hpp"
#include "TallyfinMCP/Arguments.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin::Tools {

/// What today cost, at which rate, who spent it, and the history behind it. Never throws.
std::string overview(DataSource& data, const Arguments& given);

/// What a period cost, broken down along one axis.
std::string cost(DataSource& data, const Arguments& given);

/// The names of the axes of `cost`, the default first, and the same in a sentence, some with a remark: "`day`
/// (default), `hour` (single day only), `agent`".
std::vector<std::string> breakdownNames();
std::string breakdownAxes();

/// Agents by cost, with what each worked on.
std::string topAgents(DataSource& data, const Arguments& given);

/// Projects by cost, with the agents behind each.
std::string topProjects(DataSource& data, const Arguments& given);

/// Models by cost, with the agents behind each.
std::string byModel(DataSource& data, const Arguments& given);

/// The thread of one session. Candidates and misses are normal answers.
std::string session(DataSource& data, const Arguments& given);

/// The thread of one agent. Candidates and misses are normal answers.
std::string agent(DataSource& data, const Arguments& given);

/// The files and lines behind a figure, and what was lost on the way to it.
std::string provenance(DataSource& data, const Arguments& given);

/// The health of the measurement. Takes no arguments and never throws.
std::string sources(DataSource& data, const Arguments& given);

// What the tools share.

/// The span that `period`, `from` and `to` name. Throws MCPError with what is accepted.
Period periodOf(const Arguments& given, const DataSource& data);

/// What `agent`, `project` and `session_id` narrow to. Throws MCPError at the first that does not come to one
/// key.
Filters filtersOf(const Arguments& given, DataSource& data);

/// Candidates as a tool lists them, a line each.
std::string listed(const SeveralNames& names);

/// The first lines of an answer: title and period, then the filters if there are any.
std::string header(std::string_view title, const Period& period, const Filters& filters);

/// Rows of a list: a label and its bucket, which must outlive the rows.
using Rows = std::vector<std::pair<std::string, const Bucket*>>;

/// The rows of a ranking: agents by their short name, anything else by its text.
Rows rowsOf(const Ranking<AgentIdentity>& agents);
Rows rowsOf(const Ranking<InternedText>& keys);

/// The days of a report, newest first.
Rows dayRows(const Report& report, const Calendar& calendar);

/// One line a row; without rows the line "  unknown — " and `empty`.
std::string list(const Rows& rows, std::string_view empty);

/// The closing lines: an empty one, what makes the figures preliminary or partial, the disclaimer. `shown` is
/// the cost of all that the answer shows, where that is more than the report.
std::string footer(const Report& report, const Period& period, const CostEstimate& shown);
std::string footer(const Report& report, const Period& period);

/// The first ten files that could not be read, an indented line each. How many there are in all is for the
/// caller to say.
std::string unreadable(const ScanDiagnostics& seen, const ProjectResolver& paths);

/// "12 requests · 3.4M tokens".
std::string volume(const Bucket& bucket);

/// The models of a bucket, or "unknown".
std::string modelsOf(const Bucket& bucket);

/// A key, or "unknown".
std::string orUnknown(const std::optional<InternedText>& key);

/// A text of a roster entry, or "unknown".
std::string orUnknown(const std::optional<std::string>& text);

}  // namespace tallyfin::Tools
