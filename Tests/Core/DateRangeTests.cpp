// Tests ranges of days that an application chooses. Fuzz/Periods compares the days of presets with plain
// arithmetic.

#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Figures/DateRange.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TimePoint noon(const std::string& day, const Calendar& calendar = Calendar::utc()) {
  return {calendar.parseDay(day).value().seconds + 43'200};
}

TEST(RangePreset, NamesItsDays) {
  using enum RangePreset;
  const struct {
    RangePreset preset;
    const char* zone;
    const char* now;
    const char* label;
    const char* title;
  } cases[] = {
      {thisMonth, "UTC", "2026-03-10T12:00:00Z", "2026-03-01 → 2026-03-10", "2026-03-01 → 2026-03-10"},
      {lastMonth, "UTC", "2024-03-31T12:00:00Z", "2024-02-01 → 2024-02-29", "February 2024"},
      {lastMonth, "UTC", "2026-01-15T12:00:00Z", "2025-12-01 → 2025-12-31", "December 2025"},
      {last30Days, "UTC", "2026-03-10T12:00:00Z", "2026-02-09 → 2026-03-10", "2026-02-09 → 2026-03-10"},
      {last30Days, "UTC", "0001-01-05T12:00:00Z", "0000-12-07 → 0001-01-05", "0000-12-07 → 0001-01-05"},
      {yearToDate, "Asia/Tokyo", "2025-12-31T15:00:00Z", "2026-01-01", "2026-01-01"},
      {last7Days, "America/New_York", "2026-03-10T03:59:59Z", "2026-03-03 → 2026-03-09",
       "2026-03-03 → 2026-03-09"},
      {last7Days, "America/Sao_Paulo", "2018-11-05T12:00:00Z", "2018-10-30 → 2018-11-05",
       "2018-10-30 → 2018-11-05"},
      {thisMonth, "America/Asuncion", "2000-10-31T12:00:00Z", "2000-10-01 → 2000-10-31", "October 2000"}};
  for (const auto& [preset, name, now, label, title] : cases) {
    const Calendar calendar = zone(name);
    EXPECT_EQ(range(preset, at(now), calendar)->label(calendar), label) << name << " " << now;
    EXPECT_EQ(range(preset, at(now), calendar)->title(calendar), title) << name << " " << now;
  }
  EXPECT_EQ(range(custom, noon("2026-03-10"), Calendar::utc()), std::nullopt);
  EXPECT_EQ(rangePreset("ThisMonth"), std::nullopt);
}

TEST(DateRange, ConsistsOfWholeDaysInOrder) {
  const Calendar calendar = zone("America/Sao_Paulo");  // 2018-11-04 begins at 01:00
  const DateRange days(noon("2018-11-05", calendar), noon("2018-11-03", calendar), calendar);
  EXPECT_EQ(days, DateRange(noon("2018-11-03", calendar), noon("2018-11-05", calendar), calendar));
  EXPECT_EQ(days.from(), calendar.parseDay("2018-11-03"));
  EXPECT_EQ(days.dayCount(calendar), 3);
  EXPECT_TRUE(days.contains(at("2018-11-06T01:59:59Z"), calendar));
  EXPECT_FALSE(days.contains(at("2018-11-06T02:00:00Z"), calendar));
  EXPECT_FALSE(days.contains(at("2018-11-03T02:59:59Z"), calendar));
  EXPECT_FALSE(days.isSingleDay());
  EXPECT_EQ(days.caveat(noon("2018-11-05", calendar), calendar),
            "This range includes today, so the figure is not final yet.");
  EXPECT_EQ(days.caveat(noon("2018-11-06", calendar), calendar), std::nullopt);
}

TEST(RangeSelection, APresetTakesPrecedenceOverTheDatesThatItKeeps) {
  const Calendar calendar = Calendar::utc();
  const TimePoint now = noon("2026-03-10");
  RangeSelection selection(RangePreset::thisMonth, noon("2020-05-05"), noon("2020-01-01"), now, calendar);
  EXPECT_EQ(selection.resolved(noon("2026-04-02"), calendar).label(calendar), "2026-04-01 → 2026-04-02");
  const Aggregator aggregator(calendar, ProjectResolver("/home/ada", false));
  const std::vector<UsageRecord> records = {make({.at = "2026-03-09T23:59:59Z"}),
                                            make({.at = "2026-03-10T08:00:00Z"})};
  EXPECT_EQ(report(aggregator, records, selection, now, {}).total.requests, 2);
  EXPECT_EQ(report(aggregator, records, DateRange(now, now, calendar), {}).byHour.size(), 1U);
  EXPECT_EQ(report(aggregator, records, DateRange(now, now, calendar), {}, false).byHour.size(), 0U);
  EXPECT_EQ(report(aggregator, records, DateRange(noon("2026-03-09"), now, calendar), {}).byHour.size(), 0U);
  selection.preset = RangePreset::custom;
  EXPECT_EQ(selection.resolved(now, calendar).label(calendar), "2020-01-01 → 2020-05-05");
  EXPECT_EQ(selection.customFrom, noon("2020-05-05")) << "kept as given";
  EXPECT_EQ(
      RangeSelection(RangePreset::custom, {}, {}, now, calendar).resolved(now, calendar).label(calendar),
      "2026-02-09 → 2026-03-10");
}

}  // namespace
}  // namespace tallyfin
