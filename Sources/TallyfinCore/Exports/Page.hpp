#pragma once

// A report as one HTML page to view and to send. Style and drawings are inside; there are no scripts and no
// requests to other servers. The page shows figures of the report and its time cuts and calculates none
// itself. Layout and style are in Page/page.html and Page/page.css, which the build embeds in the library.

#include "TallyfinCore/Exports/Options.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <span>
#include <string>

namespace tallyfin::Exporter {

/// The page of a report: UTF-8, at most a few hundred kilobytes. Long tables are cut, with a note. `records`
/// must be the list from which `aggregator` made the report, with the range and filter of the options. The
/// report needs no optional parts (`ReportParts::only()`): the page makes its own reports for the parts it
/// shows, one at a time. Never fails.
std::string page(const Report& report, const Aggregator& aggregator, const RecordList& records,
                 const Options& options);

}  // namespace tallyfin::Exporter
