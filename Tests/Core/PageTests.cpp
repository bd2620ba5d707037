// Tests names on the page, and the cuts by time from which its charts are drawn.

#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Exports/PageMarkup.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(Page, ShowsInvisibleCharactersAndLimitsTheLengthOfNames) {
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

// Requests every twenty minutes around clock changes, one of them at midnight. Each cut has the sums of the
// report of those days and hours.
TEST(TimeCuts, EqualTheFiguresOfTheReport) {
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
