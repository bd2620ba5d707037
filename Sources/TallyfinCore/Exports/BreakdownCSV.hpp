#pragma once

// The breakdown of a report along one axis as a CSV, for spreadsheets.

#include "TallyfinCore/Exports/Options.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/functional/function_ref.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

/// The decimals of an amount.
inline constexpr int moneyDecimalsCSV = CostCells::decimals;

/// The header of a breakdown.
extern const std::array<std::string_view, 26> breakdownColumns;

/// A column of a breakdown that counts something: "requests", "input_tokens", ...
struct CountColumn {
  std::string_view id;
  std::int64_t (*of)(const Bucket& bucket);
};

/// These columns in their order.
std::vector<CountColumn> countColumns();

/// A breakdown and its axis.
struct AxisCSV {
  Axis axis;
  std::string csv;
};

/// The table of an axis with its header. An axis without rows gives the header alone.
std::string breakdownCSV(const Report& report, Axis axis, const Options& options);

/// Gives the same table to `out` in pieces of whole lines, since it may be larger than the report.
void writeBreakdownCSV(const Report& report, Axis axis, const Options& options,
                       absl::FunctionRef<void(std::string_view)> out);

/// The tables of all axes that have rows; those of ReportParts are among them only in a report that
/// holds them.
std::vector<AxisCSV> allBreakdownCSVs(const Report& report, const Options& options);

}  // namespace tallyfin::Exporter
