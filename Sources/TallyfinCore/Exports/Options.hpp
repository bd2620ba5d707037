#pragma once

// What all documents share: the data they print besides the report, and the formats of days and times.
//
//   Exporter::Options options{.generatedAt = now, .calendar = Environment::ofProcess().calendar};
//   options.sourceFiles = cache.recordsPerFile();
//   write(Exporter::suggestedFileName(Exporter::Document::breakdown(Axis::project), options),
//         Exporter::breakdownCSV(report, Axis::project, options));
//
// A document never writes 0 or an empty cell for an unknown value. It writes words; JSON has null and a
// reason. None of these functions fails. Documents are UTF-8 even if paths are not, lines end with a line
// feed, and nothing depends on the locale, clock or time zone of the process.

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

/// Printed in a cost cell when the cost is unknown.
inline constexpr std::string_view unknown = UnknownReason::placeholder;

/// Printed in a column that does not apply to the table's axis.
inline constexpr std::string_view notBrokenDown = "(not broken down)";

/// The currency of every amount.
inline constexpr std::string_view currencyCode = "USD";

/// The row keys to which a report was narrowed, by axis.
struct Narrowing {
  std::optional<std::string> agent = {};
  std::optional<std::string> project = {};
  std::optional<std::string> session = {};
};

/// What documents print besides the report. A document leaves out what the caller does not set.
struct Options {
  std::optional<std::string> periodLabel = {};    ///< the name of the selected period
  std::optional<TimePoint> from = {};             ///< start of the period's first day
  std::optional<TimePoint> to = {};               ///< start of the period's last day
  TimePoint generatedAt;                          ///< when the document was made
  Calendar calendar;                              ///< for all dates in the documents
  std::optional<std::int64_t> limitPerAxis = {};  ///< most rows per breakdown; not negative
  std::vector<FileProvenance> sourceFiles = {};   ///< ScanCache::recordsPerFile(), or empty
  RecordFilter recordFilter = {};                 ///< selects the records of those files that count
  Narrowing narrowing = {};                       ///< what `recordFilter` selects, for JSON documents
  PriceList prices = {};                          ///< the report's prices, to sum those files
  bool byteOrderMark = false;                     ///< whether a CSV starts with U+FEFF
  std::vector<Axis> summaryAxes = {};             ///< the axes of the summary, in order
  std::int64_t summaryRowLimit = 0;               ///< rows per axis of the summary; not negative
};

/// The date formats of a document.
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
