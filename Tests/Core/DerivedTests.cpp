#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Figures/Derived.hpp"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using Cost = Estimate<CostEstimate>;

Report report(const std::vector<UsageRecord>& records, const Calendar& calendar = Calendar::utc()) {
  return Aggregator(calendar, ProjectResolver("/home/ada", false)).aggregate(records, {}, {}, {}, true);
}

UsageRecord dollars(std::string_view time, std::int64_t amount) {
  return make({.at = time, .output = amount * kDollar});
}

TEST(Derived, RateIsOfTheHourThatDescribesNow) {
  struct Hour {
    int hour;
    std::int64_t dollars;
  };
  const struct {
    const char* now;
    std::vector<Hour> hours;
    std::optional<double> rate;
  } cases[] = {
      {"14:30", {{14, 10}}, 20},
      {"14:30", {{14, 10}, {13, 5}}, 20},
      {"14:10", {{14, 1}, {13, 5}}, 6},
      {"14:09", {{14, 1}, {13, 5}}, 5},
      {"14:59", {{13, 5}, {12, 7}}, 5},
      {"14:30", {{11, 3}}, 3},
      {"14:30", {{10, 3}}, std::nullopt},
      {"14:05", {{14, 1}}, 12},
      {"14:05", {{14, 1}, {10, 9}}, 12},
      {"14:02", {{14, 1}}, 30},
      {"14:01", {{14, 1}}, std::nullopt},
      {"14:30", {{15, 4}}, std::nullopt},  // a clock that went back
      {"02:30", {{23, 4}}, std::nullopt},
      {"01:05", {{0, 2}}, 2},
      {"00:05", {{0, 1}}, 12},
      {"00:05", {{0, 0}}, 0},  // a known 0
  };
  for (const auto& [now, hours, rate] : cases) {
    std::vector<UsageRecord> records;
    for (const auto& [hour, amount] : hours) {
      const std::string digits = std::to_string(100 + hour).substr(1);
      records.push_back(dollars("2026-03-02T" + digits + ":00:00Z", amount));
    }
    const TimePoint time = at("2026-03-02T" + std::string(now) + ":59Z");
    const Cost expected = rate ? Cost(CostEstimate{*rate, 0, {}}) : Cost(UnknownReason::noRecentActivity());
    EXPECT_EQ(Derived::currentHourlyRate(report(records), time, Calendar::utc()), expected)
        << now << " with hour " << hours.front().hour;
  }
  EXPECT_EQ(Derived::currentHourlyRate(report({}), at("2026-03-02T14:30:00Z"), Calendar::utc()),
            Cost(UnknownReason::noData()));
}

TEST(Derived, RateReadsTheClockOfTheZoneAndKeepsWhatIsUnpriced) {
  const Calendar kathmandu = zone("Asia/Kathmandu");  // 5:45 ahead
  const Report today = report(
      {dollars("2026-03-02T09:00:00+05:45", 3), make({.at = "2026-03-02T09:10:00+05:45", .model = "other"})},
      kathmandu);
  EXPECT_EQ(Derived::currentHourlyRate(today, at("2026-03-02T09:20:00+05:45"), kathmandu),
            Cost(CostEstimate{9, 1, {InternedText("other")}}));
}

TEST(Derived, YesterdayCountsUpToTheSameDistanceFromTheStartOfTheDay) {
  const struct {
    const char* zone;
    const char* now;
    const char* record;
    bool counts;
  } cases[] = {
      {"UTC", "2026-03-02T12:00:00Z", "2026-02-28T23:59:59.9Z", false},
      {"UTC", "2026-03-02T12:00:00Z", "2026-03-01T00:00:00Z", true},
      {"UTC", "2026-03-02T12:00:00Z", "2026-03-01T12:00:00Z", true},
      {"UTC", "2026-03-02T12:00:00.9Z", "2026-03-01T12:00:00Z", true},
      {"UTC", "2026-03-02T12:00:00.9Z", "2026-03-01T12:00:00.5Z", false},  // whole seconds
      {"UTC", "2026-03-02T12:00:00Z", "2026-03-01T12:00:01Z", false},
      {"UTC", "2026-03-02T00:00:00Z", "2026-03-01T00:00:00Z", true},
      {"UTC", "2026-03-02T00:00:00Z", "2026-03-01T00:00:01Z", false},
      // The day before had 23 hours, from 00:00 at +01:00 to 24:00 at +02:00.
      {"Europe/Berlin", "2026-03-30T12:00:00+02:00", "2026-03-29T13:00:00+02:00", true},
      {"Europe/Berlin", "2026-03-30T12:00:00+02:00", "2026-03-29T13:00:01+02:00", false},
      {"Europe/Berlin", "2026-03-30T23:30:00+02:00", "2026-03-30T00:30:00+02:00", true},  // past its end
      // The day before had 25 hours.
      {"Europe/Berlin", "2026-10-26T12:00:00+01:00", "2026-10-25T11:00:00+01:00", true},
      {"Europe/Berlin", "2026-10-26T12:00:00+01:00", "2026-10-25T11:00:01+01:00", false},
      // Yesterday's midnight was skipped: that day began at 01:00.
      {"America/Sao_Paulo", "2018-11-05T00:10:00-02:00", "2018-11-04T03:00:00Z", true},
      {"America/Sao_Paulo", "2018-11-05T00:10:00-02:00", "2018-11-04T03:10:00Z", true},
      {"America/Sao_Paulo", "2018-11-05T00:10:00-02:00", "2018-11-04T02:59:59Z", false},
      // Today's midnight was skipped.
      {"America/Sao_Paulo", "2018-11-04T01:10:00-02:00", "2018-11-03T00:10:00-03:00", true},
      {"America/Sao_Paulo", "2018-11-04T01:10:00-02:00", "2018-11-03T00:10:01-03:00", false},
  };
  for (const auto& [name, now, record, counts] : cases) {
    const std::vector<UsageRecord> records = {dollars(record, 2)};
    EXPECT_EQ(Derived::yesterdayAtSameTime(records, at(now), zone(name)),
              counts ? Cost(CostEstimate{2, 0, {}}) : Cost(UnknownReason::noData()))
        << name << " " << now << " " << record;
  }
}

