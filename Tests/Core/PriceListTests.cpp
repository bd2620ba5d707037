#include "Support/MakeRecord.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Attribution/Pricing.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Transcripts/ModelId.hpp"

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(PriceList, AnyFaultMakesTheWholeFileUnusable) {
  const auto entry = [](const std::string& members) { return "{\"prices\": [\n{" + members + "}\n]}\n"; };
  const struct {
    std::string text;
    std::string problem;
  } cases[] = {
      {"", "line 1: no valid JSON; last read: "},
      {"{\"prices\": [\n\n", R"(line 2: no valid JSON; last read: "prices": [<U+000A><U+000A>)"},
      {"[]", R"(line 1: the file must be an object with the member "prices")"},
      {"7", R"(line 1: the file must be an object with the member "prices")"},
      {"{}", R"(line 1: "prices" is missing)"},
      {"{\"prices\": 5\n}", R"(line 1: "prices" must be an array)"},
      {"{\"prices\": [\n5\n]}", "line 2: a price must be an object"},
      {"{\"prices\": [],\n\"prices\": []}", R"(line 2: "prices" stands twice)"},
      {"{\"prices\": [],\n\"price\": 1}", R"(line 2: unknown member "price")"},
      {"{\"prices\": []} x", R"(line 1: no valid JSON; last read: "prices": []} x)"},
      {"{\"prices\": [\n{\"model\": \"a\", \"input\": , \"output\": }\n]}",
       R"(line 2: no valid JSON; last read: "input": ,)"},
      {entry(R"("input": 1, "output": 2)"), R"(line 2: "model" is missing)"},
      {entry("\n\"model\": \"a\", \"output\": 2"), R"(line 2: "input" is missing)"},
      {entry(R"("model": "a", "input": 1)"), R"(line 2: "output" is missing)"},
      {entry("\"model\": \"a\",\n\"input\": -1\n"), R"(line 3: "input" must be between 0 and 1,000,000)"},
      {entry(R"("model": "a", "input": 1e7)"), R"(line 2: "input" must be between 0 and 1,000,000)"},
      {entry(R"("model": "a", "output": 1e999)"), "line 2: a number too large: 1e999"},
      {entry(R"("model": "a", "output": "2")"), R"(line 2: "output" must be a number)"},
      {entry(R"("model": "a", "output": [2])"), R"(line 2: "output" must be a number)"},
      {entry(R"("model": "a", "output": null)"), "line 2: null is no value"},
      {entry(R"("model": "a", "output": NaN)"), R"(line 2: no valid JSON; last read: "output": N)"},
      {entry(R"("model": 5)"), R"(line 2: "model" must be a text)"},
      {entry(R"("model": " [1m]")"), R"(line 2: "model" is empty)"},
      {entry(R"("model": "a\u0000b")"), R"(line 2: "model" holds a control character)"},
      {entry(R"("model": "a", "model": "b")"), R"(line 2: "model" stands twice)"},
      {entry(R"("model": "a", "until": "2026-02-29")"),
       R"(line 2: "2026-02-29" is no date (the format is yyyy-MM-dd))"},
      {entry(R"("model": "a", "input": 1, "output": 1}, )"
             "\n"
             R"({"model": "A-20260101", "input": 1, "output": 1)"),
       R"(line 3: a second price of "a" without a last day)"},
      {entry(R"("model": "a", "input": 1, "output": 1, "until": "2026-01-01"}, )"
             R"({"model": "a", "input": 1, "output": 1, "until": "2026-01-01")"),
       R"(line 2: a second price of "a" with the same last day)"},
      {entry("\"model\": \"\xff\""), "line 2: no valid UTF-8"},
  };
  for (const auto& [text, problem] : cases) {
    const PriceList list = PriceList::parse(text);
    EXPECT_EQ(list.problem, problem) << text;
    EXPECT_TRUE(list.own.empty()) << text;
  }
}

