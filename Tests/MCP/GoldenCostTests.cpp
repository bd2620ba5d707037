#include "MCP/GoldenHome.hpp"

#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using CostTool = GoldenHome;

TEST_F(CostTool, BreaksTodayDown) {
  const std::string head = R"(Cost — today (2026-03-10)
──────────────────────────────────────────────────────────────
  TOTAL  ≥ $9.75 [2 requests with no known price (nova-1, unknown) are not included]
  tokens 5.37M (in 703.0k · out 270.5k · cache-write 900.0k · cache-read 3.50M)
  dominant: cache read 65.1%
  range: 2026-03-10 00:05 → 2026-03-10 13:20

BREAKDOWN BY )";
  const std::string tail = R"(
WHO (top 5 agents over the same range)
  (main session)                      ≥ $4.50 [1 request with no known price (nova-1) are not included]  ·  3 requests  ·  1.32M tokens  ·  claude-opus-5×2 nova-1×1
  reviewer                            $1.50  ·  1 request  ·  2.60M tokens  ·  claude-sonnet-5×1
  scout                               $1.25  ·  1 request  ·  500.0k tokens  ·  claude-sonnet-5×1
  the-one-who-writes-release-notes    $1.00  ·  1 request  ·  100.0k tokens  ·  claude-opus-5×1
  anon:f00dcafe1                      $1.00  ·  1 request  ·  800.0k tokens  ·  claude-haiku-4-5×1

The period includes today — the figure is not final.
WARNING: 2 requests with no known price (nova-1, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)";
  const std::string byDay = R"(DAY
  2026-03-10                          ≥ $9.75 [2 requests with no known price (nova-1, unknown) are not included]  ·  9 requests  ·  5.37M tokens  ·  claude-opus-5×3 claude-sonnet-5×3 claude-haiku-4-5×1 nova-1×1 unknown×1
)";
  const std::pair<const char*, std::string> cases[] = {
      {"{}", byDay},
      {R"({"by":"DAY","period":"TODAY","limit":1})", byDay},
      // Hours ascend.
      {R"({"by":"Hour"})", R"(HOUR
  00:00                               unknown (1 request, no known price: unknown)  ·  1 request  ·  2.0k tokens  ·  unknown×1
  09:00                               ≥ $4.00 [1 request with no known price (nova-1) are not included]  ·  2 requests  ·  321.5k tokens  ·  claude-opus-5×1 nova-1×1
  10:00                               $2.50  ·  2 requests  ·  3.40M tokens  ·  claude-haiku-4-5×1 claude-sonnet-5×1
  11:00                               $1.00  ·  1 request  ·  100.0k tokens  ·  claude-opus-5×1
  12:00                               $1.25  ·  1 request  ·  500.0k tokens  ·  claude-sonnet-5×1
  13:00                               $1.00  ·  2 requests  ·  1.05M tokens  ·  claude-opus-5×1 claude-sonnet-5×1
)"},
      // Equal costs stand in text order.
      {R"({"by":"project"})", R"(PROJECT
  /nowhere/alpha                      $8.50  ·  6 requests  ·  4.87M tokens  ·  claude-opus-5×3 claude-sonnet-5×2 claude-haiku-4-5×1
  ~/notes                             $1.25  ·  1 request  ·  500.0k tokens  ·  claude-sonnet-5×1
  (unknown cwd)                       unknown (1 request, no known price: unknown)  ·  1 request  ·  2.0k tokens  ·  unknown×1
  /nowhere/beta                       unknown (1 request, no known price: nova-1)  ·  1 request  ·  1.5k tokens  ·  nova-1×1
)"},
      // Sessions are cut to twelve characters.
      {R"({"by":"session"})", R"(SESSION
  5e550001-mai                        ≥ $7.50 [1 request with no known price (nova-1) are not included]  ·  5 requests  ·  3.82M tokens  ·  claude-opus-5×2 claude-haiku-4-5×1 claude-sonnet-5×1 nova-1×1
  5e550003-wor                        $1.25  ·  1 request  ·  500.0k tokens  ·  claude-sonnet-5×1
  5e550002-res                        $1.00  ·  2 requests  ·  1.05M tokens  ·  claude-opus-5×1 claude-sonnet-5×1
  tiny                                unknown (1 request, no known price: unknown)  ·  1 request  ·  2.0k tokens  ·  unknown×1
)"},
  };
  for (const auto& [arguments, rows] : cases) {
    EXPECT_EQ(answer("tally_cost", arguments), head + rows + tail) << arguments;
  }
}

