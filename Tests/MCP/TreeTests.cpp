// Trees of agents in random forests, and descriptions of sessions in long transcripts.

#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinCore/Answers/Tree.hpp"
#include "TallyfinCore/Exports/TreeSheet.hpp"
#include "TallyfinCore/Transcripts/SessionDescription.hpp"

#include <cstddef>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

constexpr const char* kFolder = ".claude/projects/p/session-1";

std::string agentId(std::size_t agent) {
  return "a" + std::to_string(agent);
}

// An agent of a forest. Agent 0 is the main session.
struct Agent {
  std::optional<std::size_t> starter;  // absent: the files do not tell
  std::string toolUses = "[";          // of the agents that it started
  std::string sidecar;
};

// Starters are lower numbers, so nothing is a circle until one is made.
std::vector<Agent> randomForest(std::size_t size, std::mt19937& random) {
  std::vector<Agent> agents(size);
  for (std::size_t agent = 1; agent < size; ++agent) {
    const std::size_t starter = random() % agent;
    const std::string use = "use-" + std::to_string(agent);
    switch (random() % 5) {
      case 0:  // no sidecar
        break;
      case 1:
        agents[agent].starter = starter == 0 ? std::nullopt : std::optional(starter);
        agents[agent].sidecar = R"({"parentAgentId":")" + agentId(starter) + "\"}";
        break;
      case 2:
        agents[agent].starter = 0;
        agents[agent].sidecar = R"({"spawnDepth":1})";
        break;
      default:
        agents[agent].starter = starter;
        agents[agent].sidecar = R"({"toolUseId":")" + use + R"(","parentAgentId":"nobody"})";
        agents[starter].toolUses += std::string(agents[starter].toolUses == "[" ? "" : ",") +
                                    R"({"type":"tool_use","id":")" + use + "\"}";
    }
  }
  return agents;
}

void writeForest(const TempHome& home, const std::vector<Agent>& agents, std::mt19937& random) {
  for (std::size_t agent = 0; agent < agents.size(); ++agent) {
    const std::string id = agent == 0 ? "" : agentId(agent);
    const std::string path = kFolder + (agent == 0 ? "" : "/subagents/agent-" + id);
    std::string content = UsageLine{.id = "m" + std::to_string(agent),
                                    .time = "2026-03-10T08:00:00Z",
                                    .model = random() % 9 == 0 ? "nova-1" : "claude-opus-5",
                                    .agent = id,
                                    .output = 1 + static_cast<std::int64_t>(random() % 100'000)}
                              .text();
    const std::string owner = id.empty() ? "" : R"("agentId":")" + id + "\",";
    content += "{" + owner + R"("message":{"content":)" + agents[agent].toolUses + "]}}\n";
    home.write(path + ".jsonl", content);
    if (!agents[agent].sidecar.empty()) {
      home.write(path + ".meta.json", agents[agent].sidecar);
    }
  }
}

TEST(Tree, RandomForestsHaveTheirStartersAndTheSumsOfTheReport) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    std::mt19937 random(seed);
    Machine machine({2026, 3, 10}, 12, 0);
    std::vector<Agent> agents = randomForest(500, random);
    if (seed == 3) {  // a circle of three agents, wherever they were
      for (const auto& [agent, starter] :
           std::vector<std::pair<std::size_t, std::size_t>>{{10, 20}, {20, 30}, {30, 10}}) {
        agents.at(agent).sidecar = R"({"parentAgentId":")" + agentId(starter) + "\"}";
        agents.at(agent).starter = std::nullopt;
      }
    }
    writeForest(machine.home, agents, random);
    DataSource data(machine.environment());
    data.ensureFresh();
    const Answers::Tree tree = Answers::tree(data, InternedText("session-1"));

    ASSERT_EQ(tree.nodes.size(), agents.size());
    CostEstimate all;
    std::int64_t requests = 0;
    std::size_t below = tree.unknownStarter.size();
    for (const Answers::TreeNode& node : tree.nodes) {
      const std::string id(node.agent.rawId().text());
      const std::optional<std::size_t> expected =
          id.empty() ? std::nullopt : agents[std::stoul(id.substr(1))].starter;
      ASSERT_EQ(node.starter.has_value(), expected.has_value()) << id;
      if (expected) {
        EXPECT_EQ(tree.nodes[*node.starter].agent.rawId().text(), *expected == 0 ? "" : agentId(*expected))
            << id;
      }
      EXPECT_EQ(node.own, *tree.report->byAgent.find(node.agent));
      CostEstimate sum = node.own.cost;
      for (const std::size_t started : node.started) {
        sum += tree.nodes[started].whole.cost;
      }
      EXPECT_NEAR(node.whole.cost.priced, sum.priced, 1e-9);
      EXPECT_EQ(node.whole.cost.unpricedRequests, sum.unpricedRequests);
      below += node.started.size();
    }
    EXPECT_EQ(below, agents.size() - 1);  // every agent is below exactly one node or the heading
    all = tree.nodes.front().whole.cost;
    requests = tree.nodes.front().whole.requests;
    for (const std::size_t top : tree.unknownStarter) {
      all += tree.nodes[top].whole.cost;
      requests += tree.nodes[top].whole.requests;
    }
    EXPECT_EQ(requests, tree.report->total.requests);
    EXPECT_EQ(all.unpricedRequests, tree.report->total.cost.unpricedRequests);
    EXPECT_EQ(CostEstimate::money(all.priced), CostEstimate::money(tree.report->total.cost.priced));

    // However few agents have rows, each is in exactly one row.
    for (const std::size_t most : std::vector<std::size_t>{0, 7, 500}) {
      const Sheet sheet = treeSheet(tree, most, machine.calendar);
      std::size_t rows = 0;
      std::size_t others = 0;
      CostEstimate shown;
      for (std::size_t row = 0; row < sheet.rowCount; ++row) {
        bool isOthers = false;
        for (const Sheet::Column& column : sheet.columns) {
          const Sheet::Cell cell = column.cell(row);
          if (column.id == "others") {
            isOthers = std::get<std::int64_t>(cell) > 0;
            others += static_cast<std::size_t>(std::get<std::int64_t>(cell));
          } else if (column.id == "agent" && std::holds_alternative<std::string>(cell)) {
            ++rows;
          } else if (column.id == "cost" && std::holds_alternative<Sheet::Amount>(cell)) {
            shown += std::get<Sheet::Amount>(cell).bucket->cost;
          } else if (column.id == "cost_with_started" && isOthers) {
            shown += std::get<Sheet::Amount>(cell).bucket->cost;  // of the agents without a row
          }
        }
      }
      EXPECT_GE(rows, std::min(most, agents.size() - 1) + 1);
      EXPECT_EQ(rows + others, agents.size());
      EXPECT_NEAR(shown.priced, tree.report->total.cost.priced, 1e-9);
      EXPECT_EQ(shown.unpricedRequests, tree.report->total.cost.unpricedRequests);
    }
  }
}

