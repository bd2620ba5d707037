#pragma once

// One axis of a report as JSON, for programs.

#include "TallyfinCore/Exports/Options.hpp"

#include <string>

namespace tallyfin::Exporter {

/// The rows of an axis in the format of docs/export.schema.json: numbers as JSON numbers, unknown values as
/// null. The document also lists the lost lines and the number of rows that the limit left out.
std::string breakdownJSON(const Report& report, Axis axis, const Options& options);

}  // namespace tallyfin::Exporter
