#pragma once

// `tallyfin export`: reports as documents for other programs and people.

#include "Tallyfin/Subcommand.hpp"

#include <vector>

namespace tallyfin::Command {

/// One subcommand a kind of document.
std::vector<Subcommand> documents();

/// The names of all axes of documents and tables: "project", "rawCwd", ...
std::vector<std::string> axisNames();

}  // namespace tallyfin::Command
