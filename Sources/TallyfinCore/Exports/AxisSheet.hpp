#pragma once

// The rows of an axis as a sheet.

#include "TallyfinCore/Exports/Sheet.hpp"
#include "TallyfinCore/Figures/Axes.hpp"

#include <vector>

namespace tallyfin {

/// A sheet with a row for each entry and the total of the report. An entry without a bucket is a row in whose
/// time nothing happened. Range, filters and notes are for the caller to add.
Sheet axisSheet(const Report& report, Axis axis, std::vector<Entry> entries, const Calendar& calendar);

}  // namespace tallyfin
