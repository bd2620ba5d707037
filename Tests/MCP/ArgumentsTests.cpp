#include "MCP/GoldenHome.hpp"
#include "Platform/Concat.hpp"
#include "nlohmann/json.hpp"

#include <cstdint>
#include <regex>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Arguments = GoldenHome;

constexpr std::size_t kTenMegabytes = 10'000'000;

enum class Kind : std::uint8_t { text, integer, boolean };

struct Argument {
  const char* tool;
  const char* name;
  Kind kind = Kind::text;
};

/// Every argument of every tool, those included that the catalogue does not list.
std::vector<Argument> everyArgument() {
  std::vector<Argument> all = {
      {"tally_overview", "top", Kind::integer},
      {"tally_cost", "by"},
      {"tally_top_agents", "limit", Kind::integer},
      {"tally_top_agents", "subagents_only", Kind::boolean},
      {"tally_top_projects", "limit", Kind::integer},
      {"tally_top_projects", "agents_per_project", Kind::integer},
      {"tally_by_model", "agents_per_model", Kind::integer},
      {"tally_provenance", "limit", Kind::integer},
      {"tally_session", "session_id"},
      {"tally_agent", "agent"},
  };
  for (const char* tool :
       {"tally_cost", "tally_top_agents", "tally_top_projects", "tally_by_model", "tally_provenance"}) {
    for (const char* name : {"agent", "project", "session_id"}) {
      all.push_back({tool, name});
    }
  }
  for (const char* tool : {"tally_cost", "tally_top_agents", "tally_top_projects", "tally_by_model",
                           "tally_provenance", "tally_session", "tally_agent"}) {
    for (const char* name : {"period", "from", "to"}) {
      all.push_back({tool, name});
    }
  }
  return all;
}

/// What a call of the tool needs besides: its required argument, and the first day for a last one to matter.
json besides(const Argument& argument) {
  json arguments = json::object();
  const std::string tool = argument.tool;
  if (tool == "tally_session") {
    arguments["session_id"] = "5e550001";
  } else if (tool == "tally_agent") {
    arguments["agent"] = "scout";
  }
  if (argument.name == std::string("to")) {
    arguments["from"] = "2026-03-09";
  }
  return arguments;
}

bool isRequired(const Argument& argument) {
  return besides(argument).contains(argument.name);
}

/// The answer to a text that is no period, no day, no axis, and in no name.
std::string answerToNonsense(const Argument& argument, const std::string& value) {
  const std::string tool = argument.tool;
  const std::string name = argument.name;
  if (name == "period") {
    return concat("ERROR unknown period “", value,
                  "” — accepted: today, yesterday, NNd (e.g. 7d), all, or from/to in yyyy-MM-dd");
  }
  if (name == "from" || name == "to") {
    return concat("ERROR invalid date “", value, "” — the format is yyyy-MM-dd");
  }
  if (name == "by") {
    return concat("ERROR unknown axis “", value, "” — accepted: day, hour, agent, project, model, session");
  }
  const std::string error = isRequired(argument) ? "" : "ERROR ";
  if (name == "agent") {
    return concat(error, "No agent matches “", value,
                  "”. See `tally_top_agents` with `period: \"all\"` for the real names.");
  }
  if (name == "project") {
    return concat(error, "No project matches “", value,
                  "”. See `tally_top_projects` with `period: \"all\"`.");
  }
  return concat(error, "No session starts with “", value, "”.",
                isRequired(argument) ? " See `tally_cost` with `by: \"session\"` for the real ids." : "");
}

TEST_F(Arguments, AnotherTypeCountsAsAbsent) {
  const json values[] = {
      nullptr, 5, 2.5, true, "3", json::array(), json::array({"today"}), json::object(), json{{"limit", 3}}};
  for (const Argument& argument : everyArgument()) {
    json arguments = besides(argument);
    arguments.erase(isRequired(argument) ? argument.name : "");
    const std::string absent = answer(argument.tool, arguments.dump());
    EXPECT_EQ(absent.starts_with("ERROR"), isRequired(argument)) << absent;
    for (const json& value : values) {
      const bool isOfKind = (argument.kind == Kind::text && value.is_string()) ||
                            (argument.kind == Kind::integer && value.is_number_integer()) ||
                            (argument.kind == Kind::boolean && value.is_boolean());
      if (!isOfKind) {
        arguments[argument.name] = value;
        EXPECT_EQ(answer(argument.tool, arguments.dump()), absent) << argument.tool << " " << arguments;
      }
    }
  }
}

