#pragma once

// The manual page of the command, from its text (Manual.mdoc) and the table of subcommands.

#include <string>

namespace tallyfin::Command {

/// The page in mdoc, as docs/man/tallyfin.1 holds it; a test keeps the two equal.
std::string manual();

/// The text of Manual.mdoc, in which %COMMANDS%, %OPTIONS% and %HOMES% stand for what the program knows.
extern const char* const manualTemplate;

}  // namespace tallyfin::Command
