#include "Platform/KeyedRows.hpp"
#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Attribution/Pricing.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <algorithm>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kNamed = "areviewer-0123456789abcdef";
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

Aggregator aggregator(const Calendar& calendar = Calendar::utc()) {
  return {calendar, ProjectResolver("/home/ada", false)};
}

Report report(const std::vector<UsageRecord>& records, std::optional<TimePoint> from = {},
              std::optional<TimePoint> to = {}, const Calendar& calendar = Calendar::utc()) {
  return aggregator(calendar).aggregate(records, from, to, {}, true);
}

InternedText text(std::string_view content) {
  return InternedText(content);
}

template <typename Rows>
std::vector<std::string> names(const Rows& rows) {
  std::vector<std::string> list;
  for (const auto& [key, value] : rows) {
    if constexpr (std::is_same_v<std::remove_cvref_t<decltype(key)>, AgentIdentity>) {
      list.emplace_back(key.description());
    } else {
      list.emplace_back(key.text());
    }
  }
  return list;
}

TEST(Bucket, SumsEveryField) {
  Bucket bucket;
  bucket.add(make({.at = "2026-03-02T00:00:00Z",
                   .model = "b",
                   .assumed = true,
                   .input = 1,
                   .output = 2,
                   .cacheWrite5m = 3,
                   .cacheWrite1h = 4,
                   .cacheRead = 5,
                   .webSearch = 6,
                   .webFetch = 7}),
             0.5);
  bucket.add(make({.at = "2026-03-01T00:00:00Z", .model = "a", .input = 10, .webFetch = -1}),
             UnknownReason::noPriceForModel(text("a")));
  bucket.add(make({.at = "2026-03-03T00:00:00Z", .model = "b", .assumed = true}), 0.25);

  EXPECT_EQ(bucket.requests, 3);
  EXPECT_EQ(bucket.input, 11);
  EXPECT_EQ(bucket.output, 2);
  EXPECT_EQ(bucket.cacheWrite5m, 3);
  EXPECT_EQ(bucket.cacheWrite1h, 4);
  EXPECT_EQ(bucket.cacheWrite(), 7);
  EXPECT_EQ(bucket.cacheRead, 5);
  EXPECT_EQ(bucket.webSearch, 6);
  EXPECT_EQ(bucket.webFetch, 6);
  EXPECT_EQ(bucket.totalTokens(), 25);
  EXPECT_EQ(bucket.cost, (CostEstimate{0.75, 1, {text("a")}}));
  EXPECT_THAT(bucket.modelCounts, ElementsAre(std::pair{text("b"), 2}, std::pair{text("a"), 1}));
  EXPECT_EQ(bucket.firstActivity, at("2026-03-01T00:00:00Z"));
  EXPECT_EQ(bucket.lastActivity, at("2026-03-03T00:00:00Z"));
  EXPECT_EQ(bucket.cacheWriteAssumedRequests, 2);
}

TEST(Bucket, CountsStayAtTheEndOfTheirRange) {
  Bucket bucket;
  for (int i = 0; i < 2; ++i) {
    bucket.add(make({.at = "2026-03-01T00:00:00Z",
                     .input = kMost,
                     .output = -kMost,
                     .cacheWrite5m = kMost - 1,
                     .cacheWrite1h = 2,
                     .webSearch = kMost}),
               0.0);
  }
  EXPECT_EQ(bucket.input, kMost);
  EXPECT_EQ(bucket.output, -kMost - 1);
  EXPECT_EQ(bucket.cacheWrite(), kMost);
  EXPECT_EQ(bucket.webSearch, kMost);
  EXPECT_EQ(bucket.totalTokens(), kMost - 1);
}