TEST_F(CostTool, DaysRunNewestFirstAndAgentsLeaveOutTheTopFive) {
  const std::string head = R"(Cost — all history
──────────────────────────────────────────────────────────────
  TOTAL  ≥ $13.25 [3 requests with no known price (nova-1, nova-2, unknown) are not included]
  tokens 6.16M (in 1.21M · out 550.5k · cache-write 900.0k · cache-read 3.50M)
  dominant: cache read 56.8%
  range: 2026-02-20 08:00 → 2026-03-10 13:20

BREAKDOWN BY )";
  const std::string days = R"(DAY
  2026-03-10                          ≥ $9.75 [2 requests with no known price (nova-1, unknown) are not included]  ·  9 requests  ·  5.37M tokens  ·  claude-opus-5×3 claude-sonnet-5×3 claude-haiku-4-5×1 nova-1×1 unknown×1
  2026-03-09                          $2.00  ·  1 request  ·  80.0k tokens  ·  claude-opus-5×1
  2026-02-20                          ≥ $1.50 [1 request with no known price (nova-2) are not included]  ·  2 requests  ·  710.0k tokens  ·  claude-haiku-4-5×1 nova-2×1

WHO (top 5 agents over the same range)
  (main session)                      ≥ $8.00 [1 request with no known price (nova-1) are not included]  ·  5 requests  ·  2.10M tokens  ·  claude-opus-5×3 claude-haiku-4-5×1 nova-1×1
  reviewer                            $1.50  ·  1 request  ·  2.60M tokens  ·  claude-sonnet-5×1
  scout                               ≥ $1.25 [1 request with no known price (nova-2) are not included]  ·  2 requests  ·  510.0k tokens  ·  claude-sonnet-5×1 nova-2×1
  the-one-who-writes-release-notes    $1.00  ·  1 request  ·  100.0k tokens  ·  claude-opus-5×1
  anon:f00dcafe1                      $1.00  ·  1 request  ·  800.0k tokens  ·  claude-haiku-4-5×1
)";
  const std::string agents = R"(AGENT
  (main session)                      ≥ $8.00 [1 request with no known price (nova-1) are not included]  ·  5 requests  ·  2.10M tokens  ·  claude-opus-5×3 claude-haiku-4-5×1 nova-1×1
  reviewer                            $1.50  ·  1 request  ·  2.60M tokens  ·  claude-sonnet-5×1
  scout                               ≥ $1.25 [1 request with no known price (nova-2) are not included]  ·  2 requests  ·  510.0k tokens  ·  claude-sonnet-5×1 nova-2×1
  the-one-who-writes-release-notes    $1.00  ·  1 request  ·  100.0k tokens  ·  claude-opus-5×1
  anon:f00dcafe1                      $1.00  ·  1 request  ·  800.0k tokens  ·  claude-haiku-4-5×1
  reviewer                            $0.50  ·  1 request  ·  50.0k tokens  ·  claude-sonnet-5×1
  anon:zz                             unknown (1 request, no known price: unknown)  ·  1 request  ·  2.0k tokens  ·  unknown×1
)";
  const std::string footer = R"(
The period includes today — the figure is not final.
WARNING: 3 requests with no known price (nova-1, nova-2, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)";
  EXPECT_EQ(answer("tally_cost", R"({"period":"all"})"), head + days + footer);
  EXPECT_EQ(answer("tally_cost", R"({"by":"agent","period":"all"})"), head + agents + footer);
}