TEST(PriceList, OnlyAFileNamedByTheUserMustExist) {
  const TempHome home;
  Environment environment{.home = home.path(), .tallyfinHome = {}, .tallyfinCachePath = {}, .now = {}};
  EXPECT_EQ(PriceList::of(environment).file, "");
  environment.tallyfinPrices = "~/mine.json";
  EXPECT_EQ(PriceList::of(environment).problem, "there is no such file");
  home.makeDirectory("mine.json");
  EXPECT_EQ(PriceList::of(environment).problem, "it is no regular file");
  home.write("large", std::string((1 << 20) + 1, ' '));
  EXPECT_EQ(PriceList::ofFile(home.path("large")).problem, "it is larger than 1 MiB");

  environment.tallyfinPrices = "";
  home.write(".config/net.quillpond.tallyfin/prices.json", R"({"prices":[]})");
  EXPECT_EQ(PriceList::of(environment).file, home.path(".config/net.quillpond.tallyfin/prices.json"));
  EXPECT_FALSE(PriceList::of(environment).problem);
}

TEST(PriceList, OwnPricesCompeteByLengthAndDay) {
  const PriceList list = PriceList::parse(R"({"prices": [
    {"model": "claude-opus-4-5", "input": 1, "output": 1, "until": "2026-03-31"},
    {"model": "claude-opus", "input": 2, "output": 2},
    {"model": "Nova-1-20260101", "input": 4, "output": 4, "until": "2026-06-30"},
    {"model": "nova-1", "input": 3, "output": 3, "until": "2026-03-31"},
    {"model": "nova-1-l", "input": 5, "output": 5}, {"model": "nova-1-b", "input": 6, "output": 6},
    {"model": "local", "input": 0, "output": 0, "cache_write_5m": 7, "cache_write_1h": 8, "cache_read": 9}]})");
  ASSERT_EQ(list.problem, std::nullopt);
  const struct {
    const char* model;
    const char* day;
    double input;
    bool isOwn;
  } cases[] = {
      {"claude-opus-4-5", "2026-03-31T00:00:00Z", 1, true},    // the own price, for the same key
      {"claude-opus-4-5", "2026-04-01T00:00:00Z", 5, false},   // after its last day, the list price
      {"claude-opus-4-5-x", "2026-03-01T00:00:00Z", 1, true},  //
      {"claude-opus-4-6", "2026-03-01T00:00:00Z", 5, false},   // a longer key in the list
      {"claude-opus-6", "2026-03-01T00:00:00Z", 2, true},      //
      {"nova-1", "2026-03-31T00:00:00Z", 3, true},             // tiers may be in any order
      {"nova-1", "2026-04-01T00:00:00Z", 4, true},             //
      {"nova-1-day", "2027-01-01T00:00:00Z", 4, true},         // the last price, since none follows
      {"nova-1-large", "2027-01-01T00:00:00Z", 5, true},       // other names sort between it and the id
  };
  for (const auto& [model, day, input, isOwn] : cases) {
    const auto prices = Pricing::prices(InternedText(model), at(day), Calendar::utc(), list);
    ASSERT_TRUE(prices.isKnown()) << model;
    EXPECT_EQ(prices.value()->input, input) << model << " " << day;
    EXPECT_EQ(prices.value()->isOwn, isOwn) << model << " " << day;
  }

  const std::vector<UsageRecord> records = {
      make({.model = "local", .output = 5}),
      make({.model = "local", .cacheWrite5m = 1'000'000, .cacheWrite1h = 1'000'000, .cacheRead = 1'000'000}),
      make({.model = "other"}), make({.output = kDollar})};
  const Report report = Aggregator(Calendar::utc(), ProjectResolver("/home/ada", false), list)
                            .aggregate(records, {}, {}, {}, false);
  EXPECT_EQ(report.total.cost, (CostEstimate{25, 1, {InternedText("other")}, {InternedText("local")}}));
  EXPECT_EQ(report.averagePerActiveDay().value()->ownPriced(), "1 model (local)");
  EXPECT_FALSE((CostEstimate{0, 1, {}, {InternedText("local")}}).isUnknown()) << "an own price of 0 is known";
}

TEST(PriceList, ListPricesAreReducedUniqueAndInOrderOfTime) {
  std::set<std::string> models;
  for (const auto& [model, tiers] : Pricing::table()) {
    EXPECT_EQ(Pricing::normalizeModel(model), model);
    EXPECT_TRUE(models.insert(model).second) << model << " is listed twice";
    for (std::size_t i = 0; i < tiers.size(); ++i) {
      const bool isLast = i + 1 == tiers.size();
      EXPECT_EQ(tiers[i].until.has_value(), !isLast) << model;
      EXPECT_TRUE(i == 0 || isLast || *tiers[i - 1].until < *tiers[i].until) << model;
    }
  }
}

}  // namespace
}  // namespace tallyfin
