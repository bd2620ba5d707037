#pragma once

// One line for a status bar, and the answer whether a budget holds.

#include "Tallyfin/Subcommand.hpp"

namespace tallyfin::Command {

Subcommand statusLine();
Subcommand budget();

}  // namespace tallyfin::Command
