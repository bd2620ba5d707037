// Tests costs to the last bit. Tests/Golden/prices covers the prices of models and kinds of tokens.

#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Attribution/Pricing.hpp"

#include <random>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(Pricing, SumsRunInAFixedOrder) {
  // With this many records, any other order of sums or products changes the last bit of one.
  std::mt19937_64 random(3);  // NOLINT(bugprone-random-generator-seed): the same records every time
  const auto below = [&](std::uint64_t limit) { return static_cast<std::int64_t>(random() % limit); };
  const auto number = [](std::int64_t count) { return static_cast<double>(count); };
  for (int i = 0; i < 1'000; ++i) {
    const RecordParts parts{.input = below(1'000'000),
                            .output = below(100'000),
                            .cacheWrite5m = below(1'000'000),
                            .cacheWrite1h = below(1'000'000),
                            .cacheRead = below(10'000'000),
                            .webSearch = below(20)};
    double sum = number(parts.input) * 0.8;
    sum = sum + number(parts.cacheRead) * 0.8 * 0.1;
    sum = sum + number(parts.cacheWrite5m) * 0.8 * 1.25;
    sum = sum + number(parts.cacheWrite1h) * 0.8 * 2.0;
    sum = sum + number(parts.output) * 4.1;
    sum = sum / 1'000'000.0;
    sum = sum + number(parts.webSearch) * 0.01;
    ASSERT_EQ(Pricing::cost(make(parts), {0.8, 4.1}), sum);
  }
}

TEST(Pricing, PricerAgreesWithOneLookupPerRecord) {
  const Calendar calendar = zone("Europe/Berlin");
  const PriceList& builtIn = PriceList::builtIn();
  Pricing::Pricer pricer(calendar, builtIn);
  for (int round = 0; round < 3; ++round) {
    for (const char* day : {"2026-08-31T00:00:00+02:00", "2026-09-01T00:00:00+02:00"}) {
      for (const char* model : {"claude-sonnet-5", "other", "claude-haiku-4-5", "claude-sonnet-5-x", "",
                                "CLAUDE-OPUS-5", " claude-opus-5", "claude-opus-4-9"}) {
        const UsageRecord record =
            make({.at = day, .model = model, .input = 1'000'003, .output = 77, .webSearch = 100});
        const Estimate<double> expected =
            Pricing::prices(record.model, at(day), calendar).map([&](const Prices& prices) {
              return Pricing::cost(record, prices);
            });
        EXPECT_EQ(pricer.cost(record, at(day)), expected) << model << " " << day;
        EXPECT_EQ(expected.isKnown(), std::string_view(model).starts_with("claude")) << model;
      }
    }
  }
}

}  // namespace
}  // namespace tallyfin
