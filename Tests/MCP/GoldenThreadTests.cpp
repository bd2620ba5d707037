#include "MCP/GoldenHome.hpp"

#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using SessionTool = GoldenHome;
using AgentTool = GoldenHome;

TEST_F(SessionTool, FollowsASessionThroughItsProjects) {
  const std::string thread = R"(Session 5e550001-main — all history
──────────────────────────────────────────────────────────────
  project   /nowhere/alpha
  cost      ≥ $9.50 [1 request with no known price (nova-1) are not included]
  volume    6 requests · 3.90M tokens
  active    2026-03-09 16:00 → 2026-03-10 11:00
  models    claude-opus-5×3 claude-haiku-4-5×1 claude-sonnet-5×1 nova-1×1

AGENTS IN THIS SESSION (ranked by cost)
  (main session)                 ≥ $6.00 [1 request with no known price (nova-1) are not included] · 3 requests · 2026-03-09 16:00 → 2026-03-10 09:40
  reviewer                       $1.50 · 1 request · 2026-03-10 10:05 → 2026-03-10 10:05
  the-one-who-writes-release-not $1.00 · 1 request · 2026-03-10 11:00 → 2026-03-10 11:00
  anon:f00dcafe1                 $1.00 · 1 request · 2026-03-10 10:20 → 2026-03-10 10:20

BY DAY
  2026-03-10                          ≥ $7.50 [1 request with no known price (nova-1) are not included]  ·  5 requests  ·  3.82M tokens  ·  claude-opus-5×2 claude-haiku-4-5×1 claude-sonnet-5×1 nova-1×1
  2026-03-09                          $2.00  ·  1 request  ·  80.0k tokens  ·  claude-opus-5×1

PROJECTS TOUCHED (the session changed directory)
  /nowhere/alpha                      $9.50  ·  5 requests  ·  3.90M tokens  ·  claude-opus-5×3 claude-haiku-4-5×1 claude-sonnet-5×1
  /nowhere/beta                       unknown (1 request, no known price: nova-1)  ·  1 request  ·  1.5k tokens  ·  nova-1×1

The period includes today — the figure is not final.
WARNING: 1 request with no known price (nova-1) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)";
  EXPECT_EQ(answer("tally_session", R"({"session_id":"5E550001"})"), thread);
  EXPECT_EQ(answer("tally_session", R"({"session_id":" 5e550001-main ","agent":"scout","project":"x"})"),
            thread)
      << "filters are not read here";
}

