// Runs the real executable like a client: the whole input is written first, the whole output is read
// afterwards, and only the given environment is set.

#include "Platform/Concat.hpp"
#include "Support/TempHome.hpp"
#include "Support/UsageLine.hpp"
#include "nlohmann/json.hpp"

#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tallyfin {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

const std::string overviewCall = R"({"id":"o","method":"tools/call","params":{"name":"tally_overview"}})";
const std::string pong = R"({"jsonrpc":"2.0","id":1,"result":{}})";

class ServerTest : public testing::Test {
 protected:
  // Three past requests: 5.00, 2.00, and one without a price at 01:30 local time on 2018-11-04, a day without
  // a midnight. Another home repeats the first.
  ServerTest() {
    const UsageLine first{.id = "m1", .time = "2018-11-03T12:00:00Z", .input = 1'000'000};
    const UsageLine second{
        .id = "m2", .time = "2018-11-03T13:00:00Z", .model = "claude-haiku-4-5", .input = 2'000'000};
    const UsageLine third{.id = "m3", .time = "2018-11-04T03:30:00Z", .model = "nova-1", .input = 5};
    home_.write("made/.claude/projects/p/one.jsonl", first.text() + second.text() + "{\"usage\": cut");
    home_.write("made/.claude-work/projects/p/sub/two.jsonl", first.text() + third.text());
  }

  // Runs a session, which must exit with status 0. The log is in `log` afterwards.
  std::string outputOf(const std::string& input, bool isOutputClosed = false,
                       const std::string& zone = "America/Sao_Paulo") const {
    home_.write("in", input);
    std::fflush(nullptr);  // otherwise the child would write buffered output again
    const pid_t process = fork();
    if (process == 0) {
      const std::string variables[] = {
          concat("HOME=", home_.path("real")), concat("TALLYFIN_HOME=", home_.path("made")),
          concat("TALLYFIN_CACHE_PATH=", home_.path("cache/scan.bin")), concat("TZ=", zone)};
      const char* environment[] = {variables[0].c_str(), variables[1].c_str(), variables[2].c_str(),
                                   variables[3].c_str(), nullptr};
      const bool isReady = std::freopen(home_.path("in").c_str(), "r", stdin) != nullptr &&
                           std::freopen(home_.path("out").c_str(), "w", stdout) != nullptr &&
                           std::freopen(home_.path("log").c_str(), "w", stderr) != nullptr;
      if (isOutputClosed) {
        close(STDOUT_FILENO);
      }
      if (isReady) {
        execle(TALLYFIN_SERVER, TALLYFIN_SERVER, nullptr, environment);
      }
      _exit(127);
    }
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    return home_.read("out");
  }

  // The overview from the history on, which does not depend on the clock.
  std::string history() const {
    const json reply = json::parse(outputOf(overviewCall + "\n"));
    const std::string text = reply["result"]["content"][0]["text"];
    EXPECT_THAT(text, StartsWith("Tallyfin — status at "));
    EXPECT_THAT(text, HasSubstr("\n  unknown — no requests recorded today\n"));
    return text.substr(text.find("HISTORY"));
  }

  const std::string expectedHistory_ = R"(HISTORY
  days with activity   2
  total recorded       ≥ $7.00 [1 request with no known price (nova-1) are not included]
  range                2018-11-03 09:00 → 2018-11-04 01:30

The period includes today — the figure is not final.
— Estimate from usage × list API prices. Not a bill.
Next: tally_top_agents · tally_provenance · tally_sources
)";
  const TempHome home_;
};

TEST_F(ServerTest, AnswersAWholeSession) {
  const std::string long_(20'000'000, 'x');
  const std::string output = outputOf(
      R"({"id":0,"method":"initialize","params":{"protocolVersion":"2025-06-18"}})"
      "\n{\"method\":\"notifications/initialized\"}\n \nnot json\r\n" +
      std::string(2'000'000, '[') + "\n" + R"({"padding":")" + long_ + R"(","id":1,"method":"ping"})" +
      "\r\n" + R"({"id":1,"method":"ping"})");  // the last line needs no line feed
  const std::size_t end = output.find('\n');
  EXPECT_EQ(json::parse(output.substr(0, end))["result"]["protocolVersion"], "2025-06-18");
  EXPECT_EQ(output.substr(end + 1), pong + "\n" + pong + "\n");
  EXPECT_EQ(home_.read("log"), "[tallyfin-mcp] started; cache = " + home_.path("cache/scan.bin") +
                                   "; homes = .claude, .claude-work, .claude-outlook, .claude-yahoo\n"
                                   "[tallyfin-mcp] line ignored: not JSON, or no `method`\n"
                                   "[tallyfin-mcp] line ignored: not JSON, or no `method`\n"
                                   "[tallyfin-mcp] stdin closed; exiting\n");
}

TEST_F(ServerTest, FiguresAreTheSameFromScratchFromTheCacheAndOverGarbage) {
  EXPECT_EQ(history(), expectedHistory_);
  const std::string cache = home_.read("cache/scan.bin");
  EXPECT_THAT(cache, StartsWith("TFC1"));
  for (const std::string& found :
       {cache, std::string(), std::string("garbage"), cache.substr(0, cache.size() - 1),
        cache.substr(0, 9) + std::string(64, '\xff') + cache.substr(9)}) {
    home_.write("cache/scan.bin", found);
    EXPECT_EQ(history(), expectedHistory_);
    EXPECT_EQ(home_.read("cache/scan.bin").size(), cache.size()) << "and the file is whole again";
  }
}

TEST_F(ServerTest, AZoneFileThatCannotBeReadIsLogged) {
  ASSERT_EQ(mkfifo(home_.path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(outputOf(R"({"id":1,"method":"ping"})", false, home_.path("fifo")), pong + "\n");
  EXPECT_THAT(home_.read("log"),
              HasSubstr("\n[tallyfin-mcp] the time zone \"" + home_.path("fifo") + "\" is not known or "));
}

TEST_F(ServerTest, AClosedStandardOutputIsNotReusedForAFile) {
  outputOf(overviewCall + "\n", true);
  EXPECT_THAT(home_.read("cache/scan.bin"), StartsWith("TFC1"))
      << "the answer was not written to the cache file";
}

}  // namespace
}  // namespace tallyfin
