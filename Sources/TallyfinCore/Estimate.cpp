#include "TallyfinCore/Estimate.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <compare>
#include <cstddef>

namespace tallyfin {

std::string UnknownReason::text() const {
  switch (kind_) {
    case Kind::noPriceForModel:
      return absl::StrFormat("no known price for model: %s — its cost is not included", subject_.text());
    case Kind::notMetered:
      return absl::StrFormat("%s is not metered by the provider", subject_.text());
    case Kind::unreadableSource:
      return absl::StrFormat("unreadable source: %s", subject_.text());
    case Kind::noRecentActivity:
      return "no requests in the last few hours — the rate would describe when you last worked, not now";
    case Kind::periodIncomplete:
      return "the period is still running — the figure is not final";
    case Kind::noData:
      break;
  }
  return "no requests in the selected range";
}

namespace {

// The model is usually in the set already. For small sets, comparing handles as integers takes less than half
// the time of a lookup in the set, which compares texts.
void noteModel(ModelSet& models, InternedText model) {
  constexpr std::size_t kFew = 8;
  const auto isModel = [model](InternedText known) { return known == model; };
  if (models.size() > kFew || std::none_of(models.begin(), models.end(), isModel)) {
    models.insert(model);
  }
}

std::string namesOf(const ModelSet& models, std::string_view separator, std::size_t most) {
  std::string names;
  std::size_t count = 0;
  for (const InternedText model : models) {
    if (count == most) {
      append(names, " and ", grouped(static_cast<std::int64_t>(models.size() - most)), " more");
      break;
    }
    append(names, count++ == 0 ? "" : separator, model.text());
  }
  return names;
}

}  // namespace

void CostEstimate::noteUnpriced(const UnknownReason& reason, std::int64_t requests) {
  unpricedRequests = saturatingAdd(unpricedRequests, requests);
  if (reason.kind() == UnknownReason::Kind::noPriceForModel) {
    noteModel(unpricedModels, reason.subject());
  }
}

void CostEstimate::noteOwnPrice(InternedText model) {
  noteModel(ownPricedModels, model);
}

CostEstimate& CostEstimate::operator+=(const CostEstimate& other) {
  priced += other.priced;
  unpricedRequests = saturatingAdd(unpricedRequests, other.unpricedRequests);
  unpricedModels.insert(other.unpricedModels.begin(), other.unpricedModels.end());
  ownPricedModels.insert(other.ownPricedModels.begin(), other.ownPricedModels.end());
  return *this;
}

CostEstimate CostEstimate::scaled(double factor) const {
  return {priced * factor, unpricedRequests, unpricedModels, ownPricedModels};
}

std::string CostEstimate::formatted() const {
  return isComplete() ? money(priced) : "≥ " + money(priced);
}

std::optional<std::string> CostEstimate::caveat(std::size_t mostNames) const {
  if (isComplete()) {
    return std::nullopt;
  }
  return concat(plainlyCounted(unpricedRequests, "request", "requests"), " with no known price (",
                unpricedNames(", ", mostNames), ") are not included");
}

std::string CostEstimate::formattedWithCaveat(std::string_view unit, std::size_t mostNames) const {
  const std::optional<std::string> left = caveat(mostNames);
  return left ? concat(formatted(), unit, " [", *left, "]") : concat(formatted(), unit);
}

std::string CostEstimate::unpricedNames(std::string_view separator, std::size_t mostNames) const {
  return namesOf(unpricedModels, separator, mostNames);
}

std::optional<std::string> CostEstimate::ownPriced(std::size_t mostNames) const {
  if (ownPricedModels.empty()) {
    return std::nullopt;
  }
  return concat(counted(static_cast<std::int64_t>(ownPricedModels.size()), "model", "models"), " (",
                namesOf(ownPricedModels, ", ", mostNames), ")");
}

std::string CostEstimate::money(double amount) {
  if (amount == 0) {
    return "$0.00";  // also for -0.0
  }
  if (std::abs(amount) < 0.01) {
    return absl::StrFormat("$%.4f", amount);
  }
  return "$" + withCommas(absl::StrFormat("%.2f", amount));
}

CostEstimate CostEstimate::median(const std::vector<CostEstimate>& estimates) {
  assert(!estimates.empty());
  CostEstimate result;
  std::vector<double> amounts;
  amounts.reserve(estimates.size());
  for (const CostEstimate& estimate : estimates) {
    amounts.push_back(estimate.priced);
    result.unpricedRequests = saturatingAdd(result.unpricedRequests, estimate.unpricedRequests);
    result.unpricedModels.insert(estimate.unpricedModels.begin(), estimate.unpricedModels.end());
    result.ownPricedModels.insert(estimate.ownPricedModels.begin(), estimate.ownPricedModels.end());
  }
  // strong_order is a total order, so even NaN cannot break the sort.
  std::sort(amounts.begin(), amounts.end(),
            [](double left, double right) { return std::is_lt(std::strong_order(left, right)); });
  const std::size_t middle = amounts.size() / 2;
  result.priced = amounts.size() % 2 == 1 ? amounts[middle] : (amounts[middle - 1] + amounts[middle]) * 0.5;
  return result;
}

}  // namespace tallyfin
