// Weeks, months and blocks: their starts and names, and that their rows add up to the range.

#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Exports/BreakdownCSV.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

TEST(TimeAxes, KeysFollowTheZoneThroughYearEndsGapsAndClockChanges) {
  using enum Exporter::Axis;
  const struct {
    Exporter::Axis axis;
    const char* zone;
    std::vector<const char*> times;
    std::vector<std::string> keys;
  } cases[] = {
      {week, "UTC", {"2027-01-03T23:59:59Z", "2027-01-04T00:00:00Z"}, {"2026-W53", "2027-W01"}},
      {week, "UTC", {"2024-12-30T00:00:00Z", "2025-01-05T23:00:00Z"}, {"2025-W01"}},
      {week, "Asia/Tokyo", {"2026-11-15T14:59:00Z", "2026-11-15T15:00:00Z"}, {"2026-W46", "2026-W47"}},
      {week, "America/Sao_Paulo", {"2018-11-04T02:59:59Z", "2018-11-05T02:00:00Z"}, {"2018-W44", "2018-W45"}},
      // Sorted by time, not by text.
      {month, "Asia/Tokyo", {"9999-12-31T14:59:00Z", "9999-12-31T15:00:00Z"}, {"9999-12", "10000-01"}},
      {day, "Asia/Tokyo", {"9999-12-31T14:59:00Z", "9999-12-31T15:00:00Z"}, {"9999-12-31", "10000-01-01"}},
      {month, "Europe/Berlin", {"2026-10-31T22:59:00Z", "2026-10-31T23:00:00Z"}, {"2026-10", "2026-11"}},
      // Input out of order. The second block begins at the full hour of the first request at or after 19:00,
      // five hours after the start of the first block.
      {block,
       "UTC",
       {"2026-11-22T19:10:00Z", "2026-11-22T14:40:00Z", "2026-11-22T18:59:59Z", "2026-11-23T07:59:00Z"},
       {"2026-11-22 14:00", "2026-11-22 19:00", "2026-11-23 07:00"}},
      {block, "Asia/Kathmandu", {"2026-03-01T18:20:00Z"}, {"2026-03-02 00:00"}},
      {block, "Europe/Berlin", {"2026-10-25T00:30:00Z"}, {"2026-10-25 02:00+02:00"}},
      {block, "Europe/Berlin", {"2026-10-25T01:30:00Z"}, {"2026-10-25 02:00+01:00"}},
      {block,
       "Europe/Berlin",
       {"2026-03-28T22:30:00Z", "2026-03-29T03:10:00Z"},
       {"2026-03-28 23:00", "2026-03-29 05:00"}},
      // Lord Howe sets its clocks back by half an hour, so five hours from 00:00 end at 04:30.
      {block,
       "Australia/Lord_Howe",
       {"2026-04-04T13:10:00Z", "2026-04-04T18:10:00Z"},
       {"2026-04-05 00:00", "2026-04-05 04:30"}},
      {block, "Australia/Lord_Howe", {"2026-10-03T15:40:00Z"}, {"2026-10-04 02:30"}},  // 02:00 was skipped
  };
  for (const auto& [axis, name, times, keys] : cases) {
    std::vector<UsageRecord> records;
    for (const char* time : times) {
      records.push_back(make({.at = time}));
    }
    const Report report = Aggregator(zone(name), ProjectResolver("/home/ada", false))
                              .aggregate(records, {}, {}, {}, neededFor({&axis, 1}));
    std::vector<std::string> found;
    for (const Exporter::Entry& entry : rows(report, axis, zone(name))) {
      found.emplace_back(entry.key.text());
    }
    EXPECT_EQ(found, keys) << name << " " << times.front();
  }
}

TEST(TimeAxes, ABlockContainsOnlyRequestsOfTheRange) {
  const std::vector<UsageRecord> records = {make({.at = "2026-11-23T01:10:00Z"}),
                                            make({.at = "2026-11-22T22:30:00Z"}),
                                            make({.at = "2026-11-23T04:00:00Z"})};
  const TimePoint day = records[0].timestamp;
  const Calendar utc = Calendar::utc();
  const Report report = Aggregator(utc, ProjectResolver("/home/ada", false))
                            .aggregate(records, utc.startOfDay(day), {}, {}, neededFor(allAxes));
  const auto blocks = rows(report, Exporter::Axis::block, utc);
  ASSERT_EQ(blocks.size(), 2U);
  EXPECT_EQ(blocks[0].key.text(), "2026-11-22 22:00");
  EXPECT_EQ(blocks[0].bucket->requests, 1);
  EXPECT_EQ(blocks[1].key.text(), "2026-11-23 04:00");
  EXPECT_EQ(report.total.requests, 2);
}

}  // namespace
}  // namespace tallyfin