TEST_F(CostTool, ProjectsOfARangeThatHasEnded) {
  EXPECT_EQ(answer("tally_cost", R"({"by":"project","from":"2026-02-01","to":"2026-03-09"})"),
            R"(Cost — 2026-02-01 → 2026-03-09
──────────────────────────────────────────────────────────────
  TOTAL  ≥ $3.50 [1 request with no known price (nova-2) are not included]
  tokens 790.0k (in 510.0k · out 280.0k · cache-write 0 · cache-read 0)
  dominant: input 64.6%
  range: 2026-02-20 08:00 → 2026-03-09 16:00

BREAKDOWN BY PROJECT
  /nowhere/alpha                      $2.00  ·  1 request  ·  80.0k tokens  ·  claude-opus-5×1
  ~/notes                             ≥ $1.50 [1 request with no known price (nova-2) are not included]  ·  2 requests  ·  710.0k tokens  ·  claude-haiku-4-5×1 nova-2×1

WHO (top 5 agents over the same range)
  (main session)                      $3.50  ·  2 requests  ·  780.0k tokens  ·  claude-haiku-4-5×1 claude-opus-5×1
  scout                               unknown (1 request, no known price: nova-2)  ·  1 request  ·  10.0k tokens  ·  nova-2×1

WARNING: 1 request with no known price (nova-2) are not included — the figures above are lower bounds.
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(CostTool, FiltersAreNamedInTheirOrder) {
  EXPECT_EQ(
      answer("tally_cost",
             R"({"by":"model","session_id":"5E550003","project":"NOTES","agent":"scout","period":"all"})"),
      R"(Cost — all history
filters: agent = scout  [ascout-1111222233334444] · project = ~/notes · session = 5e550003-work
──────────────────────────────────────────────────────────────
  TOTAL  ≥ $1.25 [1 request with no known price (nova-2) are not included]
  tokens 510.0k (in 510.0k · out 0 · cache-write 0 · cache-read 0)
  dominant: input 100.0%
  range: 2026-02-20 08:30 → 2026-03-10 12:00

BREAKDOWN BY MODEL
  claude-sonnet-5                     $1.25  ·  1 request  ·  500.0k tokens  ·  claude-sonnet-5×1
  nova-2                              unknown (1 request, no known price: nova-2)  ·  1 request  ·  10.0k tokens  ·  nova-2×1

WHO (top 5 agents over the same range)
  scout                               ≥ $1.25 [1 request with no known price (nova-2) are not included]  ·  2 requests  ·  510.0k tokens  ·  claude-sonnet-5×1 nova-2×1

The period includes today — the figure is not final.
WARNING: 1 request with no known price (nova-2) are not included — the figures above are lower bounds.
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(CostTool, NothingInRangeIsSaidOnEveryAxis) {
  const std::pair<const char*, const char*> axes[] = {
      {"day", "no day with activity in range"}, {"hour", "no hour with activity on this day"},
      {"agent", "no agent in range"},           {"project", "no project in range"},
      {"model", "no model in range"},           {"session", "no session in range"},
  };
  for (const auto& [axis, empty] : axes) {
    std::string heading = axis;
    for (char& letter : heading) {
      letter = static_cast<char>(letter - 'a' + 'A');
    }
    EXPECT_EQ(
        answer("tally_cost", R"({"period":"yesterday","agent":"scout","by":")" + std::string(axis) + "\"}"),
        "Cost — yesterday (2026-03-09)\n"
        "filters: agent = scout  [ascout-1111222233334444]\n"
        "──────────────────────────────────────────────────────────────\n"
        "  TOTAL  unknown (no requests in range)\n"
        "\n"
        "BREAKDOWN BY " +
            heading + "\n  unknown — " + empty +
            "\n\n— Estimate from usage × list API prices. Not a bill.\n");
  }
}

TEST_F(CostTool, RefusesWhatIsNoAxis) {
  const std::string unknown =
      "ERROR unknown axis “week” — accepted: day, hour, agent, project, model, session";
  const std::string manyDays =
      "ERROR `by: \"hour\"` only makes sense on a single day — give `period: \"today\"`, `\"yesterday\"` or "
      "`from`=`to`.";
  const std::pair<const char*, std::string> cases[] = {
      {R"({"by":"Week"})", unknown},
      {R"({"by":"Week","period":"7d"})", unknown},
      {R"({"by":" day"})", "ERROR unknown axis “ day” — accepted: day, hour, agent, project, model, session"},
      {R"({"by":""})", "ERROR unknown axis “” — accepted: day, hour, agent, project, model, session"},
      {R"({"by":"week","from":"x"})", "ERROR invalid date “x” — the format is yyyy-MM-dd"},
      {R"({"by":"week","session_id":"x"})", "ERROR No session starts with “x”."},
      {R"({"by":"hour","period":"7d"})", manyDays},
      {R"({"by":"HOUR","period":"all"})", manyDays},
      {R"({"by":"hour","from":"2026-03-09","to":"2026-03-10"})", manyDays},
  };
  for (const auto& [arguments, text] : cases) {
    EXPECT_EQ(answer("tally_cost", arguments), text) << arguments;
  }
  for (const char* single : {R"({"by":"hour","from":"2026-03-10"})", R"({"by":"hour","period":"1d"})",
                             R"({"by":"hour","from":"2020-01-01","to":"2020-01-01"})"}) {
    EXPECT_EQ(answer("tally_cost", single).substr(0, 5), "Cost ") << single;
  }
}

TEST_F(CostTool, ShowsFiftyRowsAndCountsAll) {
  for (int i = 0; i < 60; ++i) {
    machine_.home.append(".claude/projects/many.jsonl", UsageLine{.id = "many" + std::to_string(i),
                                                                  .time = "2025-01-01T10:00:00Z",
                                                                  .session = "many" + std::to_string(i),
                                                                  .output = 40'000}
                                                            .text());
  }
  const std::string text = answer("tally_cost", R"({"by":"session","from":"2025-01-01","to":"2025-01-01"})");
  EXPECT_NE(text.find("  TOTAL  $60.00\n"), std::string::npos) << text;
  std::size_t rows = 0;
  for (std::size_t at = 0; (at = text.find("\n  many", at)) != std::string::npos; ++at) {
    ++rows;
  }
  EXPECT_EQ(rows, 50U);
}

}  // namespace
}  // namespace tallyfin