TEST_F(Arguments, DefaultsAreThoseThatTheCatalogueTells) {
  std::size_t told = 0;
  for (const json& tool : json::parse(MCPServer::tools())) {
    const std::string name = tool["name"];
    for (const auto& [argument, property] : tool["inputSchema"]["properties"].items()) {
      const std::string description = property["description"];
      std::smatch found;
      if (!std::regex_search(description, found,
                             std::regex("Defaults to `(\\w+)`|`(\\w+)` \\(default\\)|\\(default (\\w+)"))) {
        continue;
      }
      ++told;
      const json value =
          found[3].matched ? json::parse(found[3].str()) : json(found[1].str() + found[2].str());
      json arguments = besides({name.c_str(), argument.c_str()});
      const std::string absent = answer(name, arguments.dump());
      arguments[argument] = value;
      EXPECT_EQ(answer(name, arguments.dump()), absent) << name << " " << arguments;
    }
  }
  EXPECT_EQ(told, 15U);
}

TEST_F(Arguments, AnEmptyTextIsNoneButForThePeriodAndTheAxis) {
  for (const Argument& argument : everyArgument()) {
    const std::string name = argument.name;
    if (argument.kind != Kind::text || name == "by") {
      continue;
    }
    json expected = besides(argument);
    if (isRequired(argument)) {
      expected.erase(name);
    } else if (name == "period") {
      expected["period"] = "today";
    }
    json arguments = besides(argument);
    arguments[name] = "";
    EXPECT_EQ(answer(argument.tool, arguments.dump()), answer(argument.tool, expected.dump()))
        << argument.tool << " " << arguments;
  }
}

TEST_F(Arguments, NonsenseOfAnySizeIsToldBackAndTheNextCallWorks) {
  const std::string before = answer("tally_cost");
  const std::string values[] = {
      "\"quoted\" \\ \n\t\r\x01\x7f\u2028\u00ad",
      "</script>\u202e \U0001f4a9 'or 1=1",
      std::string(kTenMegabytes, 'x'),
  };
  for (const Argument& argument : everyArgument()) {
    if (argument.kind != Kind::text) {
      continue;
    }
    const json others = besides(argument);
    for (const std::string& value : values) {
      JsonValue::Object members{{argument.name, value}};
      for (const auto& [name, other] : others.items()) {
        if (name != argument.name) {
          members.emplace_back(name, other.get<std::string>());
        }
      }
      const bool isTold = answerTo(argument.tool, std::move(members)) == answerToNonsense(argument, value);
      EXPECT_TRUE(isTold) << argument.tool << " " << argument.name << ": " << value.substr(0, 80);
    }
    EXPECT_EQ(answer("tally_cost"), before);
  }
}

TEST_F(Arguments, NonsenseComesBackThroughTheProtocol) {
  for (const std::string& value :
       {std::string("a\"b\\/\n\r\t\x01\x1f\x7f\u2028é\U0001f4a9"), std::string(1'000'000, '\n')}) {
    const json call = {{"id", 1},
                       {"method", "tools/call"},
                       {"params", {{"name", "tally_cost"}, {"arguments", {{"session_id", value}}}}}};
    const std::string reply = server_.reply(call.dump()).value();
    EXPECT_EQ(reply.find('\n'), std::string::npos) << "one line";
    const json result = json::parse(reply)["result"];
    EXPECT_EQ(result["isError"], true);
    EXPECT_TRUE(result["content"][0]["text"] == concat("No session starts with “", value, "”."));
  }
}

TEST_F(Arguments, AnySpanOfDaysIsTaken) {
  for (const char* tool : {"tally_cost", "tally_top_agents", "tally_top_projects", "tally_by_model",
                           "tally_session", "tally_agent", "tally_provenance"}) {
    const std::string ever =
        answer(tool, R"({"session_id":"5e550003","agent":"scout","from":"0001-01-01","to":"9999-12-31"})");
    EXPECT_THAT(ever, Not(StartsWith("ERROR"))) << tool;
    EXPECT_THAT(ever, HasSubstr(" — 0001-01-01 → 9999-12-31\n")) << tool;
    EXPECT_THAT(ever, HasSubstr("\nThe period includes today")) << tool;
    EXPECT_THAT(ever, HasSubstr("$1.25")) << tool;
  }
}

}  // namespace
}  // namespace tallyfin