TEST_F(SessionTool, ASessionOfOneProjectSaysNothingOfOthers) {
  EXPECT_EQ(answer("tally_session", R"({"session_id":"5e550003","period":"today"})"),
            R"(Session 5e550003-work — today (2026-03-10)
──────────────────────────────────────────────────────────────
  project   ~/notes
  cost      $1.25
  volume    1 request · 500.0k tokens
  active    2026-03-10 12:00 → 2026-03-10 12:00
  models    claude-sonnet-5×1

AGENTS IN THIS SESSION (ranked by cost)
  scout                          $1.25 · 1 request · 2026-03-10 12:00 → 2026-03-10 12:00

BY DAY
  2026-03-10                          $1.25  ·  1 request  ·  500.0k tokens  ·  claude-sonnet-5×1

The period includes today — the figure is not final.
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(SessionTool, OutsideThePeriodOnlyTheProjectIsKnown) {
  EXPECT_EQ(answer("tally_session", R"({"session_id":"5e550003","period":"yesterday"})"),
            R"(Session 5e550003-work — yesterday (2026-03-09)
──────────────────────────────────────────────────────────────
  project   ~/notes
  cost      unknown (no requests in range)
  volume    0 requests · 0 tokens
  active    unknown
  models    unknown

AGENTS IN THIS SESSION (ranked by cost)
  unknown — no requests in the period asked for

BY DAY
  unknown — no day with activity in the period asked for

— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(SessionTool, CandidatesAndMissesAreNormalAnswers) {
  EXPECT_EQ(answer("tally_session", R"({"session_id":"5E55"})"),
            "The prefix “5E55” matches 3 sessions — pick one:\n"
            "  5e550001-main — ≥ $9.50 [1 request with no known price (nova-1) are not included]\n"
            "  5e550003-work — ≥ $2.75 [1 request with no known price (nova-2) are not included]\n"
            "  5e550002-resumed — $1.00");
  EXPECT_EQ(answer("tally_session", R"({"session_id":" 50001 ","period":"today"})"),
            "No session starts with “ 50001 ”. See `tally_cost` with `by: \"session\"` for the real ids.");
}

TEST_F(AgentTool, FollowsASubAgentWithItsRoster) {
  EXPECT_EQ(answer("tally_agent", R"({"agent":"sco"})"),
            R"(Agent scout  [ascout-1111222233334444] — all history
──────────────────────────────────────────────────────────────
  type      sub-agent
  cost      ≥ $1.25 [1 request with no known price (nova-2) are not included]
  volume    2 requests · 510.0k tokens
  active    2026-02-20 08:30 → 2026-03-10 12:00
  models    claude-sonnet-5×1 nova-2×1
  roster    name=scout type=unknown model=haiku cwd=/nowhere/teams

BY DAY
  2026-03-10                          $1.25  ·  1 request  ·  500.0k tokens  ·  claude-sonnet-5×1
  2026-02-20                          unknown (1 request, no known price: nova-2)  ·  1 request  ·  10.0k tokens  ·  nova-2×1

SESSIONS
  5e550003-work                       ≥ $1.25 [1 request with no known price (nova-2) are not included]  ·  2 requests  ·  510.0k tokens  ·  claude-sonnet-5×1 nova-2×1

PROJECTS
  ~/notes                             ≥ $1.25 [1 request with no known price (nova-2) are not included]  ·  2 requests  ·  510.0k tokens  ·  claude-sonnet-5×1 nova-2×1

The period includes today — the figure is not final.
WARNING: 1 request with no known price (nova-2) are not included — the figures above are lower bounds.
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(AgentTool, TheMainSessionIsAnAgentWithoutARoster) {
  const std::string thread = R"(Agent main session (no agentId) — all history
──────────────────────────────────────────────────────────────
  type      main session
  cost      ≥ $8.00 [1 request with no known price (nova-1) are not included]
  volume    5 requests · 2.10M tokens
  active    2026-02-20 08:00 → 2026-03-10 13:15
  models    claude-opus-5×3 claude-haiku-4-5×1 nova-1×1
  roster    unknown — this agent is not in `teams/session-*/config.json` (the roster covers only a small share of agents; being absent is not an error)

BY DAY
  2026-03-10                          ≥ $4.50 [1 request with no known price (nova-1) are not included]  ·  3 requests  ·  1.32M tokens  ·  claude-opus-5×2 nova-1×1
  2026-03-09                          $2.00  ·  1 request  ·  80.0k tokens  ·  claude-opus-5×1
  2026-02-20                          $1.50  ·  1 request  ·  700.0k tokens  ·  claude-haiku-4-5×1

SESSIONS
  5e550001-main                       ≥ $6.00 [1 request with no known price (nova-1) are not included]  ·  3 requests  ·  401.5k tokens  ·  claude-opus-5×2 nova-1×1
  5e550003-work                       $1.50  ·  1 request  ·  700.0k tokens  ·  claude-haiku-4-5×1
  5e550002-resumed                    $0.50  ·  1 request  ·  1.00M tokens  ·  claude-opus-5×1

PROJECTS
  /nowhere/alpha                      $6.50  ·  3 requests  ·  1.40M tokens  ·  claude-opus-5×3
  ~/notes                             $1.50  ·  1 request  ·  700.0k tokens  ·  claude-haiku-4-5×1
  /nowhere/beta                       unknown (1 request, no known price: nova-1)  ·  1 request  ·  1.5k tokens  ·  nova-1×1

The period includes today — the figure is not final.
WARNING: 1 request with no known price (nova-1) are not included — the figures above are lower bounds.
— Estimate from usage × list API prices. Not a bill.
)";
  for (const char* name : {"main", " MAIN ", "Main Session", "main-session"}) {
    EXPECT_EQ(answer("tally_agent", R"({"agent":")" + std::string(name) + "\"}"), thread) << name;
  }
}

TEST_F(AgentTool, OutsideThePeriodTheRosterIsStillKnown) {
  EXPECT_EQ(answer("tally_agent", R"({"agent":"AREVIEWER-0","from":"2026-03-01","to":"2026-03-09"})"),
            R"(Agent reviewer  [areviewer-0123456789abcdef] — 2026-03-01 → 2026-03-09
──────────────────────────────────────────────────────────────
  type      sub-agent
  cost      unknown (no requests in range)
  volume    0 requests · 0 tokens
  active    unknown
  models    unknown
  roster    name=reviewer type=code-reviewer model=sonnet cwd=unknown

BY DAY
  unknown — no day with activity in the period asked for

SESSIONS
  unknown — no session in the period asked for

PROJECTS
  unknown — no project in the period asked for

— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(AgentTool, CandidatesAndMissesAreNormalAnswers) {
  EXPECT_EQ(answer("tally_agent", R"({"agent":"Reviewer","period":"yesterday"})"),
            "“Reviewer” matches 2 agents — pick one:\n"
            "  reviewer  [areviewer-0123456789abcdef]\n"
            "  reviewer  [areviewer-fedcba9876543210]");
  EXPECT_EQ(
      answer("tally_agent", R"({"agent":"re"})"),
      "“re” matches 3 agents — pick one:\n"
      "  reviewer  [areviewer-0123456789abcdef] — $1.50\n"
      "  the-one-who-writes-release-notes  [athe-one-who-writes-release-notes-5555666677778888] — $1.00\n"
      "  reviewer  [areviewer-fedcba9876543210] — $0.50");
  EXPECT_EQ(
      answer("tally_agent", R"({"agent":"main sess"})"),
      "No agent matches “main sess”. See `tally_top_agents` with `period: \"all\"` for the real names.");
}

TEST_F(AgentTool, MistakesAreToldInTheirOrder) {
  const std::string badDay = "ERROR invalid date “x” — the format is yyyy-MM-dd";
  const std::string noAgent = "ERROR `agent` is missing.";
  const std::string noSession = "ERROR `session_id` is missing.";
  EXPECT_EQ(answer("tally_agent", R"({"from":"x"})"), noAgent);
  EXPECT_EQ(answer("tally_session", R"({"from":"x"})"), noSession);
  EXPECT_EQ(answer("tally_agent", R"({"agent":"nobody","from":"x"})"), badDay);
  EXPECT_EQ(answer("tally_session", R"({"session_id":"nothing","from":"x"})"), badDay);
}

}  // namespace
}  // namespace tallyfin
