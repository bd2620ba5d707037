#include "TallyfinCore/Attribution/Pricing.hpp"

#include "Platform/Text.hpp"

#include <algorithm>
#include <cstddef>

namespace tallyfin::Pricing {
namespace {

constexpr CalendarDate kLastIntroductoryDay{2026, 8, 31};

std::vector<TableEntry> makeTable() {
  const auto open = [](std::string_view model, double input, double output) {
    return TableEntry{model, {{std::nullopt, input, output}}};
  };
  return {
      open("claude-fable-5", 10, 50),
      open("claude-mythos-5", 10, 50),
      open("claude-mythos-preview", 10, 50),
      open("claude-opus-5", 5, 25),
      open("claude-opus-4-8", 5, 25),
      open("claude-opus-4-7", 5, 25),
      open("claude-opus-4-6", 5, 25),
      open("claude-opus-4-5", 5, 25),
      open("claude-opus-4-1", 15, 75),
      open("claude-opus-4-0", 15, 75),
      open("claude-opus-4", 15, 75),
      open("claude-3-opus", 15, 75),
      {"claude-sonnet-5", {{kLastIntroductoryDay, 2, 10}, {std::nullopt, 3, 15}}},
      open("claude-sonnet-4-6", 3, 15),
      open("claude-sonnet-4-5", 3, 15),
      open("claude-sonnet-4-0", 3, 15),
      open("claude-sonnet-4", 3, 15),
      open("claude-3-7-sonnet", 3, 15),
      open("claude-3-5-sonnet", 3, 15),
      open("claude-haiku-4-5", 1, 5),
      open("claude-3-5-haiku", 0.8, 4),
      open("claude-3-haiku", 0.25, 1.25),
  };
}

// The entry of the model itself, else of the longest key that it begins with; null when there is none.
const TableEntry* entryOf(InternedText model) {
  const TableEntry* best = nullptr;
  for (const TableEntry& entry : table()) {
    if (model.canonical() == entry.model) {
      return &entry;
    }
    if ((best == nullptr || entry.model.size() > best->model.size()) &&
        Text::hasPrefix(model.canonical(), entry.model)) {
      best = &entry;
    }
  }
  return best;
}

// The calendar is only asked where the date matters, for entries of several tiers.
Prices pricesOn(const TableEntry& entry, TimePoint day, const Calendar& calendar) {
  const auto applies = [&](const PriceTier& tier) {
    return !tier.until || calendar.date(day) <= *tier.until;
  };
  auto tier = std::find_if(entry.tiers.begin(), entry.tiers.end(), applies);
  if (tier == entry.tiers.end()) {
    --tier;
  }
  return {tier->input, tier->output};
}

}  // namespace

Estimate<double> webFetchCost() {
  return UnknownReason::notMetered(InternedText("web fetch"));
}

std::span<const TableEntry> table() {
  static const std::vector<TableEntry> entries = makeTable();
  return entries;
}

Estimate<Prices> prices(InternedText model, TimePoint day, const Calendar& calendar) {
  const TableEntry* entry = entryOf(model);
  if (entry == nullptr) {
    return UnknownReason::noPriceForModel(model);
  }
  return pricesOn(*entry, day, calendar);
}

double cost(const UsageRecord& record, const Prices& prices) {
  const auto tokens = [](std::int64_t count) { return static_cast<double>(count); };
  // The order of the products and sums is fixed: it decides the last bit.
  const double perMillion = tokens(record.input) * prices.input +
                            tokens(record.cacheRead) * prices.input * cacheReadMultiplier +
                            tokens(record.cacheWrite5m) * prices.input * cacheWrite5mMultiplier +
                            tokens(record.cacheWrite1h) * prices.input * cacheWrite1hMultiplier +
                            tokens(record.output) * prices.output;
  return perMillion / 1'000'000 + tokens(record.webSearch) * webSearchCostPerRequest;
}

Estimate<double> Pricer::cost(const UsageRecord& record, TimePoint day) {
  Known& known = known_[record.model];
  if (!known.isLookedUp) {
    known.entry = entryOf(record.model);
    known.isLookedUp = true;
  }
  if (known.entry == nullptr) {
    return UnknownReason::noPriceForModel(record.model);
  }
  if (known.day != day) {
    known.prices = pricesOn(*known.entry, day, calendar_);
    known.day = day;
  }
  return Pricing::cost(record, known.prices);
}

}  // namespace tallyfin::Pricing
