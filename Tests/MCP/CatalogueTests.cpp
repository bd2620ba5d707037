#include "TallyfinMCP/MCP.hpp"
#include "nlohmann/json.hpp"

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using nlohmann::json;

json catalogue() {
  return json::parse(MCPServer::tools());
}

TEST(Catalogue, HoldsNineToolsInOrderWithTheirArguments) {
  using Arguments = std::set<std::string>;  // name, and the first letter of its type
  const Arguments span{"period:s", "from:s", "to:s"};
  const auto with = [&](Arguments more) {
    more.insert(span.begin(), span.end());
    return more;
  };
  const std::vector<std::pair<std::string, Arguments>> expected = {
      {"tally_overview", {"top:i"}},
      {"tally_cost", with({"agent:s", "project:s", "session_id:s", "by:s"})},
      {"tally_top_agents", with({"limit:i", "subagents_only:b", "project:s"})},
      {"tally_top_projects", with({"limit:i", "agents_per_project:i"})},
      {"tally_by_model", with({"agent:s", "project:s", "agents_per_model:i"})},
      {"tally_session", with({"session_id:s"})},
      {"tally_agent", with({"agent:s"})},
      {"tally_provenance", with({"agent:s", "project:s", "session_id:s", "limit:i"})},
      {"tally_sources", {}},
  };

  std::vector<std::pair<std::string, Arguments>> found;
  for (const json& tool : catalogue()) {
    EXPECT_EQ(tool.size(), 3U) << tool;
    EXPECT_FALSE(tool.value("description", "").empty());
    Arguments arguments;
    const json& schema = tool["inputSchema"];
    for (const auto& [name, property] : schema["properties"].items()) {
      EXPECT_EQ(property.size(), 2U) << "a property has a type and a description, nothing else";
      arguments.insert(name + ":" + property["type"].get<std::string>().substr(0, 1));
    }
    found.emplace_back(tool["name"], arguments);

    json frame = schema;
    frame.erase("properties");
    json expectedFrame = {{"type", "object"}};
    if (tool["name"] == "tally_session") {
      expectedFrame["required"] = {"session_id"};
    } else if (tool["name"] == "tally_agent") {
      expectedFrame["required"] = {"agent"};
    }
    EXPECT_EQ(frame, expectedFrame) << tool["name"];
  }
  EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace tallyfin
