#pragma once

// The subcommands. Each is defined in the source file with its name; related ones share a file.

#include "Tallyfin/Subcommand.hpp"
#include "Tallyfin/Tables.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Command {

/// All subcommands, in the order of the help. The first is the default.
const std::vector<Subcommand>& subcommands();

/// The subcommand with this name; null if there is none.
const Subcommand* subcommandNamed(std::string_view name);

/// The options of every subcommand. They may also be given before its name.
const std::vector<Option>& commonOptions();

/// `sessions`: the sessions of a period.
Subcommand sessionList();

/// `tree`: who started whom in a session.
Subcommand agentTree();

/// `status`: one line for a status bar.
Subcommand status();

/// `budget`: reports by exit status whether an amount was exceeded.
Subcommand budget();

/// `prices`: the price list, the models without a price, and price file lines for these models.
Subcommand prices();

/// `verify`: checks the cache against the transcripts.
Subcommand verify();

/// `scan`: reads all transcripts and prints the time.
Subcommand scan();

/// `today` and one subcommand per tool of the server. They print the server's texts. Only ServerTexts.cpp
/// depends on the server.
std::vector<Subcommand> serverTexts();

/// `export`: one subcommand per kind of document.
std::vector<Subcommand> exports();

/// The names of all axes of documents and tables: "project", "rawCwd", ...
std::vector<std::string> axisNames();

}  // namespace tallyfin::Command
