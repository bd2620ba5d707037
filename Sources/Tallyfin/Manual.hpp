#pragma once

// The manual page of the command, built from its text (Manual.mdoc) and the table of subcommands.

#include <string>

namespace tallyfin::Command {

/// The page in mdoc. A test ensures that docs/man/tallyfin.1 is equal to it.
std::string manual();

/// The text of Manual.mdoc. %COMMANDS%, %OPTIONS% and %HOMES% are placeholders for generated parts.
extern const char* const manualTemplate;

}  // namespace tallyfin::Command
