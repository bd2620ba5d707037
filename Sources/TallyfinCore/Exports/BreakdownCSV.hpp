#pragma once

// One axis of a report as CSV, for spreadsheets.

#include "TallyfinCore/Exports/Options.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/functional/function_ref.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

/// The number of decimals of an amount.
inline constexpr int moneyDecimalsCSV = CostCells::decimals;

/// The column names, in order.
extern const std::array<std::string_view, 26> breakdownColumns;

/// A column with a count: "requests", "input_tokens", ...
struct CountColumn {
  std::string_view id;
  std::int64_t (*of)(const Bucket& bucket);
};

/// The count columns, in order.
std::vector<CountColumn> countColumns();

/// An axis with its CSV.
struct AxisCSV {
  Axis axis;
  std::string csv;
};

/// The CSV of an axis, with its header. An axis without rows has only the header.
std::string breakdownCSV(const Report& report, Axis axis, const Options& options);

/// Writes the same CSV to `out` in pieces of whole lines, because the whole text may be larger than the
/// report.
void writeBreakdownCSV(const Report& report, Axis axis, const Options& options,
                       absl::FunctionRef<void(std::string_view)> out);

/// The CSVs of all `transcriptAxes` that have rows. An axis whose part (ReportParts) the report lacks has
/// none.
std::vector<AxisCSV> allBreakdownCSVs(const Report& report, const Options& options);

}  // namespace tallyfin::Exporter
