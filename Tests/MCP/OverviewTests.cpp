#include "Support/ArgumentsOf.hpp"
#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::HasSubstr;
using testing::Not;

class Overview : public testing::Test {
 protected:
  void add(const UsageLine& line) { machine_.home.append(".claude/projects/p/one.jsonl", line.text()); }

  std::string overview(const char* arguments = "{}") {
    DataSource data(machine_.environment());
    return Tools::overview(data, argumentsOf(arguments));
  }

  Machine machine_{{2026, 3, 10}, 14, 30, "Europe/Berlin"};  // UTC + 1 h in winter
};

/// Today: 2.50 by the main session (opus: 0.2 M input at 5, 0.06 M output at 25) at 14:10 with a request of a
/// model without a price at 09:30; 1.10 by a reviewer (sonnet: 0.1 M output at 10, 0.5 M cache read at 0.2)
/// at 14:20; 0.45 by an anonymous agent (haiku: 0.08 M output at 5, 0.04 M cache write at 1.25) at 09:00. The
/// hour since 14:00 made 3.60 in 30 minutes. Yesterday 3.00 at 10:00, 0.30 at 14:30:00 sharp, 2.00 at 20:00;
/// before that days of 10.00, 1.00 and 4.00, so the median of four lies between 4.00 and 5.30.
TEST_F(Overview, TellsTodayAgainstHistory) {
  const std::string notes = machine_.home.makeDirectory("notes");
  machine_.home.makeDirectory("notes/.git");
  const std::string opus = "claude-opus-5";
  const std::string sonnet = "claude-sonnet-5";
  const std::string haiku = "claude-haiku-4-5-20251001";
  add({.id = "a", .time = "2026-03-10T13:10:00Z", .model = opus, .input = 200'000, .output = 60'000});
  add({.id = "b",
       .time = "2026-03-10T13:20:00Z",
       .model = sonnet,
       .cwd = "/nowhere/beta",
       .agent = "areviewer-0123456789abcdef",
       .output = 100'000,
       .cacheRead = 500'000});
  add({.id = "c",
       .time = "2026-03-10T08:00:00Z",
       .model = haiku,
       .cwd = notes,
       .agent = "f00dcafe12345",
       .output = 80'000,
       .cacheWrite = 40'000});
  add({.id = "d", .time = "2026-03-10T08:30:00Z", .model = "nova-1", .input = 1000});
  add({.id = "e", .time = "2026-03-09T09:00:00Z", .model = opus, .output = 120'000});
  add({.id = "f", .time = "2026-03-09T13:30:00Z", .model = sonnet, .output = 30'000});
  add({.id = "g", .time = "2026-03-09T19:00:00Z", .model = opus, .output = 80'000});
  add({.id = "h", .time = "2026-03-01T11:00:00Z", .model = opus, .input = 2'000'000});
  add({.id = "i", .time = "2026-02-20T11:00:00Z", .model = sonnet, .output = 100'000});
  add({.id = "j", .time = "2026-02-10T07:00:00Z", .model = haiku, .output = 800'000});

  EXPECT_EQ(overview(), R"(Tallyfin — status at 2026-03-10 14:30
──────────────────────────────────────────────────────────────
TODAY (2026-03-10)
  cost                 ≥ $4.05 [1 request with no known price (nova-1) are not included]
  current rate         $7.20/h
  yesterday, same time $3.30
  change               +22.7%
  yesterday, full day  $5.30
  median, 7 full days  $4.65

WHO SPENT IT TODAY
  main session         $2.50  (61.7%)
  sub-agents           $1.55  (38.3%)
  distinct agents      3

TOP 5 AGENTS TODAY
  (main session)                      ≥ $2.50 [1 request with no known price (nova-1) are not included]  ·  2 requests  ·  261.0k tokens  ·  claude-opus-5×1 nova-1×1
  reviewer                            $1.10  ·  1 request  ·  600.0k tokens  ·  claude-sonnet-5×1
  anon:f00dcafe1                      $0.45  ·  1 request  ·  120.0k tokens  ·  claude-haiku-4-5×1

TOP 5 PROJECTS TODAY
  /nowhere/alpha                      ≥ $2.50 [1 request with no known price (nova-1) are not included]  ·  2 requests  ·  261.0k tokens  ·  claude-opus-5×1 nova-1×1
  /nowhere/beta                       $1.10  ·  1 request  ·  600.0k tokens  ·  claude-sonnet-5×1
  ~/notes                             $0.45  ·  1 request  ·  120.0k tokens  ·  claude-haiku-4-5×1

HISTORY
  days with activity   5
  total recorded       ≥ $24.35 [1 request with no known price (nova-1) are not included]
  range                2026-02-10 08:00 → 2026-03-10 14:20

The period includes today — the figure is not final.
WARNING: 1 request with no known price (nova-1) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
Next: tally_top_agents · tally_provenance · tally_sources
)");
}

TEST_F(Overview, SaysWhyNothingIsKnown) {
  EXPECT_EQ(overview(R"({"top":-3})"), R"(Tallyfin — status at 2026-03-10 14:30
──────────────────────────────────────────────────────────────
TODAY (2026-03-10)
  cost                 unknown (no requests in range)
  current rate         unknown — no requests in the selected range
  yesterday, same time unknown — no requests in the selected range
  change               unknown — no requests in the selected range
  yesterday, full day  unknown — no requests in the selected range
  median, 7 full days  unknown — no requests in the selected range

WHO SPENT IT TODAY
  unknown — no requests recorded today

TOP 1 AGENTS TODAY
  unknown — no agent with activity today

TOP 1 PROJECTS TODAY
  unknown — no project with activity today

HISTORY
  days with activity   0
  total recorded       unknown (no requests in range)
  range                unknown

The period includes today — the figure is not final.
— Estimate from usage × list API prices. Not a bill.
Next: tally_top_agents · tally_provenance · tally_sources
)");
}

TEST_F(Overview, RequestsWithoutPricesAreNoFreeDay) {
  add({.id = "a", .time = "2026-03-10T08:00:00Z", .model = "nova-1", .agent = "0123", .input = 7});
  add({.id = "b", .time = "2026-03-10T08:30:00Z", .model = "nova-2", .agent = "main-like", .input = 7});
  const std::string text = overview(R"({"top":0})");
  EXPECT_THAT(text,
              HasSubstr("\n  cost                 unknown (2 requests, no known price: nova-1, nova-2)\n"));
  EXPECT_THAT(text,
              HasSubstr("\n  current rate         unknown — no requests in the last few hours — the rate "
                        "would describe when you last worked, not now\n"));
  EXPECT_THAT(text,
              HasSubstr("\nWHO SPENT IT TODAY\n  unknown — none of today’s requests has a known price\n\n"
                        "TOP 1 AGENTS TODAY\n  anon:0123 "));
  EXPECT_THAT(text, Not(HasSubstr("anon:main-like"))) << "one row, the first in text order";
}

}  // namespace
}  // namespace tallyfin