TEST(Derived, YesterdayPricesEachRecordOnItsOwnDay) {
  const std::vector<UsageRecord> records = {
      make({.at = "2026-08-31T10:00:00Z", .model = "claude-sonnet-5", .input = 1'000'000}),
      make({.at = "2026-08-31T11:00:00Z", .model = "other"}),
      make({.at = "2026-09-01T01:00:00Z", .model = "claude-sonnet-5", .input = 1'000'000}),
  };
  EXPECT_EQ(Derived::yesterdayAtSameTime(records, at("2026-09-01T12:00:00Z"), Calendar::utc()),
            Cost(CostEstimate{2, 1, {InternedText("other")}}));
  // Only requests without a price: known to be so many, not unknown.
  EXPECT_EQ(Derived::yesterdayAtSameTime(std::span(records).subspan(1, 1), at("2026-09-01T12:00:00Z"),
                                         Calendar::utc()),
            Cost(CostEstimate{0, 1, {InternedText("other")}}));
}

TEST(Derived, YesterdayCostIsThatOfTheCalendarDayBefore) {
  const Calendar saoPaulo = zone("America/Sao_Paulo");
  const Report days =
      report({dollars("2018-11-03T12:00:00-03:00", 1), dollars("2018-11-04T12:00:00-02:00", 2)}, saoPaulo);
  const struct {
    const char* now;
    std::optional<double> cost;
  } cases[] = {{"2018-11-04T01:00:00-02:00", 1},
               {"2018-11-05T00:00:00-02:00", 2},
               {"2018-11-05T23:59:59-02:00", 2},
               {"2018-11-06T00:00:00-02:00", std::nullopt}};
  for (const auto& [now, cost] : cases) {
    EXPECT_EQ(Derived::yesterdayCost(days, at(now), saoPaulo),
              cost ? Cost(CostEstimate{*cost, 0, {}}) : Cost(UnknownReason::noData()))
        << now;
  }
  // Where the zone skipped a date, yesterday is the last that was.
  const Calendar apia = zone("Pacific/Apia");
  const std::vector<UsageRecord> records = {dollars("2011-12-29T12:00:00-10:00", 1),
                                            dollars("2011-12-31T12:00:00+14:00", 2)};
  const TimePoint now = at("2011-12-31T13:00:00+14:00");
  EXPECT_EQ(Derived::yesterdayCost(report(records, apia), now, apia), Cost(CostEstimate{1, 0, {}}));
  EXPECT_EQ(Derived::yesterdayAtSameTime(records, now, apia), Cost(CostEstimate{1, 0, {}}));
}

TEST(Derived, MedianTakesTheLastDaysWithActivity) {
  const Report days = report({
      dollars("2026-03-10T12:00:00Z", 100),  // today
      dollars("2026-02-01T12:00:00Z", 1),
      dollars("2026-03-12T12:00:00Z", 900),  // a clock that went back
      dollars("2026-03-09T23:59:59Z", 4),
      dollars("2026-01-01T12:00:00Z", 50),
      dollars("2026-03-08T12:00:00Z", 2),
      make({.at = "2026-01-01T13:00:00Z", .model = "other"}),
  });
  const TimePoint now = at("2026-03-10T18:00:00Z");
  const std::set<InternedText> other = {InternedText("other")};
  const struct {
    std::size_t count;
    Cost median;
  } cases[] = {{1, CostEstimate{4, 0, {}}},
               {2, CostEstimate{3, 0, {}}},
               {3, CostEstimate{2, 0, {}}},
               {7, CostEstimate{3, 1, other}},
               {0, UnknownReason::noData()}};
  for (const auto& [count, median] : cases) {
    EXPECT_EQ(Derived::medianOfRecentDays(days, count, now, Calendar::utc()), median) << count;
  }
  EXPECT_EQ(
      Derived::medianOfRecentDays(report({dollars("2026-03-10T00:00:00Z", 1)}), 7, now, Calendar::utc()),
      Cost(UnknownReason::noData()));
}

TEST(Derived, ChangeOfNothingIsUnknown) {
  const struct {
    double current;
    Cost baseline;
    Estimate<double> delta;
  } cases[] = {
      {15, CostEstimate{10, 3, {}}, 50.0},
      {5, CostEstimate{10, 0, {}}, -50.0},
      {0, CostEstimate{10, 0, {}}, -100.0},
      {5, CostEstimate{0, 3, {}}, UnknownReason::noData()},
      {5, CostEstimate{-1, 0, {}}, UnknownReason::noData()},
      {5, UnknownReason::noRecentActivity(), UnknownReason::noData()},
  };
  for (const auto& [current, baseline, delta] : cases) {
    EXPECT_EQ(Derived::delta(current, baseline), delta) << current;
  }
}

}  // namespace
}  // namespace tallyfin
