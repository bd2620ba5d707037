// The page as a whole document, and the cuts that its drawings are made of.

#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Exports/Page.hpp"
#include "TallyfinCore/Exports/PageMarkup.hpp"
#include "TallyfinCore/Exports/PageTemplate.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

/// Page.html beside this file holds it, without the style. TALLYFIN_ACCEPT=1 writes it anew.
TEST(Page, IsTheExpectedDocument) {
  const std::vector<UsageRecord> records = {
      make({.at = "2026-04-29T21:30:00Z", .input = 1'000, .output = kDollar, .cacheRead = 10'000}),
      make({.at = "2026-04-30T08:00:00Z",
            .agentId = "areviewer-0123456789abcdef",
            .assumed = true,
            .output = 80'000}),
      make({.at = "2026-05-03T08:00:00Z",
            .model = "mystery <b>",
            .session = "session-2",
            .cwd = "/home/ada/beta & co",
            .agentId = "afb12",
            .home = ".claude-work",
            .output = 500}),
      make({.at = "2026-05-04T08:30:00Z", .session = "session-2", .cwd = "", .output = kDollar}),
      make({.at = "2026-05-04T09:30:00Z", .model = "mystery <b>", .output = 9}),
  };
  const Calendar berlin = zone("Europe/Berlin");
  const Aggregator aggregator(berlin, ProjectResolver("/home/ada", false));
  ScanDiagnostics seen;
  seen.filesScanned = 4;
  seen.linesRejectedInvalidJSON = 2;
  for (int i = 0; i < 12; ++i) {
    seen.filesUnreadable.push_back("/logs/" + std::to_string(i) + ".jsonl");
  }
  Exporter::Options options{.generatedAt = at("2026-05-04T15:42:10Z"), .calendar = berlin};
  options.from = berlin.startOfDay(at("2026-04-28T12:00:00Z"));
  options.to = berlin.startOfDay(at("2026-05-04T12:00:00Z"));
  const Report report = aggregator.aggregate(records, options.from, options.to, seen, false);
  std::string page = Exporter::page(report, aggregator, records, options);
  page.replace(page.find(Exporter::pageStyle), Exporter::pageStyle.size(), "...");
  page.replace(page.find(Exporter::pageStyleHash), Exporter::pageStyleHash.size(), "...");

  const std::string path = TALLYFIN_TESTS "/Core/Page.html";
  if (std::getenv("TALLYFIN_ACCEPT") != nullptr) {
    std::ofstream(path, std::ios::binary) << page;
  }
  std::ifstream expected(path, std::ios::binary);
  EXPECT_EQ(page, std::string(std::istreambuf_iterator<char>(expected), {}));
}

TEST(Page, ShowsWhatNamesHideAndBoundsThem) {
  const std::pair<std::string, std::string> kNames[] = {
      {"a & <b>", "<bdi>a &amp; &lt;b&gt;</bdi>"},
      {"", "<bdi class=\"none\">(no name)</bdi>"},
      {"a\n\x1B[31m\u202E\uFFFE", "<bdi>a\\u{a}\\u{1b}[31m\\u{202e}\\u{fffe}</bdi>"},
      {"\xFF caf\u00E9 \u0645\u200C\u06CC", "<bdi>\uFFFD caf\u00E9 \u0645\u200C\u06CC</bdi>"},
      {"0123456789\"", "<bdi title=\"0123456789&quot;\">012345…89&quot;</bdi>"},
  };
  for (const auto& [text, shown] : kNames) {
    EXPECT_EQ(Exporter::name(text, 10).html(), shown);
  }
  EXPECT_LT(Exporter::name(std::string(1'000'000, '\x01')).html().size(), 5'000);
}

/// A request every twenty minutes around clock changes, one of them at midnight: every cut has the sums of
/// the report of those days and hours.
TEST(TimeCuts, AreTheReportsOwnFigures) {
  for (const auto& [name, first] : {std::pair{"Europe/Berlin", "2026-03-27T00:00:00Z"},
                                    {"Europe/Berlin", "2026-10-23T00:00:00Z"},
                                    {"America/Sao_Paulo", "2018-11-01T00:00:00Z"},
                                    {"Australia/Lord_Howe", "2026-04-01T00:00:00Z"}}) {
    std::vector<UsageRecord> records;
    for (int i = 0; i < 72 * 9; ++i) {
      records.push_back(make({.agentId = i % 3 == 0 ? "afb12" : "", .input = 1'000 + i, .output = 7 * i}));
      records.back().timestamp.seconds = at(first).seconds + i * 1'200;
    }
    const Calendar calendar = zone(name);
    const Aggregator aggregator(calendar, ProjectResolver("/home/ada", false));
    const Report whole = aggregator.aggregate(records, {}, {}, {}, true);
    for (const TimeStep step : {TimeStep::day, TimeStep::week, TimeStep::month}) {
      const TimeCuts cuts = timeCuts(aggregator, records, {}, {}, {}, step);
      EXPECT_EQ(cuts.main.requests + cuts.subagents.requests, whole.total.requests);
      std::map<int, std::int64_t> byHour;
      for (const auto& [key, bucket] : cuts.byWeekHour) {
        byHour[key % 24] += bucket.requests;
      }
      for (const auto& [hour, bucket] : whole.byHour) {
        EXPECT_EQ(byHour[hour], bucket.requests) << name << " at " << hour;
      }
      for (const auto& [start, shares] : cuts.byStep) {
        const std::optional<TimePoint> last = calendar.startOfDay(*nextStep(step, start, calendar), -1);
        const Report part = aggregator.aggregate(records, start, last, {}, false);
        EXPECT_EQ(shares.all.cost, part.total.cost) << calendar.formatDay(start);
        EXPECT_EQ(shares.main.requests, part.byAgent.find(AgentIdentity::main())->requests);
        EXPECT_EQ(shares.main.requests + shares.subagents.requests, part.total.requests);
      }
    }
  }
  EXPECT_EQ(
      Calendar::utc().formatDay(startOfStep(TimeStep::week, at("1969-12-31T00:00:00Z"), Calendar::utc())),
      "1969-12-29");
}

}  // namespace
}  // namespace tallyfin
