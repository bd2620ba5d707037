#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Attribution/Pricing.hpp"
#include "TallyfinCore/Transcripts/ModelId.hpp"

#include <limits>
#include <optional>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

std::optional<Prices> pricesOf(std::string_view model, TimePoint day = at("2026-03-01T00:00:00Z"),
                               const Calendar& calendar = Calendar::utc()) {
  const Estimate<Prices> prices = Pricing::prices(InternedText(model), day, calendar);
  return prices.isKnown() ? std::optional(*prices.value()) : std::nullopt;
}

double opusCost(const RecordParts& parts) {
  return Pricing::cost(make(parts), {5, 25});
}

TEST(Pricing, LongestKeyThatTheIdBeginsWithDecides) {
  const struct {
    const char* model;
    std::optional<Prices> prices;
  } cases[] = {
      {"claude-opus-4-15", Prices{15, 75}},       // continues claude-opus-4-1
      {"claude-opus-4-9", Prices{15, 75}},        // not in the table: claude-opus-4
      {"claude-opus-4-5-fast", Prices{5, 25}},    //
      {"claude-sonnet-4-9", Prices{3, 15}},       //
      {"claude-sonnet-5-fast", Prices{2, 10}},    // tiers hold for a prefix as well
      {"claude-opus-5é", Prices{5, 25}},          //
      {"claude-opus-5\u0301", std::nullopt},      // a mark makes another character of the 5
      {"claude-opus-4-5\u0301", Prices{15, 75}},  // so what is left begins with claude-opus-4
      {"Claude-opus-5", std::nullopt},
      {"CLAUDE-OPUS-5", std::nullopt},
      {" claude-opus-5", std::nullopt},
      {"claude-opus", std::nullopt},
      {"claude", std::nullopt},
      {"unknown", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& [model, prices] : cases) {
    EXPECT_EQ(pricesOf(model), prices) << model;
  }
  const Estimate<Prices> unknown =
      Pricing::prices(InternedText("CLAUDE-OPUS-5"), at("2026-03-01T00:00:00Z"), Calendar::utc());
  EXPECT_EQ(*unknown.reason(), UnknownReason::noPriceForModel(InternedText("CLAUDE-OPUS-5")));
}

TEST(Pricing, TierEndsWithItsLastLocalDay) {
  const Prices introductory{2, 10};
  const Prices regular{3, 15};
  const struct {
    const char* zone;
    const char* time;
    Prices prices;
  } cases[] = {
      {"UTC", "2025-12-31T00:00:00Z", introductory},
      {"UTC", "2026-08-31T23:59:59Z", introductory},
      {"UTC", "2026-09-01T00:00:00Z", regular},
      {"America/Los_Angeles", "2026-08-31T23:59:00-07:00", introductory},  // already 1 September in UTC
      {"America/Los_Angeles", "2026-09-01T00:00:00-07:00", regular},
      {"Pacific/Kiritimati", "2026-08-31T23:59:00+14:00", introductory},
      {"Pacific/Kiritimati", "2026-09-01T00:00:00+14:00", regular},  // still 31 August in UTC
      {"UTC", "2027-01-01T00:00:00Z", regular},
  };
  for (const auto& [name, time, prices] : cases) {
    EXPECT_EQ(pricesOf("claude-sonnet-5", at(time), zone(name)), prices) << name << " " << time;
  }
}

TEST(Pricing, EachKindOfTokenHasItsPrice) {
  constexpr std::int64_t kMillion = 1'000'000;
  const RecordParts none{.at = "2026-03-01T00:00:00Z"};
  const auto with = [&](std::int64_t RecordParts::*field, std::int64_t count) {
    RecordParts parts = none;
    parts.*field = count;
    return opusCost(parts);
  };
  EXPECT_EQ(opusCost(none), 0);
  EXPECT_EQ(with(&RecordParts::input, kMillion), 5);
  EXPECT_EQ(with(&RecordParts::cacheRead, kMillion), 0.5);
  EXPECT_EQ(with(&RecordParts::cacheWrite5m, kMillion), 6.25);
  EXPECT_EQ(with(&RecordParts::cacheWrite1h, kMillion), 10);
  EXPECT_EQ(with(&RecordParts::output, kMillion), 25);
  EXPECT_EQ(with(&RecordParts::webSearch, 1), 0.01);
  EXPECT_EQ(with(&RecordParts::webFetch, 10), 0);
  EXPECT_EQ(with(&RecordParts::input, -kMillion), -5);
  EXPECT_EQ(with(&RecordParts::output, std::numeric_limits<std::int64_t>::max()), 0x1p63 * 25 / 1e6);
}

TEST(Pricing, SumsRunInAFixedOrder) {
  // Among so many records, any other order of sums or products differs in a last bit.
  std::mt19937_64 random(3);
  const auto below = [&](std::uint64_t limit) { return static_cast<std::int64_t>(random() % limit); };
  const auto number = [](std::int64_t count) { return static_cast<double>(count); };
  for (int i = 0; i < 1'000; ++i) {
    const RecordParts parts{.at = "2026-03-01T00:00:00Z",
                            .input = below(100'000),
                            .output = below(100'000),
                            .cacheWrite5m = below(1'000'000),
                            .cacheWrite1h = below(1'000'000),
                            .cacheRead = below(10'000'000),
                            .webSearch = below(9)};
    volatile double sum = number(parts.input) * 0.8;  // volatile: each step is rounded, none is merged
    volatile double part = number(parts.cacheRead) * 0.8;
    part = part * 0.1;
    sum = sum + part;
    part = number(parts.cacheWrite5m) * 0.8;
    part = part * 1.25;
    sum = sum + part;
    part = number(parts.cacheWrite1h) * 0.8;
    part = part * 2.0;
    sum = sum + part;
    part = number(parts.output) * 4.1;
    sum = sum + part;
    sum = sum / 1'000'000.0;
    part = number(parts.webSearch) * 0.01;
    sum = sum + part;
    ASSERT_EQ(Pricing::cost(make(parts), {0.8, 4.1}), sum);
  }
}

TEST(Pricing, PricerAnswersAsOneLookupPerRecordWould) {
  const Calendar calendar = zone("Europe/Berlin");
  Pricing::Pricer pricer(calendar);
  for (int round = 0; round < 3; ++round) {
    for (const char* day : {"2026-08-31T00:00:00+02:00", "2026-09-01T00:00:00+02:00"}) {
      for (const char* model : {"claude-sonnet-5", "other", "claude-haiku-4-5", "claude-sonnet-5-x", "", "b",
                                "c", "d", "claude-opus-4-9"}) {
        const UsageRecord record =
            make({.at = day, .model = model, .input = 1'000'003, .output = 77, .webSearch = 100});
        const Estimate<double> expected =
            Pricing::prices(record.model, at(day), calendar).map([&](const Prices& prices) {
              return Pricing::cost(record, prices);
            });
        EXPECT_EQ(pricer.cost(record, at(day)), expected) << model << " " << day;
      }
    }
  }
  const Estimate<double> other =
      pricer.cost(make({.at = "2026-03-01T00:00:00Z", .model = "other"}), at("2026-03-01T00:00:00+01:00"));
  EXPECT_EQ(*other.reason(), UnknownReason::noPriceForModel(InternedText("other")));
}

TEST(Pricing, WebFetchIsNotMetered) {
  EXPECT_EQ(Pricing::webFetchCost().reason()->text(), "web fetch is not metered by the provider");
}

TEST(Pricing, NormalizingDropsWhatDoesNotMatterForThePrice) {
  const struct {
    const char* id;
    const char* model;
  } cases[] = {
      {"claude-opus-5", "claude-opus-5"},
      {" \n\tClaude-OPUS-5\r\n\u00a0", "claude-opus-5"},
      {"claude-sonnet-5-20260115", "claude-sonnet-5"},
      {"claude-sonnet-5-20260115[1m]", "claude-sonnet-5"},
      {"claude-[1M]sonnet-5[1m]-20260115", "claude-sonnet-5"},
      {"[1[1m]m]", "[1m]"},                                        // one walk over the text
      {"claude-sonnet-5 [1m]", "claude-sonnet-5 "},                // trimmed before, not after
      {"model-20260115-20260115", "model-20260115"},               // one suffix only
      {"claude-sonnet-5-19991231", "claude-sonnet-5-19991231"},    // begins with 20 or stays
      {"claude-sonnet-5-2026011", "claude-sonnet-5-2026011"},      // seven digits
      {"claude-sonnet-5-202601155", "claude-sonnet-5-202601155"},  // nine
      {"claude-sonnet-5-2026011a", "claude-sonnet-5-2026011a"},
      {"-20260115", "-20260115"},         // nine characters are final
      {"m-20260115", "m"},                // ten are not
      {"é-20260115", "é"},                // characters, not bytes
      {"claude-x-20२६०११५", "claude-x"},  // any digits
      {"İ-20260115", "i\u0307"},
      {"", ""},
      {"[1m]", ""},
  };
  for (const auto& [id, model] : cases) {
    EXPECT_EQ(Pricing::normalizeModel(id), model) << id;
  }
}

}  // namespace
}  // namespace tallyfin
