#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();

/// Requests whose costs have no short sum, so that another order of adding shows in the last bit.
std::vector<UsageRecord> someRecords(std::size_t count) {
  constexpr std::array models{"claude-opus-5", "claude-sonnet-5", "claude-3-5-haiku", "claude-haiku-4-5",
                              "nova-1"};
  constexpr std::array agents{"", "areviewer-0123456789abcdef", "areviewer-fedcba9876543210", "f00dcafe",
                              "zz"};
  constexpr std::array directories{"/home/ada/alpha", "/home/ada/alpha/.claude/worktrees/one", "/repo/beta",
                                   "/repo/beta/.claude/worktrees/two", ""};
  constexpr std::array days{"2026-08-30", "2026-08-31", "2026-09-01", "2026-09-02"};
  std::mt19937 random(20260310);
  const auto below = [&](std::size_t end) { return static_cast<std::size_t>(random() % end); };
  std::vector<UsageRecord> records;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string time =
        std::string(days[below(days.size())]) + "T12:00:0" + std::to_string(below(10)) + "Z";
    records.push_back(make({.at = time,
                            .model = models[below(models.size())],
                            .session = below(3) == 0 ? "other" : "session-1",
                            .cwd = directories[below(directories.size())],
                            .agentId = agents[below(agents.size())],
                            .assumed = below(9) == 0,
                            .input = static_cast<std::int64_t>(below(999'983)),
                            .output = static_cast<std::int64_t>(below(99'991)),
                            .cacheWrite5m = static_cast<std::int64_t>(below(9'973)),
                            .cacheWrite1h = static_cast<std::int64_t>(below(9'967)),
                            .cacheRead = static_cast<std::int64_t>(below(9'999'991)),
                            .webSearch = static_cast<std::int64_t>(below(4))}));
  }
  return records;
}

void expectSame(const Bucket& left, const Bucket& right) {
  EXPECT_EQ(left.requests, right.requests);
  EXPECT_EQ(left.totalTokens(), right.totalTokens());
  EXPECT_EQ(left.webSearch, right.webSearch);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(left.cost.priced), std::bit_cast<std::uint64_t>(right.cost.priced));
  EXPECT_EQ(left.cost, right.cost);
  EXPECT_EQ(left.modelCounts, right.modelCounts);
  EXPECT_EQ(left.firstActivity, right.firstActivity);
  EXPECT_EQ(left.lastActivity, right.lastActivity);
  EXPECT_EQ(left.cacheWriteAssumedRequests, right.cacheWriteAssumedRequests);
}

/// The agents under each key of one pass are those of a report over the records of that key alone.
TEST(AgentsBy, EqualsAReportOfEachKeyToTheLastBit) {
  const std::vector<UsageRecord> records = someRecords(600);
  const Aggregator aggregator(Calendar::utc(), ProjectResolver("/home/ada", false));
  const auto inSession = [](const UsageRecord& record) {
    return record.sessionId == InternedText("session-1");
  };
  const TimePoint from = at("2026-08-31T00:00:00Z");
  const TimePoint to = at("2026-09-01T00:00:00Z");
  const Report whole = aggregator.aggregate(records, from, to, {}, false, inSession);
  ASSERT_EQ(whole.byModel.size(), 5U);
  ASSERT_EQ(whole.byProject.size(), 3U);

  for (const bool byProject : {false, true}) {
    const auto grouping = byProject ? Aggregator::Grouping::project : Aggregator::Grouping::model;
    const AgentsByKey agents = aggregator.agentsBy(grouping, records, from, to, inSession);
    const BucketsBy<InternedText>& keys = byProject ? whole.byProject : whole.byModel;
    ASSERT_EQ(agents.size(), keys.size());
    for (const auto& [key, axis] : agents) {
      SCOPED_TRACE(key.text());
      const Report alone =
          aggregator.aggregate(records, from, to, {}, false, [&, wanted = key](const UsageRecord& record) {
            const InternedText own =
                byProject ? aggregator.resolver().resolve(record.rawCwd).canonical : record.model;
            return own == wanted && inSession(record);
          });
      const auto expected = alone.topAgents(kAll, true);
      const auto shown = rankedAgents(axis, kAll, true);
      ASSERT_EQ(shown.size(), expected.size());
      ASSERT_EQ(shown.size(), 5U);
      for (std::size_t i = 0; i < shown.size(); ++i) {
        EXPECT_EQ(shown[i].first, expected[i].first);
        expectSame(*shown[i].second, *expected[i].second);
      }
    }
  }
}

}  // namespace
}  // namespace tallyfin
