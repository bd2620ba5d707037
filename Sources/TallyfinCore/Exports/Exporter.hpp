#pragma once

// Documents that leave the program: a table per axis as CSV or JSON, an account of where the figures come
// from as CSV, and a summary for a person. What cannot be filled says so in words, in JSON as null with a
// reason; it is never 0 or empty.
//
//   Exporter::Options options{.generatedAt = now, .calendar = Calendar::local()};
//   options.sourceFiles = cache.recordsPerFile();
//   write(Exporter::suggestedFileName(Exporter::Document::breakdown(Exporter::Axis::project), options),
//         Exporter::breakdownCSV(report, Exporter::Axis::project, options));
//
// Nothing fails. Documents are UTF-8 whatever bytes paths hold; lines end with a line feed; nothing depends
// on locale, clock or zone of the process.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Figures/Axes.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "TallyfinCore/Figures/RecordSelection.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "absl/functional/function_ref.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
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

/// The currency of every amount, and the decimals of an amount in a CSV.
inline constexpr std::string_view currencyCode = "USD";
inline constexpr int moneyDecimalsCSV = CostCells::decimals;

/// The header of a breakdown.
extern const std::array<std::string_view, 26> breakdownColumns;

/// The header of a provenance document.
inline constexpr std::array<std::string_view, 4> provenanceColumns = {"section", "item", "value", "note"};

/// Which document is meant: the breakdown of an axis, or the provenance document.
class Document {
 public:
  static Document breakdown(Axis axis) { return Document(axis); }
  static Document provenance() { return Document(std::nullopt); }

  /// The axis of a breakdown; absent for the provenance document.
  std::optional<Axis> axis() const { return axis_; }

  friend bool operator==(const Document&, const Document&) = default;

 private:
  explicit Document(std::optional<Axis> axis) : axis_(axis) {}

  std::optional<Axis> axis_;
};

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

/// A breakdown and its axis.
struct AxisCSV {
  Axis axis;
  std::string csv;
};

/// The sections of a provenance document, in the order in which they appear in it.
enum class Section : std::uint8_t {
  report,
  figure,
  scan,
  home,
  sourceFile,
  unification,
  loss,
  assumption,
  attribution
};

/// The name of a section: "report", "source file", ...
std::string_view rawValue(Section section);

/// One line of a provenance document.
struct ProvenanceLine {
  std::string section;  ///< the name of a Section
  std::string item;
  std::string value;
  std::string note;  ///< may be empty

  friend bool operator==(const ProvenanceLine&, const ProvenanceLine&) = default;
};

// Breakdown

/// The table of an axis with its header. An axis without rows gives the header alone.
std::string breakdownCSV(const Report& report, Axis axis, const Options& options);

/// Gives the same table to `out` in pieces of whole lines, since it may be larger than the report.
void writeBreakdownCSV(const Report& report, Axis axis, const Options& options,
                       absl::FunctionRef<void(std::string_view)> out);

/// The tables of all axes that have rows; those of ReportParts are among them only in a report that
/// holds them.
std::vector<AxisCSV> allBreakdownCSVs(const Report& report, const Options& options);

/// The same rows as one JSON document, in the form of docs/export.schema.json: numbers as numbers, what is
/// not known as null. It also says which lines were lost and how many rows are left out.
std::string breakdownJSON(const Report& report, Axis axis, const Options& options);

// Provenance document

/// When and for what the figure was made, what the scan read, which files contributed, what was lost and what
/// was assumed.
std::string provenanceCSV(const Report& report, const Options& options);

/// The same as lines.
std::vector<ProvenanceLine> provenanceLines(const Report& report, const Options& options,
                                            const Stamps& stamps);

/// The selected period in words; that of the data, marked as such, when none was selected.
std::string periodDescription(const Report& report, const Options& options, const Stamps& stamps);

// Summary and names

/// A text for mails and notes: the total, the first rows of the chosen axes and the provenance, in columns
/// that line up in a fixed-width font.
std::string clipboardSummary(const Report& report, const Options& options);

/// A stable name for a document: "tallyfin-project-last-7-days.csv". Holds no "/" and has at most 255 bytes:
/// a longer period label is cut behind a whole character.
std::string suggestedFileName(const Document& document, const Options& options,
                              std::string_view extension = ".csv");

// Text and numbers

/// A text as a CSV cell: never run as a formula by a spreadsheet, quoted where it must be.
std::string textField(std::string_view text);

/// Digits with commas between thousands: "-1,234,567".
std::string grouped(std::int64_t n);

/// The exact binary value with so many decimals, as printf prints it; -0.0 prints as 0.
std::string decimal(double value, int places);

}  // namespace tallyfin::Exporter
