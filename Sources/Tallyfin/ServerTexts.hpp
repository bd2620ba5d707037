#pragma once

// The server's tools as subcommands that print the server's texts. The only file of the command that knows
// the server.

#include "Tallyfin/Subcommand.hpp"

#include <vector>

namespace tallyfin::Command {

/// One subcommand a tool, and `today`.
std::vector<Subcommand> serverTexts();

}  // namespace tallyfin::Command
