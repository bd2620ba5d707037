#include "Platform/Files.hpp"
#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "TallyfinCore/Transcripts/Timestamp.hpp"
#include "TallyfinMCP/Catalogue.hpp"
#include "TallyfinMCP/DataSource.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

const std::string transcript = ".claude/projects/p/one.jsonl";

class DataSourceTest : public testing::Test {
 protected:
  void addRequest(const std::string& id, const std::string& time = "2026-03-10T08:00:00Z") {
    machine_.home.append(transcript, UsageLine{.id = id, .time = time, .input = 10}.text());
  }

  Machine machine_{{2026, 3, 10}, 14, 30};
};

TEST_F(DataSourceTest, LooksAtTheDiskAgainAfterFifteenSeconds) {
  addRequest("m1");
  DataSource data(machine_.environment());
  EXPECT_TRUE(data.records().empty());
  EXPECT_EQ(data.ensureFresh().filesNew, 1);
  EXPECT_EQ(data.records().size(), 1U);

  addRequest("m2");
  machine_.now += 14.9;
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  machine_.now -= 3600;  // a clock that was set back must catch up first
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  machine_.now += 3600.1;
  EXPECT_EQ(data.ensureFresh().filesGrown, 1);
  EXPECT_EQ(data.records().size(), 2U);
}

TEST_F(DataSourceTest, TheSecondRunStartsFromTheCacheFile) {
  addRequest("m1");
  DataSource first(machine_.environment());
  EXPECT_TRUE(Files::isDirectory(machine_.home.path("cache"))) << "made with the data source";
  EXPECT_FALSE(Files::exists(machine_.home.path("cache/scan.bin"))) << "no tool was called yet";
  first.ensureFresh();
  first.finishSaving();

  DataSource second(machine_.environment());
  const RefreshStats& stats = second.ensureFresh();
  EXPECT_TRUE(stats.fromCache);
  EXPECT_EQ(stats.bytesRead, 0U);
  EXPECT_EQ(second.records(), first.records());
}

TEST_F(DataSourceTest, WorksFromMemoryWhenTheCacheCannotBeWritten) {
  addRequest("m1");
  machine_.home.write("file", "");
  Environment environment = machine_.environment();
  environment.tallyfinCachePath = machine_.home.path("file/below/scan.bin");
  DataSource data(environment);
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
}

TEST_F(DataSourceTest, VariablesMoveTranscriptsAndCacheButNotTheHome) {
  Environment environment = machine_.environment();
  environment.tallyfinHome = "~/elsewhere";
  environment.tallyfinCachePath = "~/deep/er/cache.bin";
  machine_.home.write("elsewhere/.claude/projects/p/one.jsonl",
                      UsageLine{.id = "m1", .time = "2026-03-10T08:00:00Z", .input = 10}.text());
  DataSource data(environment);
  EXPECT_EQ(data.cache().cachePath(), machine_.home.path("deep/er/cache.bin"));
  EXPECT_TRUE(Files::isDirectory(machine_.home.path("deep/er")));
  ASSERT_EQ(data.homes().size(), 4U);
  EXPECT_EQ(data.homes()[0].projectsPath, machine_.home.path("elsewhere/.claude/projects"));
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  EXPECT_EQ(data.resolver().tildify(machine_.home.path("notes")), "~/notes");

  environment.tallyfinHome = "";
  environment.tallyfinCachePath = "";
  const DataSource unset(environment);
  EXPECT_EQ(unset.homes()[0].projectsPath, machine_.home.path(".claude/projects"));
  EXPECT_EQ(unset.cache().cachePath(),
            ScanCache::defaultPath(Files::applicationSupportDirectory(machine_.home.path())));
}

TEST_F(DataSourceTest, ReportsOfAnySpanCarryTheDiagnosticsOfTheWholeScan) {
  addRequest("m1");
  addRequest("m2", "2026-03-09T08:00:00Z");
  machine_.home.append(transcript, "{\"usage\"\n");
  DataSource data(machine_.environment());
  const TimePoint today = machine_.calendar.startOfDay(TimePoint{machine_.now});
  const Period period{
      .from = today, .through = today, .label = "", .includesToday = true, .isSingleDay = true};

  const Report day = data.report(period);
  EXPECT_EQ(day.total.requests, 1);
  EXPECT_EQ(day.byHour.size(), 1U) << "a single day has its hours";
  EXPECT_TRUE(data.report(period, {}, false).byHour.empty());
  EXPECT_TRUE(data.report(Period::all()).byHour.empty());
  EXPECT_EQ(data.report(Period::all(), {}, true).byHour.size(), 1U);

  const Report none = data.report(period, [](const UsageRecord&) { return false; });
  EXPECT_EQ(none.total.requests, 0);
  EXPECT_EQ(none.diagnostics.linesRejectedInvalidJSON, 1);
  EXPECT_EQ(none.diagnostics.uniqueRequests, 2);
}

