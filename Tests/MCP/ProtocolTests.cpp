#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Support/Machine.hpp"
#include "TallyfinMCP/MCP.hpp"
#include "nlohmann/json.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string ignored = "line ignored: not JSON, or no `method`";

class Protocol : public testing::Test {
 protected:
  std::string reply(std::string_view line) { return server_.reply(line).value_or("(none)"); }

  json result(std::string_view line) {
    const json answer = json::parse(reply(line));
    EXPECT_EQ(answer.size(), 3U) << answer;
    EXPECT_EQ(answer.value("jsonrpc", ""), "2.0");
    return answer.value("result", json());
  }

  /// The answer of a tool call, behind "ERROR " when it is one.
  std::string call(const std::string& params) {
    const json answer = result(R"({"id":1,"method":"tools/call","params":)" + params + "}");
    EXPECT_EQ(answer.size(), 2U);
    EXPECT_EQ(answer["content"].size(), 1U);
    EXPECT_EQ(answer["content"][0].size(), 2U);
    EXPECT_EQ(answer["content"][0]["type"], "text");
    return (answer["isError"].get<bool>() ? "ERROR " : "") + answer["content"][0]["text"].get<std::string>();
  }

  Machine machine_{{2026, 3, 10}, 14, 30};
  std::vector<std::string> log_;
  DataSource data_{machine_.environment()};
  MCPServer server_{data_, [this](std::string_view line) { log_.emplace_back(line); }};
};

