// Compares sums with those of a naive implementation. Tests/Golden covers how answers and tables show them.

#include "Platform/KeyedRows.hpp"
#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Attribution/Pricing.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(KeyedRows, KeepsTheOrderOfFirstAppearanceAndFindsEveryKey) {
  KeyedRows<int, int> rows;
  for (int i = 0; i < 400; ++i) {
    const int key = (i * 37) % 101 - 50;
    EXPECT_EQ(rows.find(key) == nullptr, i < 101);
    const std::size_t place = rows.place(key);
    EXPECT_EQ(place, static_cast<std::size_t>(i % 101));
    ++rows[key];
    EXPECT_EQ(&rows.at(place), rows.find(key));
  }
  int at = 0;
  for (const auto& [key, count] : rows) {
    EXPECT_EQ(key, (at * 37) % 101 - 50);
    EXPECT_EQ(count, ++at > 97 ? 3 : 4);
  }
  EXPECT_EQ(at, 101);
  EXPECT_EQ(rows.find(77), nullptr);
}

// Requests whose costs are not exact in binary, so that a different order of addition changes the last bit.
std::vector<UsageRecord> randomRecords(std::size_t count) {
  std::mt19937_64 random(11);  // NOLINT(bugprone-random-generator-seed): the same records every time
  const auto below = [&](std::uint64_t limit) { return static_cast<std::int64_t>(random() % limit); };
  const auto pick = [&](const char* stem, std::uint64_t limit) {
    return InternedText(stem + std::to_string(below(limit)));
  };
  std::vector<UsageRecord> records(count);
  for (UsageRecord& record : records) {
    record.timestamp = {at("2026-08-20T00:00:00Z").seconds + static_cast<double>(below(20 * 86'400))};
    record.model = below(5) == 0 ? pick("other-", 20) : pick("claude-sonnet-", 6);
    record.sessionId = pick("session-", 30);
    record.rawCwd = pick("/home/ada/p", 12);
    record.agent = below(2) == 0 ? AgentIdentity::main() : AgentIdentity::anonymous(pick("x", 40));
    record.sourceHome = pick(".claude-", 2);
    record.input = below(1'000);
    record.output = below(100'000);
    record.cacheWrite5m = below(10'000);
    record.cacheWrite1h = below(10'000);
    record.cacheRead = below(1'000'000);
    record.webSearch = below(3);
  }
  return records;
}

// The naive implementation: sums each bucket separately, record by record.
struct NaivePass {
  struct Cell {
    std::int64_t requests = 0;
    std::int64_t tokens = 0;
    CostEstimate cost;
    std::map<std::string, std::int64_t> models;
  };
  std::map<std::string, Cell> cells;

  void add(const std::string& key, const UsageRecord& record, TimePoint day, const Calendar& calendar) {
    Cell& cell = cells[key];
    ++cell.requests;
    cell.tokens += record.totalTokens();
    ++cell.models[std::string(record.model.text())];
    const Estimate<Prices> prices = Pricing::prices(record.model, day, calendar);
    if (prices.isKnown()) {
      cell.cost.priced += Pricing::cost(record, *prices.value());
    } else {
      ++cell.cost.unpricedRequests;
      cell.cost.unpricedModels.insert(record.model);
    }
  }

  void expect(const std::string& key, const Bucket& bucket) {
    const Cell& cell = cells[key];
    EXPECT_EQ(bucket.requests, cell.requests) << key;
    EXPECT_EQ(bucket.totalTokens(), cell.tokens) << key;
    EXPECT_EQ(bucket.cost, cell.cost) << key;  // exact to the last bit
    std::map<std::string, std::int64_t> models;
    for (const auto& [model, count] : bucket.modelCounts) {
      models[std::string(model.text())] += count;
    }
    EXPECT_EQ(models, cell.models) << key;
    EXPECT_EQ(bucket.modelCounts.size(), models.size()) << key;
    cells.erase(key);
  }
};

class Aggregation : public testing::Test {
 protected:
  Report sums(const RecordFilter& filter = {}) const {
    return aggregator.aggregate(records, from, to, {}, true, filter);
  }

  const Calendar berlin = zone("Europe/Berlin");
  const Aggregator aggregator{berlin, ProjectResolver("/home/ada", false)};
  const std::vector<UsageRecord> records = randomRecords(8'000);
  const TimePoint from = at("2026-08-22T00:00:00+02:00");
  const TimePoint to = at("2026-09-07T00:00:00+02:00");
};

TEST_F(Aggregation, AgreesWithANaivePassToTheLastBit) {
  NaivePass naive;
  for (const UsageRecord& record : records) {
    const TimePoint day = berlin.startOfDay(record.timestamp);
    if (day < from || day > to) {
      continue;
    }
    for (const std::string& key : {"total" + std::string(), "day " + berlin.formatDay(day),
                                   "hour " + std::to_string(berlin.hour(record.timestamp)),
                                   "model " + std::string(record.model.text()),
                                   "project ~" + std::string(record.rawCwd.text().substr(9)),
                                   "cwd ~" + std::string(record.rawCwd.text().substr(9)),
                                   "session " + std::string(record.sessionId.text()),
                                   "agent " + std::string(record.agent.description()),
                                   "source " + std::string(record.sourceHome.text())}) {
      naive.add(key, record, day, berlin);
    }
  }
  ASSERT_EQ(naive.cells.size(), 1U + 17 + 24 + 26 + 12 + 12 + 30 + 41 + 2);
  const Report report = sums();
  naive.expect("total", report.total);
  for (const auto& [day, bucket] : report.byDay()) {
    naive.expect("day " + berlin.formatDay(day), bucket);
  }
  for (const auto& [hour, bucket] : report.byHour) {
    naive.expect("hour " + std::to_string(hour), bucket);
  }
  for (const auto& [prefix, axis] : {std::pair("model ", &report.byModel),
                                     {"project ", &report.byProject},
                                     {"cwd ", &report.byRawCwd},
                                     {"session ", &report.bySession},
                                     {"source ", &report.bySource}}) {
    for (const auto& [key, bucket] : *axis) {
      naive.expect(prefix + std::string(key.text()), bucket);
    }
  }
  for (const auto& [agent, bucket] : report.byAgent) {
    naive.expect("agent " + std::string(agent.description()), bucket);
  }
  EXPECT_TRUE(naive.cells.empty());
}

// Compares the agents under each key with a report on the records of that key.
TEST_F(Aggregation, AgentsUnderEachKeyEqualThoseOfAReportOnThatKey) {
  const auto inSession = [](const UsageRecord& record) { return record.sessionId.text().ends_with('1'); };
  ReportParts axes;
  axes.agentsByProject = axes.agentsByModel = true;
  const Report whole = aggregator.aggregate(records, from, to, {}, axes, inSession);
  for (const bool byProject : {false, true}) {
    const AgentsByKey& agents = byProject ? whole.agentsByProject : whole.agentsByModel;
    ASSERT_EQ(agents.size(), (byProject ? whole.byProject : whole.byModel).size());
    for (const auto& [key, axis] : agents) {
      const Report alone = sums([&, wanted = key](const UsageRecord& record) {
        return wanted ==
                   (byProject ? aggregator.resolver().resolve(record.rawCwd).canonical : record.model) &&
               inSession(record);
      });
      ASSERT_EQ(axis.size(), alone.byAgent.size()) << key.text();
      for (const auto& [agent, bucket] : alone.byAgent) {
        ASSERT_NE(axis.find(agent), nullptr);
        EXPECT_EQ(axis.find(agent)->requests, bucket.requests);
        EXPECT_EQ(axis.find(agent)->totalTokens(), bucket.totalTokens());
        EXPECT_EQ(axis.find(agent)->cost, bucket.cost);
      }
    }
  }
}

TEST_F(Aggregation, LeavesOutDaysOutsideTheRange) {
  const std::vector<UsageRecord> evening = {make({.at = "2026-03-02T18:00:00+01:00", .output = 6 * kDollar}),
                                            make({.at = "2026-03-01T18:00:00+01:00", .output = kDollar}),
                                            make({.at = "2026-03-04T18:00:00+01:00", .model = "other"})};
  const TimePoint noon = at("2026-03-02T12:00:00+01:00");
  EXPECT_EQ(aggregator.aggregate(evening, noon, {}, {}, false).total.requests, 1);
  EXPECT_EQ(aggregator.aggregate(evening, {}, noon, {}, false).total.requests, 2);
  const Report three = aggregator.aggregate(evening, {}, {}, {}, false);
  EXPECT_EQ(*three.averagePerActiveDay().value(), (CostEstimate{7 * (1.0 / 3), 1, {InternedText("other")}}));
  EXPECT_EQ(*three.medianPerActiveDay().value(), (CostEstimate{1, 1, {InternedText("other")}}));
  EXPECT_FALSE(Report{}.averagePerActiveDay().isKnown() || Report{}.medianPerActiveDay().isKnown());
}

}  // namespace
}  // namespace tallyfin
