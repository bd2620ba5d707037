#include "TallyfinCore/Figures/CostText.hpp"

#include "Platform/Concat.hpp"

#include <charconv>
#include <cmath>

namespace tallyfin {

std::string costInAnswer(const Bucket& bucket) {
  if (bucket.requests < 1) {
    return "unknown (no requests in range)";
  }
  if (bucket.cost.isUnknown()) {
    return concat("unknown (", counted(bucket.cost.unpricedRequests, "request", "requests"),
                  ", no known price: ", bucket.cost.unpricedNames(", "), ")");
  }
  return bucket.cost.formattedWithCaveat();
}

std::string costInSummary(const Bucket& bucket) {
  if (bucket.requests < 1) {
    return "unknown — no request in range";
  }
  if (bucket.cost.isUnknown()) {
    return concat("unknown — no known price for ", bucket.cost.unpricedNames(", "));
  }
  return bucket.cost.formattedWithCaveat();
}

std::string rateInLine(const Estimate<CostEstimate>& rate) {
  const CostEstimate* const known = rate.value();
  return known == nullptr || known->isUnknown() ? "unknown rate" : concat(known->formatted(), "/h");
}

CostCells costInTable(const Bucket& bucket) {
  if (bucket.requests < 1) {
    return {UnknownReason::placeholder, "unknown — no request in range"};
  }
  if (bucket.cost.isUnknown()) {
    return {UnknownReason::placeholder, "unknown — no known price for any request in this row"};
  }
  const bool isOwn = !bucket.cost.ownPricedModels.empty();
  return {decimal(bucket.cost.priced, CostCells::decimals),
          bucket.cost.isComplete() ? (isOwn ? "complete, own prices" : "complete")
          : isOwn                  ? "lower bound — priced requests only, own prices"
                                   : "lower bound — priced requests only"};
}

CostFigure costAsFigure(const Bucket& bucket) {
  const auto unknown = [](std::string reason) {
    return CostFigure{std::nullopt, UnknownReason::placeholder, std::move(reason)};
  };
  if (bucket.requests < 1) {
    return unknown("no request in range");
  }
  if (bucket.cost.isUnknown()) {
    return unknown(concat("no known price for ", bucket.cost.unpricedNames(", ")));
  }
  if (!std::isfinite(bucket.cost.priced)) {
    return unknown("the sum is beyond what a number holds");
  }
  const std::string amount = decimal(bucket.cost.priced, CostCells::decimals);
  double usd = 0;
  std::from_chars(amount.data(), amount.data() + amount.size(), usd);
  return {usd, bucket.cost.isComplete() ? "complete" : "lower_bound", bucket.cost.caveat()};
}

}  // namespace tallyfin
