#include "Platform/Numbers.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "TallyfinMCP/Render.hpp"

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

InternedText text(std::string_view value) {
  return InternedText(value);
}

CostEstimate cost(double priced, std::int64_t unpriced = 0,
                  std::initializer_list<std::string_view> models = {}) {
  CostEstimate estimate{.priced = priced, .unpricedRequests = unpriced, .unpricedModels = {}};
  for (const std::string_view model : models) {
    estimate.unpricedModels.insert(text(model));
  }
  return estimate;
}

Bucket bucket(std::int64_t requests, CostEstimate estimate) {
  Bucket made;
  made.requests = requests;
  made.cost = std::move(estimate);
  return made;
}

TEST(Render, Counts) {
  const std::pair<std::int64_t, const char*> counts[] = {
      {0, "0"},       {999, "999"},        {1000, "1,000"},        {-1234, "-1,234"},
      {-999, "-999"}, {100000, "100,000"}, {1234567, "1,234,567"}, {smallest, "-9,223,372,036,854,775,808"}};
  for (const auto& [n, shown] : counts) {
    EXPECT_EQ(grouped(n), shown);
  }
  EXPECT_EQ(counted(0, "request", "requests"), "0 requests");
  EXPECT_EQ(counted(1, "request", "requests"), "1 request");
  EXPECT_EQ(counted(-1, "request", "requests"), "-1 request");
  EXPECT_EQ(counted(1500, "request", "requests"), "1,500 requests");
}

TEST(Render, TokensChangeTheirUnitBeforeRounding) {
  const std::pair<std::int64_t, const char*> counts[] = {{999, "999"},
                                                         {1000, "1.0k"},
                                                         {1234, "1.2k"},
                                                         {1250, "1.2k"},
                                                         {1350, "1.4k"},
                                                         {999'999, "1000.0k"},
                                                         {1'000'000, "1.00M"},
                                                         {2'345'678, "2.35M"},
                                                         {999'999'999, "1000.00M"},
                                                         {1'500'000'000, "1.50G"},
                                                         {-5'000'000, "-5000000"},
                                                         {0, "0"}};
  for (const auto& [n, shown] : counts) {
    EXPECT_EQ(R::tokens(n), shown) << n;
  }
}

TEST(Render, Percentages) {
  const Estimate<double> nothing = UnknownReason::noData();
  EXPECT_EQ(R::fractionEst(0.1234), "12.3%");
  EXPECT_EQ(R::fractionEst(nothing), "unknown — no requests in the selected range");
  EXPECT_EQ(R::signedPercent(12.34), "+12.3%");
  EXPECT_EQ(R::signedPercent(-12.34), "-12.3%");
  EXPECT_EQ(R::signedPercent(0.0), "+0.0%");
  EXPECT_EQ(R::signedPercent(-0.0), "+0.0%");
  EXPECT_EQ(R::signedPercent(0.25), "+0.2%") << "ties go to the even digit";
  EXPECT_EQ(R::signedPercent(nothing), "unknown — no requests in the selected range");
}

TEST(Render, CostOfABucket) {
  EXPECT_EQ(costInAnswer(Bucket{}), "unknown (no requests in range)");
  EXPECT_EQ(costInAnswer(bucket(2, cost(0, 1200, {"zeta", "Alpha", "beta"}))),
            "unknown (1,200 requests, no known price: Alpha, beta, zeta)");
  EXPECT_EQ(costInAnswer(bucket(1, cost(0, 1, {"x"}))), "unknown (1 request, no known price: x)");
  EXPECT_EQ(costInAnswer(bucket(3, cost(0))), "$0.00") << "a known 0 is a figure";
  EXPECT_EQ(costInAnswer(bucket(3, cost(1234.5, 1, {"x"}))),
            "≥ $1,234.50 [1 request with no known price (x) are not included]");
}

TEST(Render, EstimatedCost) {
  EXPECT_EQ(R::costEst(cost(12), "/h"), "$12.00/h");
  EXPECT_EQ(R::costEst(cost(12, 2, {"x"}), "/h"),
            "≥ $12.00/h [2 requests with no known price (x) are not included]");
  EXPECT_EQ(R::costEst(UnknownReason::noData(), "/h"), "unknown — no requests in the selected range");
}

TEST(Render, TimesFollowTheCalendar) {
  const Calendar calendar = *Calendar::named("Asia/Kolkata");
  Bucket some;
  EXPECT_EQ(R::stamp({}, calendar), "unknown");
  EXPECT_EQ(R::stamp(TimePoint{0}, calendar), "1970-01-01 05:30");
  some.lastActivity = TimePoint{86400};
  EXPECT_EQ(R::span(some, calendar), "unknown") << "half a span is none";
  some.firstActivity = TimePoint{0};
  EXPECT_EQ(R::span(some, calendar), "1970-01-01 05:30 → 1970-01-02 05:30");
}

TEST(Render, BucketLine) {
  Bucket some = bucket(1200, cost(2.5));
  some.input = 1500;
  const std::string figures = "  $2.50  ·  1,200 requests  ·  1.5k tokens";
  EXPECT_EQ(R::bucketLine("Größe", some, 8), "  Größe   " + figures);
  EXPECT_EQ(R::bucketLine("12345678", some, 8), "  12345678" + figures);
  EXPECT_EQ(R::bucketLine("cafe\u0301 123456", some, 6), "  cafe\u0301 1" + figures) << "cut by characters";

  some.modelCounts = {{text("b"), 2}, {text("c"), 1000}, {text("a"), 2}};
  EXPECT_EQ(R::bucketLine("x", some, 1), "  x" + figures + "  ·  c×1,000 a×2 b×2");
  EXPECT_EQ(R::models(Bucket{}), std::nullopt);
}

TEST(Render, Notes) {
  Bucket some = bucket(2, cost(1));
  EXPECT_EQ(R::unpricedNote(some), std::nullopt);
  EXPECT_EQ(R::assumedNote(some), std::nullopt);
  some.cost = cost(1, 2, {"y", "x"});
  some.cacheWriteAssumedRequests = 1;
  EXPECT_EQ(R::unpricedNote(some),
            "WARNING: 2 requests with no known price (x, y) are not included — the figures above are lower "
            "bounds.");
  EXPECT_EQ(R::assumedNote(some),
            "NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed "
            "(multiplier 1.25 instead of 2.00).");
}

TEST(Render, Agents) {
  const AgentIdentity named = AgentIdentity::named(text("reviewer"), text("areviewer-0123456789abcdef"));
  EXPECT_EQ(R::agent(named), "reviewer  [areviewer-0123456789abcdef]");
  EXPECT_EQ(R::shortAgent(named), "reviewer");
  EXPECT_EQ(R::agent(AgentIdentity::anonymous(text("0123456789"))), "anonymous agent  [0123456789]");
  EXPECT_EQ(R::shortAgent(AgentIdentity::anonymous(text("0123456789"))), "anon:012345678");
  EXPECT_EQ(R::shortAgent(AgentIdentity::anonymous(text("0123"))), "anon:0123");
  EXPECT_EQ(R::agent(AgentIdentity::main()), "main session (no agentId)");
  EXPECT_EQ(R::shortAgent(AgentIdentity::main()), "(main session)");
}

}  // namespace
}  // namespace tallyfin
