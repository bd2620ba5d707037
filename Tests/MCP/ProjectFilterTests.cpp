// Project names and directories that are unusual.

#include "Support/ArgumentsOf.hpp"
#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using std::string_literals::operator""s;

class ProjectFilter : public testing::Test {
 protected:
  void spendIn(const std::string& directory, const std::string& agent = {}) {
    const UsageLine line{.id = std::to_string(++requests_),
                         .time = "2026-03-10T08:00:00Z",
                         .session = directory,
                         .cwd = directory,
                         .agent = agent,
                         .output = 40'000};
    machine_.home.append(".claude/projects/p/one.jsonl", line.text());
  }

  std::string cost(const char* arguments) {
    return server_.callTool("tally_cost", argumentsOf(arguments)).text;
  }

  int requests_ = 0;
  Machine machine_{{2026, 3, 10}, 14, 30};
  DataSource data_{machine_.environment()};
  MCPServer server_{data_, [](std::string_view) {}};
};

TEST_F(ProjectFilter, CandidatesAreListedWithUnusualNames) {
  const std::string agent = "aon\0e-0123456789abcdef"s;
  spendIn("/x/atlas\0hidden"s, agent);
  spendIn("/x/ATLAS", "aone-0123456789abcdef");
  EXPECT_EQ(cost(R"({"project":"atlas"})"),
            "“atlas” matches 2 projects:\n  /x/ATLAS — $1.00\n  /x/atlas\0hidden — $1.00"s);
  EXPECT_EQ(cost(R"({"session_id":"/x/atla"})"),
            "The prefix “/x/atla” matches 2 sessions:\n  /x/ATLAS — $1.00\n  /x/atlas\0hidden — $1.00"s);
  EXPECT_THAT(cost(R"({"agent":"on"})"), HasSubstr("  on\0e  ["s + agent + "] — $1.00\n  one  ["));
}

TEST_F(ProjectFilter, APathWithANulIsNotCutAtIt) {
  machine_.home.makeDirectory("repo/.git");
  spendIn(machine_.home.path("repo") + "\0x"s);
  EXPECT_THAT(cost(R"({"by":"project"})"), HasSubstr("  ~/repo\0x  "s));
}

TEST_F(ProjectFilter, FiltersUseTheLabelThatWasResolvedBefore) {
  spendIn(machine_.home.makeDirectory("x/sub"));
  EXPECT_THAT(cost(R"({"by":"project"})"), HasSubstr("  ~/x/sub  "));
  machine_.home.makeDirectory("x/.git");
  EXPECT_THAT(cost(R"({"project":"x/sub"})"), HasSubstr("filters: project = ~/x/sub\n"));
  EXPECT_THAT(cost(R"({"project":"x/sub"})"), HasSubstr("  TOTAL  $1.00\n"));
}

TEST_F(ProjectFilter, TwoSpellingsOfADirectoryAreTwoDirectories) {
  machine_.home.makeDirectory("caf\u00e9/.git");
  spendIn(machine_.home.makeDirectory("cafe\u0301/sub"));
  spendIn(machine_.home.makeDirectory("caf\u00e9/sub"));
  for (int call = 0; call < 2; ++call) {
    EXPECT_THAT(cost(R"({"project":"sub"})"),
                AllOf(HasSubstr("filters: project = ~/cafe\u0301/sub\n"), HasSubstr("  TOTAL  $1.00\n")));
    EXPECT_THAT(cost(R"({"project":"caf\u00e9"})"), HasSubstr("“caf\u00e9” matches 2 projects:"));
    EXPECT_THAT(cost(R"({"project":"~/caf\u00e9"})"), HasSubstr("  TOTAL  $1.00\n"));
  }
}

}  // namespace
}  // namespace tallyfin
