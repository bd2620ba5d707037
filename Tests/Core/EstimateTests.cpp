#include "TallyfinCore/Estimate.hpp"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

std::set<InternedText> models(std::initializer_list<const char*> names) {
  std::set<InternedText> set;
  for (const char* name : names) {
    set.emplace(name);
  }
  return set;
}

TEST(Estimate, MoneyHasTwoDecimalsOrFourBelowOneCent) {
  const struct {
    double amount;
    const char* text;
  } cases[] = {
      {0, "$0.00"},
      {-0.0, "$0.00"},
      {0.00001, "$0.0000"},
      {-0.00001, "$-0.0000"},
      {0.004, "$0.0040"},
      {0.0099, "$0.0099"},
      {0.00999, "$0.0100"},
      {std::nextafter(0.01, 0), "$0.0100"},
      {0.01, "$0.01"},
      {-0.001, "$-0.0010"},
      {-0.01, "$-0.01"},
      {-0.5, "$-0.50"},
      {0.125, "$0.12"},  // ties go to the even digit
      {0.375, "$0.38"},
      {2.675, "$2.67"},  // a little below the tie in binary
      {999.99, "$999.99"},
      {999.995, "$1,000.00"},
      {1000, "$1,000.00"},
      {1234.5, "$1,234.50"},
      {-1234.5, "$-1,234.50"},
      {-100, "$-100.00"},
      {123456.789, "$123,456.79"},
      {1234567.891, "$1,234,567.89"},
      {1e15, "$1,000,000,000,000,000.00"},
      {std::numeric_limits<double>::quiet_NaN(), "$nan"},
      {-std::numeric_limits<double>::infinity(), "$-inf"},
  };
  for (const auto& [amount, text] : cases) {
    EXPECT_EQ(CostEstimate::money(amount), text) << amount;
  }
}

TEST(Estimate, IncompleteCostsSayWhatTheyLeaveOut) {
  const struct {
    CostEstimate cost;
    const char* formatted;
    const char* caveat;
  } cases[] = {
      {{12.5, 1, models({"m"})}, "≥ $12.50", "1 request with no known price (m) are not included"},
      {{0, 2, models({"zeta", "Beta", "alpha"})},
       "≥ $0.00",
       "2 requests with no known price (Beta, alpha, zeta) are not included"},
      {{0.004, 1204, models({"", "x", "é"})},
       "≥ $0.0040",
       "1204 requests with no known price (, x, é) are not included"},
      {{1, 3, {}}, "≥ $1.00", "3 requests with no known price () are not included"},
  };
  for (const auto& [cost, formatted, caveat] : cases) {
    EXPECT_FALSE(cost.isComplete());
    EXPECT_EQ(cost.formatted(), formatted);
    EXPECT_EQ(cost.caveat(), caveat);
  }
  const CostEstimate complete{12.5, 0, {}};
  EXPECT_TRUE(complete.isComplete());
  EXPECT_EQ(complete.formatted(), "$12.50");
  EXPECT_EQ(complete.caveat(), std::nullopt);
}

TEST(Estimate, SumsAndScaledCostsCarryWhatIsLeftOut) {
  const CostEstimate left{1.5, 1, models({"a"})};
  const CostEstimate right{2, 2, models({"b", "a"})};
  EXPECT_EQ(left + right, (CostEstimate{3.5, 3, models({"a", "b"})}));
  EXPECT_EQ(right.scaled(0.5), (CostEstimate{1, 2, models({"a", "b"})}));
  EXPECT_EQ((CostEstimate{0, kMost, {}} + left).unpricedRequests, kMost);
}

TEST(Estimate, OneRequestAddsItsDollarsOrItsReason) {
  CostEstimate cost;
  cost.add(0.25);
  cost.add(0.0);
  EXPECT_EQ(cost, (CostEstimate{0.25, 0, {}}));
  std::set<InternedText> added;
  for (int round = 0; round < 2; ++round) {
    for (char name = 'z'; name > 'm'; --name) {  // more models than are looked for one by one
      added.emplace(std::string_view(&name, 1));
      cost.add(UnknownReason::noPriceForModel(InternedText(std::string_view(&name, 1))));
    }
  }
  cost.add(UnknownReason::noData());
  EXPECT_EQ(cost, (CostEstimate{0.25, 27, added}));
}

TEST(Estimate, MedianIsOfTheDollarsAlone) {
  const struct {
    std::vector<double> amounts;
    double median;
  } cases[] = {{{4}, 4}, {{10, 1, 2}, 2}, {{10, 3, 1, 2}, 2.5}, {{1, 2}, 1.5}, {{7, 7, 1, 7, 9}, 7}};
  for (const auto& [amounts, median] : cases) {
    std::vector<CostEstimate> list;
    list.reserve(amounts.size());
    for (const double amount : amounts) {
      list.push_back({amount, 0, {}});
    }
    EXPECT_EQ(CostEstimate::median(list), (CostEstimate{median, 0, {}}));
  }
  EXPECT_EQ(CostEstimate::median({{5, 1, models({"b"})}, {1, 0, {}}, {9, 2, models({"a"})}}),
            (CostEstimate{5, 3, models({"a", "b"})}));
}

TEST(Estimate, ReasonsHaveTheirWords) {
  const InternedText thing("thing");
  const struct {
    UnknownReason reason;
    const char* text;
  } cases[] = {
      {UnknownReason::noPriceForModel(thing), "no known price for model: thing — its cost is not included"},
      {UnknownReason::notMetered(thing), "thing is not metered by the provider"},
      {UnknownReason::unreadableSource(thing), "unreadable source: thing"},
      {UnknownReason::noData(), "no requests in the selected range"},
      {UnknownReason::noRecentActivity(),
       "no requests in the last few hours — the rate would describe when you last worked, not now"},
      {UnknownReason::periodIncomplete(), "the period is still running — the figure is not final"},
  };
  for (const auto& [reason, text] : cases) {
    EXPECT_EQ(reason.text(), text);
  }
  EXPECT_STREQ(UnknownReason::placeholder, "unknown");
}

TEST(Estimate, KnownAndUnknownNeverMix) {
  const Estimate<double> known = 0.0;
  const Estimate<double> unknown = UnknownReason::noData();
  EXPECT_TRUE(known.isKnown());
  EXPECT_EQ(*known.value(), 0);
  EXPECT_EQ(known.reason(), nullptr);
  EXPECT_FALSE(unknown.isKnown());
  EXPECT_EQ(unknown.value(), nullptr);
  EXPECT_EQ(*unknown.reason(), UnknownReason::noData());
  EXPECT_FALSE(known == unknown);
  EXPECT_FALSE(unknown == Estimate<double>(UnknownReason::noRecentActivity()));
  EXPECT_FALSE(UnknownReason::noPriceForModel(InternedText("a")) ==
               UnknownReason::noPriceForModel(InternedText("b")));

  const auto text = [](double value) { return std::to_string(static_cast<int>(value)); };
  EXPECT_EQ(*known.map(text).value(), "0");
  EXPECT_EQ(*unknown.map(text).reason(), UnknownReason::noData());
}

}  // namespace
}  // namespace tallyfin
