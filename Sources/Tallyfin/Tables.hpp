#pragma once

#include "Tallyfin/Subcommand.hpp"

#include <vector>

namespace tallyfin::Command {

/// The subcommands `daily`, `weekly`, `monthly`, `blocks` and `table`: a row a period or a key.
std::vector<Subcommand> tables();

}  // namespace tallyfin::Command