TEST_F(Protocol, EveryIdComesBackAsTheSameValue) {
  const std::pair<const char*, const char*> ids[] = {
      {"1", "1"},
      {"-0", "-0"},
      {"1e2", "1e2"},
      {"1E+400", "1E+400"},
      {"9007199254740993", "9007199254740993"},
      {"1234567890123456789012345", "1234567890123456789012345"},
      {"0.10", "0.10"},
      {"null", "null"},
      {"true", "true"},
      {R"("")", R"("")"},
      {R"("a\/b \u00e9 \" \\ \n")", R"("a/b é \" \\ \n")"},
      {R"( [1, {"a" : [ ]}] )", R"([1,{"a":[]}])"},
      {R"({ "deep": {"er": 1.50} })", R"({"deep":{"er":1.50}})"},
      {R"({"b": 1, "b": 2})", R"({"b":1,"b":2})"},
  };
  for (const auto& [sent, returned] : ids) {
    EXPECT_EQ(reply(concat(R"({"method":"ping","id":)", sent, "}")),
              concat(R"({"jsonrpc":"2.0","id":)", returned, R"(,"result":{}})"));
  }
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(Protocol, HandshakeTakesAnyVersionThatIsText) {
  const std::pair<const char*, const char*> versions[] = {
      {R"(,"params":{"protocolVersion":"1999-01-01"})", "1999-01-01"},
      {R"(,"params":{"protocolVersion":""})", ""},
      {R"(,"params":{"protocolVersion":5})", "2025-11-25"},
      {R"(,"params":{})", "2025-11-25"},
      {R"(,"params":["protocolVersion"])", "2025-11-25"},
      {"", "2025-11-25"},
  };
  for (const auto& [params, version] : versions) {
    json answer = result(concat(R"({"jsonrpc":"1.0","id":1,"method":"initialize")", params, "}"));
    EXPECT_THAT(answer["instructions"].get<std::string>(),
                HasSubstr("so the answer to \"why did today cost that much\" is usually WHICH AGENT"));
    answer.erase("instructions");
    EXPECT_EQ(answer, (json{{"protocolVersion", version},
                            {"capabilities", {{"tools", json::object()}}},
                            {"serverInfo", {{"name", "tallyfin"}, {"version", "0.5.3"}}}}));
  }
}

TEST_F(Protocol, SlashesAreNotEscaped) {
  EXPECT_EQ(reply(R"({"id":7,"method":"resources\/list"})"),
            R"({"jsonrpc":"2.0","id":7,"error":{"code":-32601,"message":"Unknown method: resources/list"}})");
}

TEST_F(Protocol, NotificationsAreSilent) {
  for (const char* line :
       {R"({"method":"tools/list"})", R"({"method":"no/such"})", R"({"method":"initialize"})",
        R"({"method":"tools/call","params":{"name":"tally_overview"}})",
        R"({"id":7,"method":"notifications/cancelled"})", R"({"id":7,"method":"notifications/"})",
        R"({"jsonrpc":"2.0","method":"notifications/initialized"})"}) {
    EXPECT_EQ(reply(line), "(none)") << line;
  }
  EXPECT_THAT(log_, IsEmpty());
  EXPECT_TRUE(data_.records().empty());
  EXPECT_FALSE(Files::exists(machine_.home.path("cache/scan.bin"))) << "a call without an id runs no tool";
}

TEST_F(Protocol, WhatIsNoMessageIsLoggedAndLeftUnanswered) {
  const std::vector<std::string> lines = {
      R"({"id":7})",
      "[]",
      R"([{"id":1,"method":"ping"}])",
      "{}",
      "12",
      "not json",
      R"({"id":7,"method":5})",
      R"({"id":7,"method":null})",
      R"({"id":1,"method":"ping"} x)",
      R"({"id":1,"method":"ping",})",
      R"({"id":01,"method":"ping"})",
      R"({"id":NaN,"method":"ping"})",
      R"({"id":1,"method":"ping","x":"\ud800"})",
      "{\"id\":1,\"method\":\"ping\",\"x\":\"\xff\"}",
      "\xff",
      "\xef\xbb\xbf{\"id\":1,\"method\":\"ping\"}",
      R"({"id":1,"method":"ping","method":5})",
      std::string(100'000, '['),
      R"({"id":1,"method":"ping","x":)" + std::string(100'000, '[') + std::string(100'000, ']') + "}"};
  for (const std::string& line : lines) {
    EXPECT_EQ(reply(line), "(none)") << line.substr(0, 80);
    EXPECT_THAT(log_, ElementsAre(ignored)) << line.substr(0, 80);
    log_.clear();
  }
}

TEST_F(Protocol, WhiteSpaceAroundAMessageDoesNoHarm) {
  for (const char* line : {"", " ", " \t\r\f\v", "\u00a0\u2028\u3000\u0085"}) {
    EXPECT_EQ(reply(line), "(none)");
  }
  const std::string pong = R"({"jsonrpc":"2.0","id":1,"result":{}})";
  EXPECT_EQ(reply("\u3000 \t{ \"method\" : \"ping\" , \"id\" : 1 }\u2029\r"), pong);
  EXPECT_EQ(reply(R"({"id":8,"m\u0065thod":"nothing","method":"ping","id":1})"), pong)
      << "the last of equal keys";
  EXPECT_THAT(log_, IsEmpty());
}

TEST_F(Protocol, ToolCallsAnswerWithTextAndFlag) {
  EXPECT_EQ(call(R"({"name":"TALLY_OVERVIEW"})"), "ERROR Unknown verb: TALLY_OVERVIEW");
  EXPECT_EQ(call(R"({"name":"","arguments":{}})"), "ERROR Unknown verb: ");
  EXPECT_EQ(call(R"({"name":5})"), "ERROR Unknown verb: ");
  EXPECT_EQ(call(R"(["tally_overview"])"), "ERROR Unknown verb: ");
  EXPECT_THAT(call(R"({"name":"tally_overview"})"), HasSubstr("\nTOP 5 AGENTS TODAY\n"));
  EXPECT_THAT(call(R"({"name":"tally_overview","arguments":[1,2]})"), HasSubstr("\nTOP 5 AGENTS TODAY\n"));
  EXPECT_THAT(call(R"({"name":"tally_overview","arguments":{"top":3e0}})"),
              HasSubstr("\nTOP 3 AGENTS TODAY\n"));
  EXPECT_THAT(
      call(R"({"arguments":{"top":[9],"limit":{"top":8},"x":[7],"t\u006fp":2},"name":"tally_overview"})"),
      HasSubstr("\nTOP 2 AGENTS TODAY\n"));
  EXPECT_THAT(call(R"({"name":"tally_overview","arguments":{"top":2},"arguments":{"top":4,"top":[2]}})"),
              HasSubstr("\nTOP 5 AGENTS TODAY\n"))
      << "of equal keys the last";
  const json answer = result(R"({"id":1,"method":"tools/call"})");
  EXPECT_EQ(answer["content"][0]["text"], "Unknown verb: ");
  EXPECT_EQ(answer["isError"], true);
}

}  // namespace
}  // namespace tallyfin
