#pragma once

// The summary of a report, for people.

#include "TallyfinCore/Exports/Options.hpp"

#include <string>

namespace tallyfin::Exporter {

/// A text for mails and notes: the total, the first rows of the chosen axes, and the provenance. Columns line
/// up in a fixed-width font.
std::string clipboardSummary(const Report& report, const Options& options);

}  // namespace tallyfin::Exporter