TEST(Tree, DeepChainsAreNotRecursed) {
  Machine machine({2026, 3, 10}, 12, 0);
  std::mt19937 random(4);
  std::vector<Agent> agents(5000);
  for (std::size_t agent = 1; agent < agents.size(); ++agent) {
    agents[agent].sidecar =
        agent == 1 ? R"({"spawnDepth":1})" : R"({"parentAgentId":")" + agentId(agent - 1) + "\"}";
  }
  writeForest(machine.home, agents, random);
  DataSource data(machine.environment());
  data.ensureFresh();
  const Answers::Tree tree = Answers::tree(data, InternedText("session-1"));
  EXPECT_TRUE(tree.unknownStarter.empty());
  EXPECT_EQ(treeSheet(tree, std::nullopt, machine.calendar).rowCount, agents.size());
}

// A home that is listed earlier appears later: the sidecar is that of the first listed file all the same.
TEST(AgentKinds, DoNotDependOnEarlierRefreshes) {
  Machine machine({2026, 3, 10}, 12, 0);
  const auto add = [&](const std::string& home, const std::string& id) {
    const std::string path = home + "/projects/p/session-1/subagents/agent-a1";
    machine.home.write(
        path + ".jsonl",
        UsageLine{.id = id, .time = "2026-03-10T08:00:00Z", .agent = "a1", .output = 1}.text());
    machine.home.write(path + ".meta.json", R"({"agentType":"of )" + home + R"(","spawnDepth":1})");
  };
  const AgentIdentity agent = AgentIdentity::parse(InternedText("a1"));
  add(".claude-work", "m1");
  DataSource data(machine.environment());
  data.ensureFresh();
  EXPECT_EQ(data.kinds().of(agent).label().text(), "of .claude-work");
  add(".claude", "m2");
  machine.now += 20;
  data.ensureFresh();
  EXPECT_EQ(data.kinds().of(agent).label().text(), "of .claude");
  EXPECT_EQ(Answers::tree(data, InternedText("session-1")).nodes.back().kind, "of .claude");
}

TEST(SessionDescriptions, OnlyTheBeginningAndTheEndOfLongTranscriptsAreRead) {
  const TempHome home;
  const std::string title = R"({"type":"ai-title","aiTitle":"early"})";
  const std::string middle = R"({"type":"custom-title","customTitle":"in the middle"})";
  const std::string filler = R"({"type":"x","text":")" + std::string(1000, 'x') + "\"}\n";
  const auto lines = [&](std::size_t count) {
    std::string text;
    for (; count > 0; --count) {
      text += filler;
    }
    return text;
  };
  const auto titleOf = [&](const std::string& content) {
    return describeSession(home.write("s.jsonl", content)).title.value_or("none");
  };
  EXPECT_EQ(titleOf(title + "\n" + lines(300) + middle + "\n" + lines(1100)), "early");
  EXPECT_EQ(titleOf(title + "\n" + lines(300) + middle + "\n" + lines(900)), "in the middle");
  EXPECT_EQ(titleOf(lines(300) + title + "\n" + lines(1100)), "none");
  EXPECT_EQ(titleOf(lines(1100) + title), "early");  // a last line without a line feed
  EXPECT_EQ(titleOf(std::string(2 << 20, 'x')), "none");
  EXPECT_EQ(titleOf(R"({"type":"ai-title","aiTitle":")" + std::string(10'000, 'e') + "\"}\n"),
            std::string(200, 'e') + "…");
  EXPECT_EQ(describeSession(home.path("missing")), SessionDescription());
  EXPECT_EQ(describeSession(home.makeDirectory("folder")), SessionDescription());
  EXPECT_EQ(describeSession("/dev/zero"), SessionDescription());
}

}  // namespace
}  // namespace tallyfin
