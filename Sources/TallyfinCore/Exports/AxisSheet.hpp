#pragma once

// The rows of an axis as a sheet.

#include "TallyfinCore/Exports/Sheet.hpp"
#include "TallyfinCore/Figures/Axes.hpp"

#include <vector>

namespace tallyfin {

/// A sheet with one row per entry and the report's total. An entry without a bucket becomes a row for a time
/// without requests. The caller adds range, filters and notes.
Sheet axisSheet(const Report& report, Axis axis, std::vector<Entry> entries, const Calendar& calendar);

}  // namespace tallyfin
