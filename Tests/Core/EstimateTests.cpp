// Tests amounts and caveats in cases that answers do not reach.

#include "TallyfinCore/Estimate.hpp"

#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(Estimate, MoneyHasTwoDecimalsOrFourBelowOneCent) {
  const struct {
    double amount;
    const char* text;
  } cases[] = {{-0.0, "$0.00"},
               {0.00001, "$0.0000"},
               {-0.00001, "$-0.0000"},
               {0.00999, "$0.0100"},
               {std::nextafter(0.01, 0), "$0.0100"},
               {0.01, "$0.01"},
               {-0.01, "$-0.01"},
               {0.125, "$0.12"},  // ties round to the even digit
               {2.675, "$2.67"},  // a little below the tie in binary
               {999.995, "$1,000.00"},
               {-1234.5, "$-1,234.50"},
               {-100, "$-100.00"},
               {1e15, "$1,000,000,000,000,000.00"},
               {std::numeric_limits<double>::quiet_NaN(), "$nan"}};
  for (const auto& [amount, text] : cases) {
    EXPECT_EQ(CostEstimate::money(amount), text) << amount;
  }
}

TEST(Estimate, SumsAndMediansKeepWhatIsLeftOut) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const InternedText a("a");
  const InternedText b("b");
  const CostEstimate left{1.5, 1, {a}};
  const CostEstimate right{2, 1204, {b, a}};
  EXPECT_EQ(left + right, (CostEstimate{3.5, 1205, {a, b}}));
  EXPECT_EQ(right.scaled(0.5), (CostEstimate{1, 1204, {a, b}}));
  EXPECT_EQ((CostEstimate{0, kMost, {}} + left).unpricedRequests, kMost);
  EXPECT_EQ(CostEstimate::median({right, left, {9, 0, {}}, {7, 0, {}}}), (CostEstimate{4.5, 1205, {a, b}}));
  EXPECT_EQ(right.caveat(), "1204 requests with no known price (a, b) are not included");
  EXPECT_EQ(right.caveat(1), "1204 requests with no known price (a and 1 more) are not included");
  EXPECT_FALSE(right.isComplete());
  EXPECT_EQ((CostEstimate{12.5, 0, {}}).caveat(), std::nullopt);
}

TEST(Estimate, OneRequestAddsItsDollarsOrItsReason) {
  CostEstimate cost;
  cost.add(0.25);
  ModelSet added;
  for (int round = 0; round < 2; ++round) {
    for (char name = 'z'; name > 'm'; --name) {  // more models than noteModel compares one by one
      added.emplace(std::string_view(&name, 1));
      cost.add(UnknownReason::noPriceForModel(InternedText(std::string_view(&name, 1))));
    }
  }
  cost.add(UnknownReason::noData());
  EXPECT_EQ(cost, (CostEstimate{0.25, 27, added}));
}

TEST(Estimate, TextsOfReasonsThatNoAnswerShows) {
  const InternedText thing("thing");
  EXPECT_EQ(UnknownReason::noPriceForModel(thing).text(),
            "no known price for model: thing — its cost is not included");
  EXPECT_EQ(UnknownReason::unreadableSource(thing).text(), "unreadable source: thing");
  EXPECT_EQ(UnknownReason::periodIncomplete().text(),
            "the period is still running — the figure is not final");
  EXPECT_NE(UnknownReason::noPriceForModel(thing), UnknownReason::noPriceForModel(InternedText("b")));
}

}  // namespace
}  // namespace tallyfin