TEST(Bucket, DominantComponentIsTheLargestAndTheFirstOfEquals) {
  const struct {
    RecordParts parts;
    std::optional<DominantComponent> expected;
  } cases[] = {
      {{.at = {}, .input = 10, .output = 30, .cacheRead = 60}, DominantComponent{"cache read", 60}},
      {{.at = {}, .output = 50, .cacheRead = 50}, DominantComponent{"cache read", 50}},
      {{.at = {}, .input = 20, .output = 40, .cacheWrite5m = 10, .cacheWrite1h = 30},
       DominantComponent{"cache write", 40}},
      {{.at = {}, .input = 50, .output = 50}, DominantComponent{"output", 50}},
      {{.at = {}, .input = 50, .output = 49, .cacheRead = 1}, DominantComponent{"input", 50}},
      {{.at = {}, .webSearch = 3}, std::nullopt},
      {{.at = {}, .input = 5, .output = -5}, std::nullopt},
  };
  for (auto [parts, expected] : cases) {
    parts.at = "2026-03-01T00:00:00Z";
    Bucket bucket;
    bucket.add(make(parts), 0.0);
    const Estimate<DominantComponent> dominant = bucket.dominantComponent();
    if (expected) {
      EXPECT_EQ(dominant, Estimate(*expected));
      EXPECT_EQ(bucket.share(&Bucket::output), Estimate(static_cast<double>(parts.output)));
    } else {
      EXPECT_EQ(dominant, Estimate<DominantComponent>(UnknownReason::noData()));
      EXPECT_EQ(bucket.share(&Bucket::input), Estimate<double>(UnknownReason::noData()));
    }
  }
}

TEST(KeyedRows, KeepsTheOrderOfFirstAppearanceAndFindsEveryKey) {
  KeyedRows<int, int> rows;
  std::vector<int> expected;
  for (int i = 0; i < 400; ++i) {
    const int key = (i * 37) % 101 - 50;
    if (i < 101) {
      EXPECT_EQ(rows.find(key), nullptr);
      expected.push_back(key);
    }
    const std::size_t place = rows.place(key);
    EXPECT_EQ(place, static_cast<std::size_t>(i % 101));
    ++rows[key];
    EXPECT_EQ(&rows.at(place), rows.find(key));
  }
  std::vector<int> keys;
  for (const auto& [key, count] : rows) {
    keys.push_back(key);
    EXPECT_EQ(count, 4 - (keys.size() > 97 ? 1 : 0));
  }
  EXPECT_EQ(keys, expected);
  EXPECT_EQ(rows.find(77), nullptr);
}

TEST(Aggregation, NothingIsUnknownNotZero) {
  const UsageRecord record = make({.at = "2026-03-02T12:00:00Z", .output = kDollar});
  const TimePoint before = at("2026-03-01T00:00:00Z");
  const TimePoint after = at("2026-03-03T00:00:00Z");
  for (const Report& empty : {report({}), report({record}, after, {}), report({record}, {}, before),
                              report({record}, after, before)}) {
    EXPECT_EQ(empty.total.requests, 0);
    EXPECT_EQ(empty.total.firstActivity, std::nullopt);
    EXPECT_EQ(empty.activeDays(), 0);
    EXPECT_EQ(empty.averagePerActiveDay(), Estimate<CostEstimate>(UnknownReason::noData()));
    EXPECT_EQ(empty.medianPerActiveDay(), Estimate<CostEstimate>(UnknownReason::noData()));
    EXPECT_TRUE(empty.byProject.empty() && empty.byAgent.empty() && empty.bySource.empty());
    EXPECT_TRUE(empty.sessionProject.empty() && empty.agentSession.empty() &&
                empty.projectProvenance.empty());
  }
}

TEST(Aggregation, RangeComparesStartsOfLocalDays) {
  const Calendar berlin = zone("Europe/Berlin");
  const TimePoint day = at("2026-03-02T00:00:00+01:00");
  const struct {
    const char* time;
    bool isIn;
  } cases[] = {
      {"2026-03-01T23:59:59.999+01:00", false},
      {"2026-03-02T00:00:00+01:00", true},  // still 1 March in UTC
      {"2026-03-02T23:59:59+01:00", true},
      {"2026-03-03T00:00:00+01:00", false},
  };
  for (const auto& [time, isIn] : cases) {
    const Report one = report({make({.at = time})}, day, day, berlin);
    EXPECT_EQ(one.total.requests, isIn ? 1 : 0) << time;
    EXPECT_EQ(one.byDay.find(day) != nullptr, isIn) << time;
  }
  // A `from` behind the start of the day leaves that whole day out.
  const TimePoint noon = at("2026-03-02T12:00:00+01:00");
  EXPECT_EQ(report({make({.at = "2026-03-02T18:00:00+01:00"})}, noon, {}, berlin).total.requests, 0);
  EXPECT_EQ(report({make({.at = "2026-03-02T18:00:00+01:00"})}, {}, noon, berlin).total.requests, 1);
}

