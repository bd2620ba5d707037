#pragma once

// The manual page of the command, from the table of subcommands.

#include <string>

namespace tallyfin::Command {

/// The page in mdoc, as docs/man/tallyfin.1 holds it; a test keeps the two equal.
std::string manual();

}  // namespace tallyfin::Command
