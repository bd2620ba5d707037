#pragma once

// The parts that all documents share: the data that they print besides the report, and the formats of days
// and times.
//
//   Exporter::Options options{.generatedAt = now, .calendar = Environment::ofProcess().calendar};
//   options.sourceFiles = cache.recordsPerFile();
//   write(Exporter::suggestedFileName(Exporter::Document::breakdown(Axis::project), options),
//         Exporter::breakdownCSV(report, Axis::project, options));
//
// No document shows an unknown value as 0 or as an empty cell. A JSON document has null and the reason
// instead; every other document has words. The functions that make documents do not fail. Documents are valid
// UTF-8, even if a path is not. Lines end with a line feed. Documents do not depend on the locale, the clock
// or the time zone of the process.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Figures/Axes.hpp"
#include "TallyfinCore/Figures/RecordSelection.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

using tallyfin::Axis;
using tallyfin::Entry;
using tallyfin::rows;

/// The text of a cost cell if the cost is unknown.
inline constexpr std::string_view unknown = UnknownReason::placeholder;

/// The text of a cell in a column that does not apply to the axis of the table.
inline constexpr std::string_view notBrokenDown = "(not broken down)";

/// The currency of every amount.
inline constexpr std::string_view currencyCode = "USD";

/// The filters of a report: the agent, project and session whose requests it counts. Absent: not filtered.
struct Narrowing {
  std::optional<std::string> agent = {};
  std::optional<std::string> project = {};
  std::optional<std::string> session = {};
};

/// The data that documents print besides the report.
struct Options {
  std::optional<std::string> periodLabel = {};    ///< name of the selected period; absent: its days
  std::optional<TimePoint> from = {};             ///< start of the first day; absent: no lower bound
  std::optional<TimePoint> to = {};               ///< start of the last day; absent: no upper bound
  TimePoint generatedAt;                          ///< time at which the document is made
  Calendar calendar;                              ///< zone of all days and times in documents
  std::optional<std::int64_t> limitPerAxis = {};  ///< most rows per breakdown, >= 0; absent: all
  std::vector<FileProvenance> sourceFiles = {};   ///< ScanCache::recordsPerFile(); empty: unknown
  RecordFilter recordFilter = {};                 ///< selects the report's requests; empty: all
  Narrowing narrowing = {};                       ///< the keys that `recordFilter` selects; JSON only
  PriceList prices = {};                          ///< of the report; for the costs of source files
  bool byteOrderMark = false;                     ///< whether a CSV begins with U+FEFF
  std::vector<Axis> summaryAxes = {};             ///< axes of the summary, in this order
  std::int64_t summaryRowLimit = 0;               ///< most rows per axis of the summary, >= 0
};

/// Formats days and times as documents show them.
class Stamps {
 public:
  explicit Stamps(const Calendar& calendar) : calendar_(calendar) {}

  /// "2026-05-04"
  std::string day(TimePoint time) const { return calendar_.formatDay(time); }

  /// "2026-05-04T17:42:10+02:00"; "Z" if the offset is zero.
  std::string instant(TimePoint time) const { return calendar_.formatInstant(time); }

 private:
  Calendar calendar_;
};

}  // namespace tallyfin::Exporter
