#pragma once

// `tallyfin verify` and `tallyfin scan`: whether the measurement holds.

#include "Tallyfin/Subcommand.hpp"

namespace tallyfin::Command {

Subcommand verification();
Subcommand scan();

}  // namespace tallyfin::Command
