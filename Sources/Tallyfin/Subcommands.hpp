#pragma once

// The subcommands. Each is made in the source file of its name, a family in the file of the family.

#include "Tallyfin/Subcommand.hpp"
#include "Tallyfin/Tables.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Command {

/// All subcommands, in the order in which they are told. The first is the one that is meant when none is
/// named.
const std::vector<Subcommand>& subcommands();

/// The subcommand of that name, or null.
const Subcommand* subcommandNamed(std::string_view name);

/// The options that every subcommand takes, before its name as well.
const std::vector<Option>& commonOptions();

/// `status`: one line for a status bar.
Subcommand status();

/// `budget`: whether an amount was exceeded, as an exit status.
Subcommand budget();

/// `prices`: the price list, the models without a price, and the lines that would give them one.
Subcommand prices();

/// `verify`: whether the cache holds what the transcripts say.
Subcommand verify();

/// `scan`: a full read of all transcripts, timed.
Subcommand scan();

/// The server's tools, one subcommand each, and `today`. They print the server's texts; their file is the
/// only one of the command that knows the server.
std::vector<Subcommand> serverTexts();

/// `export`: one subcommand a kind of document.
std::vector<Subcommand> exports();

/// The names of all axes of documents and tables: "project", "rawCwd", ...
std::vector<std::string> axisNames();

}  // namespace tallyfin::Command
