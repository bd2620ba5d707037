#pragma once

// What all documents share: what they say beside the report, and how they write days and times.
//
//   Exporter::Options options{.generatedAt = now, .calendar = Environment::ofProcess().calendar};
//   options.sourceFiles = cache.recordsPerFile();
//   write(Exporter::suggestedFileName(Exporter::Document::breakdown(Axis::project), options),
//         Exporter::breakdownCSV(report, Axis::project, options));
//
// A document that cannot tell something says so in words, in JSON as null with a reason; it never writes 0 or
// an empty cell for it. Nothing fails. Documents are UTF-8 whatever bytes paths hold; lines end with a line
// feed; nothing depends on locale, clock or zone of the process.

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

/// Stands in a column that does not apply on the axis of the table.
inline constexpr std::string_view notBrokenDown = "(not broken down)";

/// The currency of every amount.
inline constexpr std::string_view currencyCode = "USD";

/// What a report was narrowed to: keys of rows on these axes.
struct Narrowing {
  std::optional<std::string> agent = {};
  std::optional<std::string> project = {};
  std::optional<std::string> session = {};
};

/// What the documents say beside the report. The caller sets every field that is to say something.
struct Options {
  std::optional<std::string> periodLabel = {};    ///< the name of the selected period
  std::optional<TimePoint> from = {};             ///< start of the first day of the selected period
  std::optional<TimePoint> to = {};               ///< start of its last day
  TimePoint generatedAt;                          ///< when the document is made
  Calendar calendar;                              ///< of all dates in the documents
  std::optional<std::int64_t> limitPerAxis = {};  ///< at most so many rows of a breakdown; not negative
  std::vector<FileProvenance> sourceFiles = {};   ///< ScanCache::recordsPerFile(), or empty
  RecordFilter recordFilter = {};                 ///< which records of those files count
  Narrowing narrowing = {};            ///< what `recordFilter` narrows to, for a JSON document to say
  PriceList prices = {};               ///< the prices of the report, to sum those files with
  bool byteOrderMark = false;          ///< whether a CSV begins with U+FEFF
  std::vector<Axis> summaryAxes = {};  ///< the axes of the summary, in its order
  std::int64_t summaryRowLimit = 0;    ///< rows an axis there; not negative
};

/// The date formats of one document.
class Stamps {
 public:
  explicit Stamps(const Calendar& calendar) : calendar_(calendar) {}

  /// "2026-05-04"
  std::string day(TimePoint time) const { return calendar_.formatDay(time); }

  /// "2026-05-04T17:42:10+02:00"; "Z" for an offset of zero.
  std::string instant(TimePoint time) const { return calendar_.formatInstant(time); }

 private:
  Calendar calendar_;
};

}  // namespace tallyfin::Exporter
