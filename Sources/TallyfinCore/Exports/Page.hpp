#pragma once

// A report as one page to look at and to send: HTML with its style and drawings inside, without script, that
// asks for nothing from anywhere. It shows figures of the report and of its cuts and works out none of its
// own. Layout and style are Page/page.html and Page/page.css, which the build puts into the library.

#include "TallyfinCore/Exports/Options.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <span>
#include <string>

namespace tallyfin::Exporter {

/// The page of a report, UTF-8 of at most some hundred kilobytes: long tables are cut, and say so. `records`
/// is what `aggregator` made the report of, for the range and filter of the options. The report needs none of
/// the parts that can be left out (`ReportParts::only()`): the page makes reports of its own for those that
/// it shows, one at a time. Nothing fails.
std::string page(const Report& report, const Aggregator& aggregator, const RecordList& records,
                 const Options& options);

}  // namespace tallyfin::Exporter
