#pragma once

// `tallyfin export`: reports as documents for other programs and people.

#include "Tallyfin/Subcommand.hpp"

#include <vector>

namespace tallyfin::Command {

/// One subcommand a kind of document.
std::vector<Subcommand> documents();

}  // namespace tallyfin::Command