TEST_F(DataSourceTest, RostersAreReadOnce) {
  const auto roster = [](const std::string& name) {
    return R"({"members":[{"agentId":")" + name + R"(@session-12345678"}]})";
  };
  machine_.home.write(".claude/teams/session-12345678/config.json", roster("scout"));
  DataSource data(machine_.environment());
  EXPECT_EQ(data.roster().size(), 0U);
  data.ensureFresh();
  EXPECT_EQ(data.roster().size(), 1U);
  machine_.home.write(".claude/teams/session-87654321/config.json", roster("late"));
  machine_.now += 60;
  data.ensureFresh();
  EXPECT_EQ(data.roster().size(), 1U);
}

TEST_F(DataSourceTest, AYearLaterTodayIsAnotherDayAndNothingIsLost) {
  addRequest("m1");
  DataSource data(machine_.environment());
  const auto today = [&] {
    return data.report(Period::parse(JsonValue::Object{}, "today", data.now(), data.calendar()));
  };
  EXPECT_EQ(today().total.requests, 1);
  machine_.now += 366 * 86'400.0;
  addRequest("m2", "2027-03-11T08:00:00Z");
  EXPECT_EQ(today().total.requests, 1);
  EXPECT_EQ(today().total.firstActivity, Timestamp::parse("2027-03-11T08:00:00Z"));
  EXPECT_EQ(data.report(Period::all()).total.requests, 2);
}

TEST_F(DataSourceTest, DaysFollowTheZoneOfTheRunAndNotOfTheCache) {
  addRequest("m1", "2026-03-09T20:00:00Z");
  addRequest("m2", "2026-03-10T02:00:00Z");
  const struct {
    const char* zone;
    std::vector<std::string> days;
  } starts[] = {{"UTC", {"2026-03-09", "2026-03-10"}},
                {"America/New_York", {"2026-03-09"}},
                {"Asia/Tokyo", {"2026-03-10"}},
                {"UTC", {"2026-03-09", "2026-03-10"}}};
  bool isFirst = true;
  for (const auto& [zone, expected] : starts) {
    machine_.calendar = Calendar::named(zone).value();
    DataSource data(machine_.environment());
    EXPECT_EQ(data.ensureFresh().bytesRead == 0, !std::exchange(isFirst, false)) << "from the cache";
    const Report report = data.report(Period::all());
    EXPECT_EQ(report.total.requests, 2);
    std::vector<std::string> days;
    for (const auto& [day, bucket] : report.byDay) {
      days.push_back(data.calendar().formatDay(day));
    }
    EXPECT_EQ(days, expected) << zone;
  }
}

TEST_F(DataSourceTest, HostileCountsStayAtTheEndOfTheirRange) {
  const auto add = [&](const char* id, const char* count) {
    machine_.home.append(
        transcript,
        R"({"timestamp":"2026-03-10T08:00:00Z","requestId":"r","message":{"id":")" + std::string(id) +
            R"(","model":"claude-opus-5","usage":{)" + R"("input_tokens":)" + count + R"(,"output_tokens":)" +
            count + R"(,"cache_read_input_tokens":)" + count + R"(,"cache_creation_input_tokens":)" + count +
            R"(,"cache_creation":{"ephemeral_5m_input_tokens":)" + count +
            R"(,"ephemeral_1h_input_tokens":)" + count + R"(},"server_tool_use":{"web_search_requests":)" +
            count + R"(,"web_fetch_requests":)" + count + "}}}}\n");
  };
  add("m1", "9223372036854775807");
  add("m2", "1e400");
  add("m1", "-1e400");  // of a request that is known: the highest count stays
  DataSource data(machine_.environment());
  MCPServer server(data, [](std::string_view) {});
  EXPECT_EQ(data.report(Period::all()).total.totalTokens(), std::numeric_limits<std::int64_t>::max());
  add("m3", "-9223372036854775808");
  add("m4", "-9223372036854775809");
  machine_.now += 60;
  EXPECT_EQ(data.report(Period::all()).total.requests, 4);
  for (const Tool& tool : catalogue()) {
    const JsonValue arguments =
        JsonValue::Object{{"period", "all"}, {"session_id", "one"}, {"agent", "main"}};
    const MCPServer::ToolResult result = server.callTool(tool.name, arguments);
    EXPECT_FALSE(result.isError) << result.text;
    for (const char* noNumber : {"$nan", "$-nan", "$inf", "$-inf", "nan%", "inf%"}) {
      EXPECT_EQ(result.text.find(noNumber), std::string::npos) << result.text;
    }
  }
}

TEST_F(DataSourceTest, ALookThatFailsIsTakenAgain) {
  addRequest("m1");
  int asked = 0;
  int failing = 0;
  Environment environment = machine_.environment();
  environment.now = [&, clock = environment.now] {
    if (++asked == failing) {
      throw std::bad_alloc();
    }
    return clock();
  };
  DataSource data(environment);
  const auto failAt = [&](int call) {  // with all files read, before the requests are handed over
    asked = 0;
    failing = call;
    EXPECT_THROW(data.ensureFresh(), std::bad_alloc);
    data.finishSaving();
  };
  failAt(2);  // the first look asks for its start and its end
  EXPECT_EQ(data.report(Period::all()).total.requests, 1);
  data.finishSaving();

  machine_.now += 20;
  failAt(3);  // and any other for the age of the last
  machine_.now -= 10;
  EXPECT_EQ(data.report(Period::all()).total.requests, 1) << "however young the last that worked";
}

}  // namespace
}  // namespace tallyfin
