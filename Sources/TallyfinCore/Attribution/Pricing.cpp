#include "TallyfinCore/Attribution/Pricing.hpp"

#include "Platform/Text.hpp"
#include "TallyfinCore/Attribution/ListPrices.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace tallyfin::Pricing {
namespace {

std::vector<PricedModel> makeTable() {
  std::vector<PricedModel> models;
  for (const ListPrice& price : listPrices) {
    if (models.empty() || models.back().model != price.model) {
      models.push_back({std::string(price.model), {}});
    }
    models.back().tiers.push_back({price.until, {price.input, price.output}});
  }
  return models;
}

// Adds each of `models` whose name is a prefix of the id. The models are in text order, so prefixes of the id
// are not after the id. The last model that is not after `start` has the longest common prefix with the id,
// so the search continues with that common prefix.
void addOwn(std::vector<const PricedModel*>& found, std::string_view id,
            std::span<const PricedModel> models) {
  std::string_view start = id;
  while (!models.empty()) {
    const auto after = std::ranges::upper_bound(models, start, {}, &PricedModel::model);
    models = models.first(static_cast<std::size_t>(after - models.begin()));
    if (models.empty()) {
      return;
    }
    const std::string_view last = models.back().model;
    const auto shared = std::ranges::mismatch(last, start).in1;
    start = start.substr(0, static_cast<std::size_t>(shared - last.begin()));
    if (shared == last.end()) {
      if (Text::hasPrefix(id, last)) {
        found.push_back(&models.back());
      }
      models = models.first(models.size() - 1);
    }
  }
}

}  // namespace

Estimate<double> webFetchCost() {
  return UnknownReason::notMetered(InternedText("web fetch"));
}

std::span<const PricedModel> table() {
  static const std::vector<PricedModel> models = makeTable();
  return models;
}

std::vector<const PricedModel*> candidates(InternedText model, const PriceList& list) {
  std::vector<const PricedModel*> found;
  addOwn(found, model.canonical(), list.own);
  for (const PricedModel& one : table()) {
    if (Text::hasPrefix(model.canonical(), one.model)) {
      found.push_back(&one);
    }
  }
  // Own prices were found first, and the stable sort keeps them before built-in ones of the same length.
  std::stable_sort(found.begin(), found.end(), [](const PricedModel* left, const PricedModel* right) {
    return left->model.size() > right->model.size();
  });
  return found;
}

const PriceTier* tierOn(std::span<const PricedModel* const> candidates, TimePoint day,
                        const Calendar& calendar) {
  // Converts `day` to a date only for tiers that have a last day.
  const auto applies = [&](const PriceTier& tier) {
    return !tier.until || calendar.date(day) <= *tier.until;
  };
  for (const PricedModel* const one : candidates) {
    const auto tier = std::ranges::find_if(one->tiers, applies);
    if (tier != one->tiers.end()) {
      return &*tier;
    }
  }
  return candidates.empty() ? nullptr : &candidates.front()->tiers.back();
}

Estimate<Prices> prices(InternedText model, TimePoint day, const Calendar& calendar, const PriceList& list) {
  const PriceTier* const tier = tierOn(candidates(model, list), day, calendar);
  if (tier == nullptr) {
    return UnknownReason::noPriceForModel(model);
  }
  return tier->prices;
}

double cost(const UsageRecord& record, const Prices& prices) {
  const auto tokens = [](std::int64_t count) { return static_cast<double>(count); };
  const auto cached = [&](std::int64_t count, const std::optional<double>& price, double multiplier) {
    return price ? tokens(count) * *price : tokens(count) * prices.input * multiplier;
  };
  // The order of products and sums is fixed, because it determines the last bit.
  const double perMillion = tokens(record.input) * prices.input +
                            cached(record.cacheRead, prices.cacheRead, cacheReadMultiplier) +
                            cached(record.cacheWrite5m, prices.cacheWrite5m, cacheWrite5mMultiplier) +
                            cached(record.cacheWrite1h, prices.cacheWrite1h, cacheWrite1hMultiplier) +
                            tokens(record.output) * prices.output;
  return perMillion / 1'000'000 + tokens(record.webSearch) * webSearchCostPerRequest;
}

RequestCost Pricer::cost(const UsageRecord& record, TimePoint day) {
  Known& known = known_[record.model];
  if (!known.isLookedUp) {
    known.candidates = candidates(record.model, list_);
    known.isLookedUp = true;
  }
  if (known.candidates.empty()) {
    return UnknownReason::noPriceForModel(record.model);
  }
  if (known.day != day) {
    known.prices = tierOn(known.candidates, day, calendar_)->prices;
    known.day = day;
  }
  return {Pricing::cost(record, known.prices), known.prices.isOwn};
}

}  // namespace tallyfin::Pricing
