#pragma once

// `tallyfin verify`, `tallyfin scan` and `tallyfin prices`: whether the measurement holds.

#include "Tallyfin/Subcommand.hpp"

namespace tallyfin::Command {

Subcommand verification();
Subcommand scan();
Subcommand prices();

}  // namespace tallyfin::Command
