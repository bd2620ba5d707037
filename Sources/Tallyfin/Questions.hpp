#pragma once

// The server's tools as subcommands, with the names and options that the catalogue gives them.

#include "Platform/Json.hpp"
#include "Tallyfin/Subcommand.hpp"

#include <vector>

namespace tallyfin::Command {

/// One subcommand a tool, and `today`.
std::vector<Subcommand> questions();

/// The options that narrow: --agent, --project and --session-id, with the texts of the catalogue.
std::vector<Option> narrowingOptions();

/// Those of these options that were given, as arguments of a tool.
JsonValue::Object narrowingArguments(const Arguments& arguments);

}  // namespace tallyfin::Command
