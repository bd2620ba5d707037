#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Attribution/ListPrices.hpp"
#include "TallyfinCore/Attribution/Pricing.hpp"
#include "absl/container/flat_hash_map.h"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace tallyfin::Command {
namespace {

// The requests of a model without a price.
struct Unpriced {
  std::int64_t requests = 0;
  std::int64_t tokens = 0;
  std::set<TimePoint> days;
};

// How the records use the prices.
struct Use {
  absl::flat_hash_map<const PriceTier*, std::int64_t> requests;  // by the price that applies to them
  std::map<InternedText, Unpriced> unpriced;
};

Use useOf(const PriceList& prices, const RecordList& records, const Calendar& calendar) {
  Use use;
  DayLookup days(calendar);
  absl::flat_hash_map<InternedText, std::vector<const PricedModel*>> known;
  for (const UsageRecord& record : records) {
    const auto [model, isNew] = known.try_emplace(record.model);
    if (isNew) {
      model->second = Pricing::candidates(record.model, prices);
    }
    const TimePoint day = days.startOfDay(record.timestamp);
    if (const PriceTier* const tier = Pricing::tierOn(model->second, day, calendar)) {
      ++use.requests[tier];
      continue;
    }
    Unpriced& unpriced = use.unpriced[record.model];
    ++unpriced.requests;
    for (const std::int64_t count :
         {record.input, record.output, record.cacheWrite5m, record.cacheWrite1h, record.cacheRead}) {
      unpriced.tokens = saturatingAdd(unpriced.tokens, count);
    }
    unpriced.days.insert(day);
  }
  return use;
}

std::string dayText(const CalendarDate& date) {
  return absl::StrFormat("%04d-%02d-%02d", date.year, date.month, date.day);
}

using Cells = std::vector<std::string>;

// Aligns the cells: the first column to the left, the others to the right.
std::string inColumns(const std::vector<Cells>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const Cells& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], Text::characterCount(row[i]));
    }
  }
  std::string text;
  for (const Cells& row : rows) {
    append(text, "  ", Text::fitted(row.front(), widths.front()));
    for (std::size_t i = 1; i < row.size(); ++i) {
      append(text, "  ", std::string(widths[i] - Text::characterCount(row[i]), ' '), row[i]);
    }
    text += '\n';
  }
  return text;
}

void addRows(std::vector<Cells>& rows, std::span<const PricedModel> models, const Use& use) {
  const auto money = [](double price) { return absl::StrFormat("%.10g", price); };
  for (const PricedModel& one : models) {
    for (const PriceTier& tier : one.tiers) {
      const Prices& prices = tier.prices;
      const auto requests = use.requests.find(&tier);
      rows.push_back({one.model, money(prices.input), money(prices.output),
                      money(prices.cacheWrite5m.value_or(prices.input * Pricing::cacheWrite5mMultiplier)),
                      money(prices.cacheWrite1h.value_or(prices.input * Pricing::cacheWrite1hMultiplier)),
                      money(prices.cacheRead.value_or(prices.input * Pricing::cacheReadMultiplier)),
                      tier.until ? dayText(*tier.until) : "open", prices.isOwn ? "own" : "built in",
                      grouped(requests == use.requests.end() ? 0 : requests->second)});
    }
  }
}

std::string withoutPrice(const std::map<InternedText, Unpriced>& models) {
  std::vector<std::pair<InternedText, Unpriced>> byUse(models.begin(), models.end());
  std::ranges::stable_sort(byUse, [](const auto& left, const auto& right) {
    return left.second.requests > right.second.requests;
  });
  std::vector<Cells> rows = {{"model", "requests", "tokens", "days"}};
  for (const auto& [model, use] : byUse) {
    rows.push_back({std::string(model.text()), grouped(use.requests), grouped(use.tokens),
                    grouped(static_cast<std::int64_t>(use.days.size()))});
  }
  // The prices are left blank, so that the file is invalid until the user fills them in.
  const auto line = [](std::string* out, const auto& one) {
    append(*out, R"(  {"model": )", nlohmann::json(one.first.text()).dump(), R"(, "input": , "output": })");
  };
  return concat("\nMODELS WITHOUT A PRICE\n", inColumns(rows),
                "\nTo price them, fill in US dollars per million tokens and put the lines into the file:\n\n",
                "{\"prices\": [\n", absl::StrJoin(byUse, ",\n", line), "\n]}\n");
}

// The result of checking an own price file, in one line: the number of models with a price, or the error.
std::string checkedPrices(const PriceList& prices) {
  return prices.problem
             ? concat(prices.file, " cannot be used: ", *prices.problem, "\n")
             : concat(prices.file, ": prices of ",
                      counted(static_cast<std::int64_t>(prices.own.size()), "model", "models"), "\n");
}

// All prices with the number of records that each applies to, own prices first. Then the models without a
// price, most used first, and the lines to paste into the price file for them.
std::string priceTable(const PriceList& prices, const RecordList& records, const Calendar& calendar) {
  const Use use = useOf(prices, records, calendar);
  std::vector<Cells> rows = {
      {"model", "input", "output", "write 5m", "write 1h", "read", "last day", "origin", "requests"}};
  addRows(rows, prices.own, use);
  addRows(rows, Pricing::table(), use);
  std::string text = concat("PRICES (US dollars per million tokens; list prices as of ",
                            dayText(Pricing::listPricesCompared), ")\n", inColumns(rows));
  if (!prices.file.empty()) {
    append(text, "\nOwn prices: ", checkedPrices(prices));
  }
  return use.unpriced.empty() ? text + "\nEvery model has a price.\n" : text + withoutPrice(use.unpriced);
}

int runPrices(const Call& call) {
  if (const std::optional<std::string> file = call.arguments.text("check")) {
    const PriceList checked = PriceList::ofFile(*file);
    const int status = print(checkedPrices(checked), call.console);
    return checked.problem ? failed : status;
  }
  return withTranscripts(call, [&](DataSource& data) {
    return print(priceTable(data.prices(), data.records(), data.calendar()), call.console);
  });
}

}  // namespace

Subcommand prices() {
  return {.name = "prices",
          .summary = "The prices in use, the models without a price, and the lines that would add one",
          .options = {{.name = "check",
                       .value = "FILE",
                       .help = "Check a file of own prices and say what is wrong with it",
                       .values = Values::file}},
          .examples = {"tallyfin prices --check ~/.config/net.quillpond.tallyfin/prices.json"},
          .run = runPrices};
}

}  // namespace tallyfin::Command
