#pragma once

#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Exports/Sheet.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <string>

namespace tallyfin::Exporter {

/// The JSON document of a sheet (docs/export.schema.json): its range, filters and rows, what the read lost,
/// and when it was made. Ends in a line feed.
std::string sheetJSON(const Sheet& sheet, const ScanDiagnostics& seen, TimePoint generatedAt);

}  // namespace tallyfin::Exporter