TEST(Aggregation, DaysAndHoursFollowTheZoneThroughClockChanges) {
  const struct {
    const char* zone;
    const char* time;
    const char* day;
    int hour;
  } cases[] = {
      {"UTC", "2026-03-02T00:00:00Z", "2026-03-02T00:00:00Z", 0},
      {"America/Sao_Paulo", "2018-11-04T02:59:59Z", "2018-11-03T03:00:00Z", 23},
      {"America/Sao_Paulo", "2018-11-04T03:00:00Z", "2018-11-04T03:00:00Z", 1},  // midnight was skipped
      {"Europe/Berlin", "2026-10-25T00:30:00Z", "2026-10-24T22:00:00Z", 2},      // 02:30 comes twice
      {"Europe/Berlin", "2026-10-25T01:30:00Z", "2026-10-24T22:00:00Z", 2},
      {"Europe/Berlin", "2026-10-25T22:59:59Z", "2026-10-24T22:00:00Z", 23},  // the 25th hour
      {"Australia/Lord_Howe", "2026-04-04T15:10:00Z", "2026-04-04T13:00:00Z", 1},
      {"Asia/Kathmandu", "2026-03-01T18:15:00Z", "2026-03-01T18:15:00Z", 0},
  };
  for (const auto& [name, time, day, hour] : cases) {
    const Report one = report({make({.at = time})}, {}, {}, zone(name));
    EXPECT_NE(one.byDay.find(at(day)), nullptr) << name << " " << time;
    EXPECT_NE(one.byHour.find(hour), nullptr) << name << " " << time;
  }
}

TEST(Aggregation, ProjectsFoldWhatRawDirectoriesKeepApart) {
  const Report folded = report({
      make({.at = "2026-03-02T01:00:00Z", .cwd = "/home/ada/alpha/.claude/worktrees/one"}),
      make({.at = "2026-03-02T02:00:00Z", .cwd = "/home/ada/alpha"}),
      make({.at = "2026-03-02T03:00:00Z", .cwd = "/home/ada/alpha/.claude/worktrees/two"}),
      make({.at = "2026-03-02T04:00:00Z", .cwd = ""}),
      make({.at = "2026-03-02T05:00:00Z", .cwd = "/home/ada/caf\u00e9"}),
      make({.at = "2026-03-02T06:00:00Z", .cwd = "/home/ada/cafe\u0301"}),  // the same text, spelled anew
  });
  EXPECT_THAT(names(folded.byProject), ElementsAre("~/alpha", "(unknown cwd)", "~/caf\u00e9"));
  EXPECT_THAT(names(folded.byRawCwd),
              ElementsAre("~/alpha/.claude/worktrees/one", "~/alpha", "~/alpha/.claude/worktrees/two",
                          "(unknown cwd)", "~/caf\u00e9"));
  EXPECT_EQ(folded.byProject.find(text("~/alpha"))->requests, 3);
  EXPECT_EQ(folded.byProject.find(text("~/caf\u00e9"))->requests, 2);
  EXPECT_THAT(folded.projectProvenance.at(text("~/alpha")),
              ElementsAre(Provenance::worktreeFolded, Provenance::rawFallback));
  EXPECT_THAT(folded.projectProvenance.at(text("(unknown cwd)")), ElementsAre(Provenance::missing));
}

TEST(Aggregation, SessionBelongsToTheProjectOfItsLatestRequest) {
  const auto in = [](const char* cwd, const char* time) { return make({.at = time, .cwd = cwd}); };
  const char* one = "2026-03-02T01:00:00Z";
  const char* two = "2026-03-02T02:00:00Z";
  const struct {
    std::vector<UsageRecord> records;
    const char* project;
  } cases[] = {
      {{in("/a", one), in("/b", two)}, "/b"},
      {{in("/b", two), in("/a", one)}, "/b"},
      {{in("/a", two), in("/b", two)}, "/b"},  // equally late: the last in the list
      {{in("/a", two), in("/b", two), in("/c", one)}, "/b"},
  };
  for (const auto& [records, project] : cases) {
    EXPECT_EQ(report(records).sessionProject.at(text("session-1")), text(project));
  }
}

