#pragma once

// What all subcommands share that show a sheet.

#include "Tallyfin/Days.hpp"
#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinCore/Exports/Sheet.hpp"

#include <string>
#include <vector>

namespace tallyfin::Command {

/// The option --json, which `show` obeys.
Option jsonOption();

/// The option --limit; `what` says which rows it keeps.
Option limitOption(const std::string& what);

/// Sets the range of a sheet and the filters that narrow it.
void setQuestion(Sheet& sheet, const Days& days, const Period& period, const Filters& filters);

/// The notes about the figures of a report: no requests, models without a price or with own prices, assumed
/// splits, losses. `disclaim` ends them.
std::vector<std::string> notesOn(const Report& report, const DataSource& data);
void disclaim(std::vector<std::string>& notes);

/// Prints the sheet as a table, or as a JSON document if the call has --json. Returns the exit status.
int show(const Sheet& sheet, const DataSource& data, const Call& call);

}  // namespace tallyfin::Command
