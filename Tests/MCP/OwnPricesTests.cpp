#include "MCP/GoldenHome.hpp"

#include <gmock/gmock.h>

namespace tallyfin {
namespace {

using testing::HasSubstr;
using testing::Not;

class OwnPrices : public GoldenHome {
 protected:
  std::string answerWith(std::string_view prices, std::string_view tool,
                         const std::string& arguments = "{}") {
    machine_.home.write(".config/net.quillpond.tallyfin/prices.json", prices);
    return answer(tool, arguments);
  }

  std::string answer(std::string_view tool, const std::string& arguments = "{}") {
    DataSource data(machine_.environment());
    return MCPServer(data, [](std::string_view) {}).callTool(tool, argumentsOf(arguments)).text;
  }
};

TEST_F(OwnPrices, AnswersSayThatTheyWereUsed) {
  constexpr std::string_view kPrices = R"({"prices": [
    {"model": "nova-1", "input": 2.5, "output": 10}, {"model": "nova-2", "input": 0, "output": 0}]})";
  EXPECT_EQ(answerWith(kPrices, "tally_cost", R"({"by": "hour", "project": "beta"})"),
            R"(Cost — today (2026-03-10)
filters: project = /nowhere/beta
──────────────────────────────────────────────────────────────
  TOTAL  $0.0075
  tokens 1.5k (in 1.0k · out 500 · cache-write 0 · cache-read 0)
  dominant: input 66.7%
  range: 2026-03-10 09:40 → 2026-03-10 09:40

BREAKDOWN BY HOUR
  09:00                               $0.0075  ·  1 request  ·  1.5k tokens  ·  nova-1×1

WHO (top 5 agents over the same range)
  (main session)                      $0.0075  ·  1 request  ·  1.5k tokens  ·  nova-1×1

The period includes today — the figure is not final.
NOTE: own prices for 1 model (nova-1) were used.
— Estimate from usage × list API prices. Not a bill.
)");
  EXPECT_THAT(answerWith(kPrices, "tally_overview"),
              HasSubstr("\nNOTE: own prices for 2 models (nova-1, nova-2) were used.\n— "));
  EXPECT_THAT(answerWith(kPrices, "tally_cost", R"({"project": "alpha"})"), Not(HasSubstr("own prices")));
  EXPECT_THAT(
      answerWith(kPrices, "tally_sources"),
      HasSubstr("\nOWN PRICES\n  file  ~/.config/net.quillpond.tallyfin/prices.json — 2 models: nova-1, "
                "nova-2\n\nNOTE: own prices for 2 models (nova-1, nova-2) were used.\n"));
}

TEST_F(OwnPrices, AnInvalidFileIsReportedAndIgnored) {
  const std::string before = answer("tally_overview");
  EXPECT_EQ(answerWith("{\n7", "tally_overview"), before);
  EXPECT_THAT(
      answerWith("{\n7", "tally_sources"),
      HasSubstr("prices.json — unusable, only list prices are used: line 2: no valid JSON; last read: "));
}

}  // namespace
}  // namespace tallyfin
