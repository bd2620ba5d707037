#pragma once

// The tools, one function each: arguments in, plain text out. A tool that cannot answer throws MCPError; its
// message is the whole answer then.

#include "TallyfinCore/Answers/Filters.hpp"
#include "TallyfinCore/Figures/Axes.hpp"
#include "TallyfinMCP/Arguments.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin::Tools {

/// Today's cost, the current rate, the spenders and the history. Never throws.
std::string overview(DataSource& data, const Arguments& given);

/// The cost of a period, broken down along one axis.
std::string cost(DataSource& data, const Arguments& given);

/// `breakdownNames` returns the names of the axes of `cost`, the default first. `breakdownAxes` returns them
/// as part of a sentence, some with a remark: "`day` (default), `hour` (single day only), `agent`".
std::vector<std::string> breakdownNames();
std::string breakdownAxes();

/// Agents by cost, each with its session and project.
std::string topAgents(DataSource& data, const Arguments& given);

/// Projects by cost, each with its agents.
std::string topProjects(DataSource& data, const Arguments& given);

/// Models by cost, each with its agents.
std::string byModel(DataSource& data, const Arguments& given);

/// The history of one session. A name that matches several or none is a normal answer.
std::string session(DataSource& data, const Arguments& given);

/// The history of one agent. A name that matches several or none is a normal answer.
std::string agent(DataSource& data, const Arguments& given);

/// The files and lines behind a figure, and what was lost while reading them.
std::string provenance(DataSource& data, const Arguments& given);

/// The state of the data. Takes no arguments and never throws.
std::string sources(DataSource& data, const Arguments& given);

// Shared by the tools.

/// The period of `period`, `from` and `to`. Throws MCPError, which lists what is accepted.
Period periodOf(const Arguments& given, const DataSource& data);

/// The filters of `agent`, `project` and `session_id`. Throws MCPError at the first name that does not match
/// exactly one key.
Filters filtersOf(const Arguments& given, DataSource& data);

/// The candidates, one per line.
std::string listed(const SeveralNames& names);

/// The first lines of an answer: title, period, and the filters if there are any.
std::string header(std::string_view title, const Period& period, const Filters& filters);

/// The rows of a list: label and bucket. The buckets must outlive the rows.
using Rows = std::vector<std::pair<std::string, const Bucket*>>;

/// The rows of a ranking: agents by short name, other keys by their text.
Rows rowsOf(const Ranking<AgentIdentity>& agents);
Rows rowsOf(const Ranking<InternedText>& keys);

/// The days of a report, newest first.
Rows dayRows(const Report& report, const Calendar& calendar);

/// One line per row; if there are none, the line "  unknown — " followed by `empty`.
std::string list(const Rows& rows, std::string_view empty);

/// The last lines of an answer: an empty line, the reasons why the figures are preliminary or partial, and
/// the disclaimer. `shown` is the cost of all that the answer shows; pass it if that is more than the report.
std::string footer(const Report& report, const Period& period, const CostEstimate& shown);
std::string footer(const Report& report, const Period& period);

/// The first ten unreadable files, one indented line each. The caller prints their total number.
std::string unreadable(const ScanDiagnostics& seen, const ProjectResolver& paths);

/// "12 requests · 3.4M tokens".
std::string volume(const Bucket& bucket);

/// The models of a bucket, or "unknown" if there are none.
std::string modelsOf(const Bucket& bucket);

/// The key, or "unknown".
std::string orUnknown(const std::optional<InternedText>& key);

/// The text of a roster entry, or "unknown".
std::string orUnknown(const std::optional<std::string>& text);

}  // namespace tallyfin::Tools
