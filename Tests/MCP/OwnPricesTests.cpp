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
    DataSource data(machine_.environment());
    return MCPServer(data, [](std::string_view) {}).callTool(tool, argumentsOf(arguments)).text;
  }
};

TEST_F(OwnPrices, AnAnswerTellsThatTheyTookPart) {
  constexpr std::string_view kPrices = R"({"prices": [
    {"model": "nova-1", "input": 2.5, "output": 10}, {"model": "nova-2", "input": 0, "output": 0}]})";
  EXPECT_EQ(answerWith(kPrices, "tally_cost", R"({"by": "hour", "project": "beta"})"), R"()");
  EXPECT_THAT(answerWith(kPrices, "tally_overview"),
              HasSubstr("\nNOTE: own prices for 2 models (nova-1, nova-2) were used.\n— "));
  EXPECT_THAT(answerWith(kPrices, "tally_cost", R"({"project": "alpha"})"), Not(HasSubstr("own prices")));
  EXPECT_THAT(
      answerWith(kPrices, "tally_sources"),
      HasSubstr("\nOWN PRICES\n  file  ~/.config/net.quillpond.tallyfin/prices.json — 2 models: nova-1, "
                "nova-2\n\nNOTE: own prices for 2 models (nova-1, nova-2) were used.\n"));
}

TEST_F(OwnPrices, AFileThatIsWrongChangesNothingButTheLineThatSaysSo) {
  const std::string before = answer("tally_overview");
  EXPECT_EQ(answerWith("{\n7", "tally_overview"), before);
  EXPECT_THAT(
      answerWith("{\n7", "tally_sources"),
      HasSubstr("prices.json — unusable, only list prices are used: line 2: no valid JSON at \"7\"\n"));
}

}  // namespace
}  // namespace tallyfin
