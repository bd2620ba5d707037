// One text in two spellings (U+00E9, and e with U+0301) is two directories on the disk but one key in a
// report.

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Support/MakeRecord.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

// The projects and working directories with their requests, then texts about agents and sessions.
std::string told(const ProjectResolver& resolver, const std::vector<UsageRecord>& records) {
  const Aggregator aggregator(Calendar::utc(), resolver);
  ReportParts axes;
  axes.agentsByProject = true;
  const Report report = aggregator.aggregate(records, {}, {}, {}, axes);
  std::string text;
  const auto add = [&](const auto& axis) {
    for (const auto& [key, bucket] : axis) {
      append(text, key.text(), "=", std::to_string(bucket.requests), " ");
    }
    text += "| ";
  };
  add(report.byProject);
  add(report.byRawCwd);
  add(report.bySession);
  add(report.byModel);
  for (const auto& [project, agents] : report.agentsByProject) {
    append(text, project.text(), "=", std::to_string(agents.size()), " ");
  }
  for (const auto& [agent, bucket] : report.byAgent) {
    append(text, "| ", agent.label(), " in ", report.agentSession.at(agent).text(), ", ",
           report.agentProject.at(agent).text());
  }
  for (const auto& [session, project] : report.sessionProject) {
    append(text, " | ", session.text(), " in ", project.text());
  }
  return text;
}

UsageRecord spentIn(const std::string& directory, std::string_view name, std::string_view agentId) {
  return make({.model = name, .session = name, .cwd = directory, .agentId = agentId, .output = 1});
}

TEST(Spelling, EachDirectoryIsLookedUpAsSpelledAndTheFirstRecordNamesTheKey) {
  TempHome home;
  const std::string composed = home.makeDirectory("caf\u00e9");
  const std::string decomposed = home.makeDirectory("cafe\u0301");
  home.makeDirectory("caf\u00e9/.git");
  if (Files::exists(decomposed + "/.git")) {
    GTEST_SKIP() << "this file system treats both spellings as one directory";
  }
  const UsageRecord one = spentIn(composed + "/sub", "\u00e9", "1");
  const UsageRecord two = spentIn(decomposed + "/sub", "e\u0301", "2");
  const UsageRecord top = spentIn(decomposed, "e\u0301", "3");
  const struct {
    std::vector<UsageRecord> records;
    std::string told;
  } cases[] = {
      {{one, two},
       "~/caf\u00e9=1 ~/cafe\u0301/sub=1 | ~/caf\u00e9/sub=2 | \u00e9=2 | \u00e9=2 | "
       "~/caf\u00e9=1 ~/cafe\u0301/sub=1 "
       "| anonymous agent 1 in \u00e9, ~/caf\u00e9| anonymous agent 2 in \u00e9, ~/cafe\u0301/sub"
       " | \u00e9 in ~/cafe\u0301/sub"},
      {{two, one},
       "~/cafe\u0301/sub=1 ~/caf\u00e9=1 | ~/cafe\u0301/sub=2 | e\u0301=2 | e\u0301=2 | "
       "~/cafe\u0301/sub=1 ~/caf\u00e9=1 "
       "| anonymous agent 2 in e\u0301, ~/cafe\u0301/sub| anonymous agent 1 in e\u0301, ~/caf\u00e9"
       " | e\u0301 in ~/caf\u00e9"},
      {{one, top},
       "~/caf\u00e9=2 | ~/caf\u00e9/sub=1 ~/cafe\u0301=1 | \u00e9=2 | \u00e9=2 | ~/caf\u00e9=2 "
       "| anonymous agent 1 in \u00e9, ~/caf\u00e9| anonymous agent 3 in \u00e9, ~/caf\u00e9"
       " | \u00e9 in ~/caf\u00e9"},
  };
  for (const auto& [records, expected] : cases) {
    const ProjectResolver fresh(home.path(), true);
    EXPECT_EQ(told(fresh, records), expected);
    const ProjectResolver used(home.path(), true);
    told(used, {records.rbegin(), records.rend()});
    EXPECT_EQ(told(used, records), expected) << "after another order";
  }
}

}  // namespace
}  // namespace tallyfin