TEST(Aggregation, AgentBelongsToWhereItFirstCameUp) {
  const Report agents = report({
      make({.at = "2026-03-02T02:00:00Z", .session = "s2", .cwd = "/b", .agentId = kNamed}),
      make({.at = "2026-03-02T01:00:00Z", .session = "s1", .cwd = "/a", .agentId = kNamed}),
      make({.at = "2026-03-02T03:00:00Z", .session = "s3", .cwd = "/c"}),
  });
  const AgentIdentity named = AgentIdentity::parse(text(kNamed));
  EXPECT_EQ(agents.agentSession.at(named), text("s2"));
  EXPECT_EQ(agents.agentProject.at(named), text("/b"));
  EXPECT_EQ(agents.agentSession.at(AgentIdentity::main()), text("s3"));
  EXPECT_EQ(agents.agentProject.at(AgentIdentity::main()), text("/c"));
  EXPECT_EQ(agents.byAgent.find(named)->requests, 2);
  EXPECT_EQ(agents.sessionProject.size(), 3U);
}

TEST(Aggregation, FilterAndDiagnosticsAreHandedThrough) {
  ScanDiagnostics diagnostics;
  diagnostics.filesScanned = 42;
  const std::vector<UsageRecord> records = {make({.at = "2026-03-02T01:00:00Z", .session = "s1"}),
                                            make({.at = "2026-03-02T02:00:00Z", .session = "s2"})};
  const Report one = aggregator().aggregate(
      records, {}, {}, diagnostics, false,
      [](const UsageRecord& record) { return record.sessionId == InternedText("s2"); });
  EXPECT_THAT(names(one.bySession), ElementsAre("s2"));
  EXPECT_EQ(one.diagnostics.filesScanned, 42);
}

TEST(Aggregation, DaysHaveTheirAverageAndMedian) {
  std::vector<UsageRecord> records = {
      make({.at = "2026-03-01T01:00:00Z", .output = kDollar}),
      make({.at = "2026-03-03T01:00:00Z", .output = 6 * kDollar}),
      make({.at = "2026-03-03T02:00:00Z", .model = "other"}),
      make({.at = "2026-03-02T01:00:00Z", .output = 2 * kDollar}),
  };
  const Report three = report(records);
  EXPECT_EQ(three.averagePerActiveDay(), Estimate(CostEstimate{9 * (1.0 / 3), 1, {text("other")}}));
  EXPECT_EQ(three.medianPerActiveDay(), Estimate(CostEstimate{2, 1, {text("other")}}));
}

TEST(Rankings, HighestCostFirstThenTextOfTheKey) {
  const auto spent = [](const char* session, std::int64_t dollars, const char* agent, const char* model) {
    return make({.at = "2026-03-02T01:00:00Z",
                 .model = model,
                 .session = session,
                 .cwd = session,
                 .agentId = agent,
                 .output = dollars * kDollar});
  };
  const Report ranked = report({
      spent("zeta", 0, "x", "unpriced"),
      spent("b", 2, "", "claude-opus-5"),
      spent("Z", 2, kNamed, "claude-opus-5-b"),
      spent("\U0001F600", 2, "bq", "claude-opus-5-c"),
      spent("\uFF21", 2, "aq", "claude-opus-5-a"),  // before the one above by code point, behind it in UTF-16
      spent("a", 5, "", "claude-opus-5"),
  });
  EXPECT_THAT(names(ranked.topSessions(9)), ElementsAre("a", "Z", "b", "\uFF21", "\U0001F600", "zeta"));
  EXPECT_THAT(names(ranked.topProjects(4)), ElementsAre("a", "Z", "b", "\uFF21"));
  EXPECT_THAT(names(ranked.topModels(2)), ElementsAre("claude-opus-5", "claude-opus-5-a"));
  EXPECT_THAT(names(ranked.topAgents(9, true)), ElementsAre("(main)", "aq", kNamed, "bq", "x"));
  EXPECT_THAT(names(ranked.topAgents(2, false)), ElementsAre("aq", kNamed));
  EXPECT_THAT(ranked.topSessions(0), IsEmpty());
  EXPECT_EQ(ranked.topSessions(1).front().second->cost.priced, 5);
  EXPECT_EQ(ranked.subagentSplit().main, 7);
  EXPECT_EQ(ranked.subagentSplit().subagent, 6);
  EXPECT_THAT(report({make({.at = "2026-03-02T01:00:00Z"})}).topAgents(10, false), IsEmpty());
  EXPECT_EQ(report({}).subagentSplit().main, 0);
}

