#include "EndToEnd/Server.hpp"
#include "Support/TempHome.hpp"
#include "Support/UsageLine.hpp"
#include "nlohmann/json.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

const std::string overviewCall = R"({"id":"o","method":"tools/call","params":{"name":"tally_overview"}})";
const std::string ping = R"({"id":1,"method":"ping"})";
const std::string pong = R"({"jsonrpc":"2.0","id":1,"result":{}})";

class ServerTest : public testing::Test {
 protected:
  std::vector<std::string> variables() const {
    return {"HOME=" + home_.path("real"), "TALLYFIN_HOME=" + home_.path("made"),
            "TALLYFIN_CACHE_PATH=" + home_.path("cache/scan.bin"), "TZ=America/Sao_Paulo"};
  }

  std::string logPath() const { return home_.path("log"); }

  /// Three requests of the past: of 5.00, 2.00 and one without a price, the last on 2018-11-04, a day without
  /// a midnight, at 01:30 of the zone; and a repetition of the first in another home.
  void addHistory() const {
    const UsageLine first{.id = "m1", .time = "2018-11-03T12:00:00Z", .input = 1'000'000};
    home_.write(
        "made/.claude/projects/p/one.jsonl",
        first.text() +
            UsageLine{
                .id = "m2", .time = "2018-11-03T13:00:00Z", .model = "claude-haiku-4-5", .input = 2'000'000}
                .text() +
            "{\"usage\": cut");
    home_.write(
        "made/.claude-work/projects/p/sub/two.jsonl",
        first.text() +
            UsageLine{.id = "m3", .time = "2018-11-04T03:30:00Z", .model = "nova-1", .input = 5}.text());
  }

  /// The overview from its history on, which no clock changes.
  static std::string history(const std::string& answer) {
    const json reply = json::parse(answer);
    EXPECT_EQ(reply["id"], "o");
    EXPECT_EQ(reply["result"]["isError"], false);
    const std::string text = reply["result"]["content"][0]["text"];
    EXPECT_THAT(text, StartsWith("Tallyfin — status at "));
    EXPECT_THAT(text, HasSubstr("\n  unknown — no requests recorded today\n"));
    return text.substr(text.find("HISTORY"));
  }

  const std::string expectedHistory_ =
      "HISTORY\n"
      "  days with activity   2\n"
      "  total recorded       ≥ $7.00 [1 request with no known price (nova-1) are not included]\n"
      "  range                2018-11-03 09:00 → 2018-11-04 01:30\n"
      "\n"
      "The period includes today — the figure is not final.\n"
      "— Estimate from usage × list API prices. Not a bill.\n"
      "Next: tally_top_agents · tally_provenance · tally_sources\n";

  TempHome home_;
};

TEST_F(ServerTest, ASessionFromHandshakeToFigures) {
  addHistory();
  Server server(variables(), logPath());
  const json handshake = json::parse(server.ask(
      R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":{"protocolVersion":"2025-06-18"}})"));
  EXPECT_EQ(handshake["result"]["protocolVersion"], "2025-06-18");
  server.send("{\"jsonrpc\":\"2.0\",\"method\":\"notifications/initialized\"}\n \n");
  EXPECT_EQ(json::parse(server.ask(R"({"id":1,"method":"tools/list"})"))["result"]["tools"].size(), 9U);
  server.send("not json\r\n");
  EXPECT_EQ(history(server.ask(overviewCall + "\r")), expectedHistory_);

  home_.append("made/.claude/projects/p/one.jsonl",
               UsageLine{.id = "m4", .time = "2018-11-05T12:00:00Z"}.text());
  EXPECT_EQ(history(server.ask(overviewCall)), expectedHistory_) << "within 15 seconds nothing is read again";

  server.send(ping);  // the last line needs no line feed
  const Server::End end = server.finish();
  EXPECT_EQ(end.output, pong + "\n");
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(home_.read("log"), "[tallyfin-mcp] started; cache = " + home_.path("cache/scan.bin") +
                                   "; homes = .claude, .claude-work, .claude-outlook, .claude-yahoo\n"
                                   "[tallyfin-mcp] line ignored: not JSON, or no `method`\n"
                                   "[tallyfin-mcp] stdin closed; exiting\n");
}

TEST_F(ServerTest, FiguresAreTheSameFromScratchFromTheCacheAndOverGarbage) {
  addHistory();
  const auto answer = [this] { return history(Server(variables(), logPath()).ask(overviewCall)); };
  EXPECT_EQ(answer(), expectedHistory_);
  const std::string cache = home_.read("cache/scan.bin");
  EXPECT_THAT(cache, StartsWith("TFC1"));
  EXPECT_EQ(answer(), expectedHistory_);
  EXPECT_EQ(home_.read("cache/scan.bin").size(), cache.size());

  for (const std::string& damaged : {std::string(), std::string("garbage"), cache.substr(0, cache.size() - 1),
                                     cache.substr(0, 9) + std::string(64, '\xff') + cache.substr(9)}) {
    home_.write("cache/scan.bin", damaged);
    EXPECT_EQ(answer(), expectedHistory_);
    EXPECT_EQ(home_.read("cache/scan.bin").size(), cache.size()) << "and the file is whole again";
  }
}

TEST_F(ServerTest, AClosedStandardOutputIsNoFileOfOurs) {
  addHistory();
  Server server(variables(), logPath(), Server::Output::closed);
  server.send(overviewCall + "\n");
  EXPECT_EQ(server.finish().status, 0);
  EXPECT_THAT(home_.read("cache/scan.bin"), StartsWith("TFC1")) << "the answer did not land in a file";
}

}  // namespace
}  // namespace tallyfin
