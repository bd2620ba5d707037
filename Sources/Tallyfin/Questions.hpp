#pragma once

// The server's tools as subcommands, with the names and options that the catalogue gives them.

#include "Platform/Json.hpp"
#include "Tallyfin/Subcommand.hpp"

#include <vector>

namespace tallyfin::Command {

/// One subcommand a tool, and `today`.
std::vector<Subcommand> questions();

/// The options that choose requests: by days, of which help calls `fallback` the default, and, with the texts
/// of the catalogue, those that narrow: --agent, --project and --session-id.
std::vector<Option> choosingOptions(const std::string& fallback);

/// Those of the narrowing options that were given, as arguments of a tool.
JsonValue::Object narrowingArguments(const Arguments& arguments);

}  // namespace tallyfin::Command
