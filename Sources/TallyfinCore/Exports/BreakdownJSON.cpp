#include "TallyfinCore/Exports/BreakdownJSON.hpp"

#include "TallyfinCore/Exports/AxisSheet.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "TallyfinCore/Exports/SheetJSON.hpp"

#include <cstddef>

namespace tallyfin::Exporter {

std::string breakdownJSON(const Report& report, Axis axis, const Options& options) {
  Sheet sheet =
      axisSheet(report, axis, rows(report, axis, options.calendar, options.limitPerAxis), options.calendar);
  sheet.rowsLeftOut = static_cast<std::size_t>(rowCount(report, axis)) - sheet.rowCount;
  sheet.range = {periodDescription(report, options, Stamps(options.calendar)), options.from, options.to};
  sheet.filters = {{"agent", options.narrowing.agent},
                   {"project", options.narrowing.project},
                   {"session", options.narrowing.session}};
  return sheetJSON(sheet, report.diagnostics, options.generatedAt);
}

}  // namespace tallyfin::Exporter