// What a pass means, spelled out: every bucket is summed on its own, record after record.
struct NaivePass {
  struct Cell {
    std::int64_t requests = 0;
    std::int64_t tokens = 0;
    CostEstimate cost;
    std::map<std::string, std::int64_t> modelCounts;
  };
  std::map<std::string, Cell> cells;

  void add(const std::string& key, const UsageRecord& record, TimePoint day, const Calendar& calendar) {
    Cell& cell = cells[key];
    ++cell.requests;
    cell.tokens += record.totalTokens();
    ++cell.modelCounts[std::string(record.model.text())];
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
    EXPECT_EQ(bucket.cost, cell.cost) << key;  // dollars to the last bit
    const std::map<std::string, std::int64_t> counts = [&] {
      std::map<std::string, std::int64_t> map;
      for (const auto& [model, count] : bucket.modelCounts) {
        map[std::string(model.text())] += count;
      }
      return map;
    }();
    EXPECT_EQ(counts, cell.modelCounts) << key;
    EXPECT_EQ(bucket.modelCounts.size(), counts.size()) << key;
    cells.erase(key);
  }
};

std::vector<UsageRecord> randomRecords(std::size_t count) {
  std::mt19937_64 random(11);
  const auto below = [&](std::uint64_t limit) { return static_cast<std::int64_t>(random() % limit); };
  const auto pick = [&](const char* stem, std::uint64_t limit) {
    return InternedText(stem + std::to_string(below(limit)));
  };
  std::vector<UsageRecord> records(count);
  for (UsageRecord& record : records) {
    record.timestamp = {at("2026-08-20T00:00:00Z").seconds +
                        static_cast<double>(below(std::uint64_t{20} * 86'400))};
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

TEST(Aggregation, AgreesWithANaivePassToTheLastBit) {
  const Calendar berlin = zone("Europe/Berlin");
  const std::vector<UsageRecord> records = randomRecords(8'000);
  const TimePoint from = at("2026-08-22T00:00:00+02:00");
  const TimePoint to = at("2026-09-07T00:00:00+02:00");

  NaivePass naive;
  for (const UsageRecord& record : records) {
    const TimePoint day = berlin.startOfDay(record.timestamp);
    if (day < from || day > to) {
      continue;
    }
    naive.add("total", record, day, berlin);
    naive.add("day " + berlin.formatDay(day), record, day, berlin);
    naive.add("hour " + std::to_string(berlin.hour(record.timestamp)), record, day, berlin);
    naive.add("model " + std::string(record.model.text()), record, day, berlin);
    for (const char* axis : {"project ~", "cwd ~"}) {
      naive.add(axis + std::string(record.rawCwd.text().substr(9)), record, day, berlin);
    }
    naive.add("session " + std::string(record.sessionId.text()), record, day, berlin);
    naive.add("agent " + std::string(record.agent.description()), record, day, berlin);
    naive.add("source " + std::string(record.sourceHome.text()), record, day, berlin);
  }
  ASSERT_EQ(naive.cells.size(), 1U + 17 + 24 + 26 + 12 + 12 + 30 + 41 + 2);

  const Report sums = report(records, from, to, berlin);
  naive.expect("total", sums.total);
  for (const auto& [day, bucket] : sums.byDay) {
    naive.expect("day " + berlin.formatDay(day), bucket);
  }
  for (const auto& [hour, bucket] : sums.byHour) {
    naive.expect("hour " + std::to_string(hour), bucket);
  }
  const auto expectAll = [&](const std::string& prefix, const auto& axis) {
    for (const auto& [key, bucket] : axis) {
      naive.expect(prefix + std::string(key.text()), bucket);
    }
  };
  expectAll("model ", sums.byModel);
  expectAll("project ", sums.byProject);
  expectAll("cwd ", sums.byRawCwd);
  expectAll("session ", sums.bySession);
  expectAll("source ", sums.bySource);
  for (const auto& [agent, bucket] : sums.byAgent) {
    naive.expect("agent " + std::string(agent.description()), bucket);
  }
  EXPECT_TRUE(naive.cells.empty());
}

}  // namespace
}  // namespace tallyfin
