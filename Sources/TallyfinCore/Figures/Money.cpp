#include "TallyfinCore/Figures/Money.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "absl/strings/str_format.h"

#include <charconv>
#include <cmath>

namespace tallyfin {

std::string amount(const Bucket& bucket) {
  return bucket.requests < 1 || bucket.cost.isUnknown() ? UnknownReason::placeholder
                                                        : bucket.cost.formatted();
}

std::string amount(const Estimate<CostEstimate>& cost) {
  const CostEstimate* const known = cost.value();
  return known == nullptr || known->isUnknown() ? UnknownReason::placeholder : known->formatted();
}

std::string rateInLine(const Estimate<CostEstimate>& rate) {
  const std::string text = amount(rate);
  return text == UnknownReason::placeholder ? "unknown rate" : concat(text, "/h");
}

std::string percent(double value) {
  return concat(decimal(value, 1), "%");
}

std::string percent(const Estimate<double>& share) {
  const double* const known = share.value();
  return known == nullptr ? UnknownReason::placeholder : percent(*known);
}

std::string shortened(std::int64_t tokens) {
  const auto value = static_cast<double>(tokens);
  if (tokens >= 1'000'000'000) {
    return absl::StrFormat("%.2fG", value / 1e9);
  }
  if (tokens >= 1'000'000) {
    return absl::StrFormat("%.2fM", value / 1e6);
  }
  if (tokens >= 1'000) {
    return absl::StrFormat("%.1fk", value / 1000);
  }
  return std::to_string(tokens);
}

std::string costInAnswer(const Bucket& bucket, std::size_t mostNames) {
  return costInAnswer(bucket.cost, bucket.requests, mostNames);
}

std::string costInAnswer(const CostEstimate& cost, std::int64_t requests, std::size_t mostNames) {
  if (requests < 1) {
    return "unknown (no requests in range)";
  }
  if (cost.isUnknown()) {
    return concat("unknown (", counted(cost.unpricedRequests, "request", "requests"),
                  ", no known price: ", cost.unpricedNames(", ", mostNames), ")");
  }
  return cost.formattedWithCaveat({}, mostNames);
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

std::optional<std::string> unpricedNote(const Bucket& bucket, std::size_t mostNames) {
  if (bucket.cost.unpricedRequests < 1) {
    return std::nullopt;
  }
  return concat("WARNING: ", counted(bucket.cost.unpricedRequests, "request", "requests"),
                " with no known price (", bucket.cost.unpricedNames(", ", mostNames),
                ") are not included — the figures above are lower bounds.");
}

std::optional<std::string> ownPricesNote(const CostEstimate& cost, std::size_t mostNames) {
  const std::optional<std::string> models = cost.ownPriced(mostNames);
  return models ? std::optional(concat("NOTE: own prices for ", *models, " were used.")) : std::nullopt;
}

std::optional<std::string> assumedNote(const Bucket& bucket) {
  if (bucket.cacheWriteAssumedRequests < 1) {
    return std::nullopt;
  }
  return concat("NOTE: for ", counted(bucket.cacheWriteAssumedRequests, "request", "requests"),
                " the cache_creation breakdown was missing or did not add up; 5m was assumed "
                "(multiplier 1.25 instead of 2.00).");
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
