// Tests rate, yesterday and median. Tests/Golden/now and zones cover the texts that show them.

#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Figures/Derived.hpp"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using Cost = Estimate<CostEstimate>;

UsageRecord dollars(std::string_view time, std::int64_t amount) {
  return make({.at = time, .output = amount * kDollar});
}

Report report(const std::vector<UsageRecord>& records, const Calendar& calendar = Calendar::utc()) {
  return Aggregator(calendar, ProjectResolver("/home/ada", false)).aggregate(records, {}, {}, {}, true);
}

TEST(Derived, RateUsesTheHourThatDescribesNow) {
  struct Hour {
    int hour;
    std::int64_t dollars;
  };
  const struct {
    const char* now;
    std::vector<Hour> hours;
    std::optional<double> rate;
  } cases[] = {{"14:30", {{14, 10}, {13, 5}}, 20},
               {"14:10", {{14, 1}, {13, 5}}, 6},
               {"14:09", {{14, 1}, {13, 5}}, 5},
               {"14:59", {{13, 5}, {12, 7}}, 5},
               {"14:30", {{11, 3}}, 3},
               {"14:30", {{10, 3}}, std::nullopt},
               {"14:05", {{14, 1}, {10, 9}}, 12},
               {"14:02", {{14, 1}}, 30},
               {"14:01", {{14, 1}}, std::nullopt},
               {"14:30", {{15, 4}}, std::nullopt},  // the clock was set back
               {"02:30", {{23, 4}}, std::nullopt},
               {"01:05", {{0, 2}}, 2},
               {"00:05", {{0, 0}}, 0}};  // known to be 0
  for (const auto& [now, hours, rate] : cases) {
    std::vector<UsageRecord> records;
    for (const auto& [hour, amount] : hours) {
      records.push_back(dollars("2026-03-02T" + std::to_string(100 + hour).substr(1) + ":00:00Z", amount));
    }
    const TimePoint time = at("2026-03-02T" + std::string(now) + ":59Z");
    EXPECT_EQ(Derived::currentHourlyRate(report(records), time, Calendar::utc()),
              rate ? Cost(CostEstimate{*rate, 0, {}}) : Cost(UnknownReason::noRecentActivity()))
        << now << " with hour " << hours.front().hour;
  }
}

TEST(Derived, YesterdayCountsWholeSecondsAtTheirOwnPrices) {
  const std::vector<UsageRecord> records = {
      make({.at = "2026-08-31T12:00:00Z", .model = "claude-sonnet-5", .input = 1'000'000}),
      make({.at = "2026-08-31T11:00:00Z", .model = "other"}),
      make({.at = "2026-08-31T12:00:00.5Z", .model = "claude-sonnet-5", .input = 1'000'000}),
      make({.at = "2026-09-01T01:00:00Z", .model = "claude-sonnet-5", .input = 1'000'000}),
  };
  const TimePoint now = at("2026-09-01T12:00:00.9Z");
  EXPECT_EQ(Derived::yesterdayAtSameTime(records, now, Calendar::utc()),
            Cost(CostEstimate{2, 1, {InternedText("other")}}));
  EXPECT_EQ(Derived::yesterdayAtSameTime(std::vector{records[1]}, now, Calendar::utc()),
            Cost(CostEstimate{0, 1, {InternedText("other")}}))
      << "if all requests lack a price, their number is known";
}

TEST(Derived, YesterdayIsTheLastDateThatExisted) {
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
      dollars("2026-03-12T12:00:00Z", 900),  // the clock was set back
      dollars("2026-03-09T23:59:59Z", 4),
      dollars("2026-01-01T12:00:00Z", 50),
      dollars("2026-03-08T12:00:00Z", 2),
  });
  const std::optional<double> medians[] = {std::nullopt, 4, 3, 2, 3, 3};
  for (std::size_t count = 0; count < std::size(medians); ++count) {
    EXPECT_EQ(Derived::medianOfRecentDays(days, count, at("2026-03-10T18:00:00Z"), Calendar::utc()),
              medians[count] ? Cost(CostEstimate{*medians[count], 0, {}}) : Cost(UnknownReason::noData()))
        << count;
  }
}

TEST(Derived, ChangeFromNothingIsUnknown) {
  EXPECT_EQ(Derived::delta(15, CostEstimate{10, 3, {}}), Estimate<double>(50.0));
  EXPECT_EQ(Derived::delta(0, CostEstimate{10, 0, {}}), Estimate<double>(-100.0));
  for (const Cost& baseline : {Cost(CostEstimate{0, 3, {}}), Cost(CostEstimate{-1, 0, {}}),
                               Cost(UnknownReason::noRecentActivity())}) {
    EXPECT_EQ(Derived::delta(5, baseline), Estimate<double>(UnknownReason::noData()));
  }
}

}  // namespace
}  // namespace tallyfin
