#pragma once

#include "TallyfinCore/Answers/Tree.hpp"
#include "TallyfinCore/Exports/Sheet.hpp"

#include <cstddef>
#include <optional>

namespace tallyfin {

/// The tree of a session as rows, each agent below the one that started it. Shows the `most` most expensive
/// agents, with all above them (absent: all); the others that an agent started are one row with their number
/// and sum. The sheet has no range and notes yet. Refers to the tree, which must outlive it.
Sheet treeSheet(const Answers::Tree& tree, std::optional<std::size_t> most, const Calendar& calendar);

}  // namespace tallyfin
