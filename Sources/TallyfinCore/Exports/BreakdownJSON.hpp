#pragma once

// The breakdown of a report along one axis as JSON, for programs.

#include "TallyfinCore/Exports/Options.hpp"

#include <string>

namespace tallyfin::Exporter {

/// The rows of an axis in the form of docs/export.schema.json: numbers as numbers, what is not known as null.
/// Also says which lines were lost and how many rows are left out.
std::string breakdownJSON(const Report& report, Axis axis, const Options& options);

}  // namespace tallyfin::Exporter
