#pragma once

// The cost of a bucket in words, for each kind of reader. All tell the same three cases apart: no requests,
// requests of which none has a price, and an amount, which may be a lower bound.

#include "TallyfinCore/Figures/Report.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// In an answer: "$41.07", "≥ $3.00 [...]", "unknown (no requests in range)".
std::string costInAnswer(const Bucket& bucket);

/// In the summary: the same amounts, "unknown — no request in range".
std::string costInSummary(const Bucket& bucket);

/// A rate in a line, without its caveat: "$2.70/h", "≥ $2.70/h", "unknown rate".
std::string rateInLine(const Estimate<CostEstimate>& rate);

/// In a table: the amount as a plain number with six decimals, or "unknown", and what kind of amount that is.
struct CostCells {
  static constexpr int decimals = 6;

  std::string amount;
  std::string_view basis;
};
CostCells costInTable(const Bucket& bucket);

/// For a program: the number that a table has, and why it is missing or a lower bound.
struct CostFigure {
  std::optional<double> usd;          ///< absent when unknown
  std::string_view basis;             ///< "complete", "lower_bound" or "unknown"
  std::optional<std::string> reason;  ///< absent when complete
};
CostFigure costAsFigure(const Bucket& bucket);

}  // namespace tallyfin
