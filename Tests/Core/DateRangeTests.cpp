#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Figures/DateRange.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

// Noon of a day in UTC; with a zone, noon there.
TimePoint noon(const std::string& day, const Calendar& calendar = Calendar::utc()) {
  return {calendar.parseDay(day).value().seconds + 43'200};
}

std::string presetOn(RangePreset preset, const std::string& today,
                     const Calendar& calendar = Calendar::utc()) {
  const std::optional<DateRange> found = range(preset, noon(today, calendar), calendar);
  return found ? found->label(calendar) : "none";
}

TEST(DateRange, HoldsWholeDaysInOrder) {
  const Calendar calendar = zone("Europe/Berlin");
  const DateRange days(noon("2026-03-10", calendar), noon("2026-03-04", calendar), calendar);
  EXPECT_EQ(days, DateRange(noon("2026-03-04", calendar), noon("2026-03-10", calendar), calendar));
  EXPECT_EQ(days.from(), calendar.parseDay("2026-03-04"));
  EXPECT_EQ(days.label(calendar), "2026-03-04 → 2026-03-10");
  EXPECT_EQ(days.dayCount(calendar), 7);
  EXPECT_FALSE(days.isSingleDay());
  EXPECT_TRUE(days.contains(at("2026-03-10T22:59:59Z"), calendar));   // 23:59:59 there
  EXPECT_FALSE(days.contains(at("2026-03-10T23:00:00Z"), calendar));  // the next midnight
  EXPECT_FALSE(days.contains(at("2026-03-03T22:59:59Z"), calendar));

  const DateRange one(at("2026-03-10T00:00:00Z"), at("2026-03-10T20:00:00Z"), calendar);
  EXPECT_TRUE(one.isSingleDay());
  EXPECT_EQ(one.dayCount(calendar), 1);
  EXPECT_EQ(one.label(calendar), "2026-03-10");
  EXPECT_EQ(one.caveat(noon("2026-03-10", calendar), calendar),
            "This range includes today, so the figure is not final yet.");
  EXPECT_EQ(one.caveat(noon("2026-03-11", calendar), calendar), std::nullopt);
}

TEST(DateRange, DaysAreCountedAcrossClockChanges) {
  const Calendar calendar = zone("America/Sao_Paulo");  // 2018-11-04 begins at 01:00
  const DateRange days(noon("2018-11-03", calendar), noon("2018-11-05", calendar), calendar);
  EXPECT_EQ(days.dayCount(calendar), 3);
  EXPECT_EQ(presetOn(RangePreset::last7Days, "2018-11-05", calendar), "2018-10-30 → 2018-11-05");
}

TEST(RangePreset, NamesItsDays) {
  using enum RangePreset;
  const struct {
    RangePreset preset;
    const char* today;
    const char* label;
  } cases[] = {
      {thisMonth, "2026-03-10", "2026-03-01 → 2026-03-10"},
      {thisMonth, "2026-03-01", "2026-03-01"},
      {lastMonth, "2026-03-31", "2026-02-01 → 2026-02-28"},
      {lastMonth, "2024-03-31", "2024-02-01 → 2024-02-29"},
      {lastMonth, "2026-01-15", "2025-12-01 → 2025-12-31"},
      {last7Days, "2026-03-10", "2026-03-04 → 2026-03-10"},
      {last30Days, "2026-03-10", "2026-02-09 → 2026-03-10"},
      {yearToDate, "2026-01-01", "2026-01-01"},
      {yearToDate, "2026-03-10", "2026-01-01 → 2026-03-10"},
      {custom, "2026-03-10", "none"},
      {last30Days, "0001-01-05", "0000-12-07 → 0001-01-05"},
      {lastMonth, "0001-01-05", "0000-12-07 → 0001-01-05"},  // months begin with the year 1
  };
  for (const auto& one : cases) {
    EXPECT_EQ(presetOn(one.preset, one.today), one.label) << rawValue(one.preset) << " on " << one.today;
  }
}

TEST(RangePreset, TodayIsThatOfTheZone) {
  const struct {
    RangePreset preset;
    const char* zone;
    const char* now;
    const char* label;
  } cases[] = {
      {RangePreset::yearToDate, "Asia/Tokyo", "2025-12-31T15:00:00Z", "2026-01-01"},
      {RangePreset::lastMonth, "Asia/Tokyo", "2026-02-28T15:00:00Z", "2026-02-01 → 2026-02-28"},
      {RangePreset::last7Days, "America/New_York", "2026-03-10T03:59:59Z", "2026-03-03 → 2026-03-09"},
      {RangePreset::thisMonth, "America/Asuncion", "2000-10-02T12:00:00Z",
       "2000-10-01 → 2000-10-02"},  // the first had no midnight
  };
  for (const auto& [preset, name, now, label] : cases) {
    const Calendar calendar = zone(name);
    EXPECT_EQ(range(preset, at(now), calendar)->label(calendar), label) << name;
  }
}

TEST(RangePreset, IsKnownByItsRawValue) {
  std::string all;
  for (const RangePreset preset : pickableRangePresets) {
    EXPECT_EQ(rangePreset(rawValue(preset)), preset);
    all += std::string(rawValue(preset)) + "=" + std::string(label(preset)) + ";";
  }
  EXPECT_EQ(all,
            "thisMonth=This month;lastMonth=Last month;last7Days=Last 7 days;last30Days=Last 30 days;"
            "yearToDate=Year to date;custom=Custom range;");
  EXPECT_EQ(rangePreset("ThisMonth"), std::nullopt);
}

TEST(DateRange, AWholeMonthReadsAsItsName) {
  const struct {
    const char* from;
    const char* through;
    const char* title;
  } cases[] = {{"2026-02-01", "2026-02-28", "February 2026"},
               {"2026-02-01", "2026-02-27", "2026-02-01 → 2026-02-27"},
               {"2026-02-02", "2026-02-28", "2026-02-02 → 2026-02-28"},
               {"2026-02-01", "2026-03-31", "2026-02-01 → 2026-03-31"},
               {"2025-12-01", "2025-12-31", "December 2025"}};
  for (const char* name : {"UTC", "America/Sao_Paulo", "Australia/Lord_Howe"}) {
    const Calendar calendar = zone(name);
    for (const auto& one : cases) {
      EXPECT_EQ(DateRange(noon(one.from, calendar), noon(one.through, calendar), calendar).title(calendar),
                one.title);
    }
  }
}

TEST(RangeSelection, APresetWinsOverTheDatesThatItKeeps) {
  const Calendar calendar = Calendar::utc();
  const TimePoint now = noon("2026-03-10");
  RangeSelection selection(RangePreset::thisMonth, noon("2020-05-05"), noon("2020-01-01"), now, calendar);
  EXPECT_EQ(selection.resolved(now, calendar).label(calendar), "2026-03-01 → 2026-03-10");
  EXPECT_EQ(selection.resolved(noon("2026-04-02"), calendar).label(calendar), "2026-04-01 → 2026-04-02");
  selection.preset = RangePreset::custom;
  EXPECT_EQ(selection.resolved(now, calendar).label(calendar), "2020-01-01 → 2020-05-05");
  EXPECT_EQ(selection.customFrom, noon("2020-05-05")) << "kept as given";
  RangeSelection other = selection;
  other.customTo = now;
  EXPECT_NE(other, selection);
  const RangeSelection fresh(RangePreset::custom, {}, {}, now, calendar);
  EXPECT_EQ(fresh.resolved(now, calendar).label(calendar), "2026-02-09 → 2026-03-10");
}

TEST(DateRange, ReportsHaveHoursForASingleDay) {
  const Aggregator aggregator(Calendar::utc(), ProjectResolver("/home/ada", false));
  const std::vector<UsageRecord> records = {make({.at = "2026-03-09T23:59:59Z"}),
                                            make({.at = "2026-03-10T08:00:00Z"})};
  const DateRange today(noon("2026-03-10"), noon("2026-03-10"), Calendar::utc());
  const DateRange both(noon("2026-03-09"), noon("2026-03-10"), Calendar::utc());
  EXPECT_EQ(report(aggregator, records, today, {}).byHour.size(), 1U);
  EXPECT_EQ(report(aggregator, records, today, {}, false).byHour.size(), 0U);
  EXPECT_EQ(report(aggregator, records, both, {}).byHour.size(), 0U);
  EXPECT_EQ(report(aggregator, records, both, {}).total.requests, 2);
  const RangeSelection selection(RangePreset::thisMonth, {}, {}, noon("2026-03-10"), Calendar::utc());
  EXPECT_EQ(report(aggregator, records, selection, noon("2026-03-10"), {}).total.requests, 2);
}

}  // namespace
}  // namespace tallyfin
