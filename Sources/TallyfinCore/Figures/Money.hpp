#pragma once

// Costs, shares and rates as text, for each kind of reader. All of them distinguish three cases: no requests,
// only requests without a price, and an amount, which may be a lower bound.

#include "TallyfinCore/Figures/Report.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

// Short forms.

/// "$1.20", "≥ $1.20", or "unknown".
std::string amount(const Bucket& bucket);
std::string amount(const Estimate<CostEstimate>& cost);

/// "$2.70/h", "≥ $2.70/h", or "unknown rate".
std::string rateInLine(const Estimate<CostEstimate>& rate);

/// A value from 0 to 100 with one decimal: "12.3%".
std::string percent(double value);

/// A share as `percent`, or "unknown".
std::string percent(const Estimate<double>& share);

/// A token count, shortened: "999", "1.2k", "2.35M", "1.50G".
std::string shortened(std::int64_t tokens);

// Sentences. A sentence with model names lists at most `mostNames` of them and counts the others.

/// For an answer: "$41.07", "≥ $3.00 [...]", "unknown (no requests in range)".
std::string costInAnswer(const Bucket& bucket, std::size_t mostNames = allNames);
std::string costInAnswer(const CostEstimate& cost, std::int64_t requests, std::size_t mostNames = allNames);

/// For the summary: the same amounts, but "unknown — no request in range".
std::string costInSummary(const Bucket& bucket);

/// The warning that figures are lower bounds; absent if every request has a price.
std::optional<std::string> unpricedNote(const Bucket& bucket, std::size_t mostNames = allNames);

/// The note that lists the models priced with own prices; absent if there are none.
std::optional<std::string> ownPricesNote(const CostEstimate& cost, std::size_t mostNames = allNames);

/// The note about requests whose 5m/1h cache write split was assumed; absent if there are none.
std::optional<std::string> assumedNote(const Bucket& bucket);

// Forms for documents.

/// For a table: the amount as a plain number with six decimals, or "unknown", and the kind of amount.
struct CostCells {
  static constexpr int decimals = 6;

  std::string amount;
  std::string_view basis;
};
CostCells costInTable(const Bucket& bucket);

/// For programs: the same number as in a table, and the reason if it is missing or a lower bound.
struct CostFigure {
  std::optional<double> usd;          ///< absent when unknown
  std::string_view basis;             ///< "complete", "lower_bound" or "unknown"
  std::optional<std::string> reason;  ///< absent when complete
};
CostFigure costAsFigure(const Bucket& bucket);

}  // namespace tallyfin
