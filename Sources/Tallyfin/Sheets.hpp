#pragma once

// Shared by the subcommands that show a sheet.

#include "Tallyfin/Days.hpp"
#include "Tallyfin/Subcommand.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinCore/Exports/Sheet.hpp"

#include <string>
#include <vector>

namespace tallyfin::Command {

/// The option --json, which `show` obeys.
Option jsonOption();

/// The option --limit with this help.
Option limitOption(std::string help);

/// Sets the range and the filters of a sheet.
void setQuestion(Sheet& sheet, const Days& days, const Period& period, const Filters& filters);

/// Notes on the figures of a report: that there are no requests, models without a price or with own prices,
/// assumed splits of cache writes, and files that could not be read.
std::vector<std::string> notesOn(const Report& report, const DataSource& data);

/// Adds the last note: every figure is an estimate.
void disclaim(std::vector<std::string>& notes);

/// Prints the sheet as a table, or as a JSON document if the call has --json. Returns the exit status.
int show(const Sheet& sheet, const DataSource& data, const Call& call);

}  // namespace tallyfin::Command
