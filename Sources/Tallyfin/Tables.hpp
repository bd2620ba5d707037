#pragma once

#include "Tallyfin/Subcommand.hpp"

#include <vector>

namespace tallyfin::Command {

/// The subcommands `daily`, `weekly`, `monthly`, `blocks` and `table`, which print one row per period or key.
std::vector<Subcommand> tables();

}  // namespace tallyfin::Command
