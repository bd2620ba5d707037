#include "MCP/GoldenHome.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::HasSubstr;
using testing::Not;

using TopAgents = GoldenHome;
using TopProjects = GoldenHome;
using ByModel = GoldenHome;

TEST_F(TopAgents, TellsWhatEachWorkedOn) {
  EXPECT_EQ(answer("tally_top_agents", R"({"limit":5.0})"), R"(Top agents by cost — today (2026-03-10)
──────────────────────────────────────────────────────────────
 1. main session (no agentId)
    cost      ≥ $4.50 [1 request with no known price (nova-1) are not included]
    volume    3 requests · 1.32M tokens
    models    claude-opus-5×2 nova-1×1
    session   5e550001-main
    project   /nowhere/alpha
    active    2026-03-10 09:10 → 2026-03-10 13:15
 2. reviewer  [areviewer-0123456789abcdef]
    cost      $1.50
    volume    1 request · 2.60M tokens
    models    claude-sonnet-5×1
    session   5e550001-main
    project   /nowhere/alpha
    active    2026-03-10 10:05 → 2026-03-10 10:05
    roster    type=code-reviewer model=sonnet
 3. scout  [ascout-1111222233334444]
    cost      $1.25
    volume    1 request · 500.0k tokens
    models    claude-sonnet-5×1
    session   5e550003-work
    project   ~/notes
    active    2026-03-10 12:00 → 2026-03-10 12:00
    roster    type=unknown model=haiku
 4. the-one-who-writes-release-notes  [athe-one-who-writes-release-notes-5555666677778888]
    cost      $1.00
    volume    1 request · 100.0k tokens
    models    claude-opus-5×1
    session   5e550001-main
    project   /nowhere/alpha
    active    2026-03-10 11:00 → 2026-03-10 11:00
 5. anonymous agent  [f00dcafe12345]
    cost      $1.00
    volume    1 request · 800.0k tokens
    models    claude-haiku-4-5×1
    session   5e550001-main
    project   /nowhere/alpha
    active    2026-03-10 10:20 → 2026-03-10 10:20

OF WHICH
  main session $4.50 (46.2%) · sub-agents $5.25 (53.8%)
  distinct agents 7 (shown 5)

The period includes today — the figure is not final.
WARNING: 2 requests with no known price (nova-1, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(TopAgents, WithoutTheMainSession) {
  EXPECT_EQ(answer("tally_top_agents", R"({"subagents_only":true,"period":"yesterday","limit":0})"),
            R"(Top agents by cost — yesterday (2026-03-09)
main session: excluded
──────────────────────────────────────────────────────────────
  unknown — no agent with activity in range

OF WHICH
  main session $2.00 (100.0%) · sub-agents $0.00 (0.0%)
  distinct agents 1 (shown 0)

— Estimate from usage × list API prices. Not a bill.
)");
  const std::string filtered =
      answer("tally_top_agents", R"({"subagents_only":true,"session_id":"5e550002","project":"alpha"})");
  EXPECT_EQ(filtered, R"(Top agents by cost — today (2026-03-10)
filters: project = /nowhere/alpha · session = 5e550002-resumed
main session: excluded
──────────────────────────────────────────────────────────────
 1. reviewer  [areviewer-fedcba9876543210]
    cost      $0.50
    volume    1 request · 50.0k tokens
    models    claude-sonnet-5×1
    session   5e550002-resumed
    project   /nowhere/alpha
    active    2026-03-10 13:20 → 2026-03-10 13:20

OF WHICH
  main session $0.50 (50.0%) · sub-agents $0.50 (50.0%)
  distinct agents 2 (shown 1)

The period includes today — the figure is not final.
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(TopAgents, NothingAtAll) {
  EXPECT_EQ(answer("tally_top_agents", R"({"from":"2020-01-01","to":"2020-12-31"})"),
            R"(Top agents by cost — 2020-01-01 → 2020-12-31
──────────────────────────────────────────────────────────────
  unknown — no agent with activity in range

OF WHICH
  unknown — nothing priced in range
  distinct agents 0 (shown 0)

— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(TopAgents, LimitsAreClamped) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"limit":-5})", "(shown 1)"},
      {R"({"limit":-1e30})", "(shown 1)"},
      {R"({"limit":2})", "(shown 2)"},
      {R"({"limit":1e30})", "(shown 7)"},
      {R"({"subagents_only":true})", "(shown 6)"},
  };
  for (const auto& [arguments, shown] : cases) {
    EXPECT_THAT(answer("tally_top_agents", arguments),
                HasSubstr("\n  distinct agents 7 " + std::string(shown)))
        << arguments;
  }
}

TEST_F(TopProjects, TellsWhoDroveEach) {
  EXPECT_EQ(answer("tally_top_projects"), R"(Top projects by cost — today (2026-03-10)
──────────────────────────────────────────────────────────────
 1. /nowhere/alpha
    cost   $8.50  ·  6 requests  ·  4.87M tokens
    how the label was decided: rawFallback, worktreeFolded
      · (main session)               $4.50 · 2 requests
      · reviewer                     $1.50 · 1 request
      · the-one-who-writes-release-n $1.00 · 1 request
      (2 agents more)
 2. ~/notes
    cost   $1.25  ·  1 request  ·  500.0k tokens
    how the label was decided: exact
      · scout                        $1.25 · 1 request
 3. (unknown cwd)
    cost   unknown (1 request, no known price: unknown)  ·  1 request  ·  2.0k tokens
    how the label was decided: missing
      · anon:zz                      unknown (1 request, no known price: unknown) · 1 request
 4. /nowhere/beta
    cost   unknown (1 request, no known price: nova-1)  ·  1 request  ·  1.5k tokens
    how the label was decided: rawFallback
      · (main session)               unknown (1 request, no known price: nova-1) · 1 request

The period includes today — the figure is not final.
WARNING: 2 requests with no known price (nova-1, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(TopProjects, ShowsAsManyAgentsAsAsked) {
  EXPECT_EQ(answer("tally_top_projects", R"({"period":"all","limit":2,"agents_per_project":4})"),
            R"(Top projects by cost — all history
──────────────────────────────────────────────────────────────
 1. /nowhere/alpha
    cost   $10.50  ·  7 requests  ·  4.95M tokens
    how the label was decided: rawFallback, worktreeFolded
      · (main session)               $6.50 · 3 requests
      · reviewer                     $1.50 · 1 request
      · the-one-who-writes-release-n $1.00 · 1 request
      · anon:f00dcafe1               $1.00 · 1 request
      (1 agent more)
 2. ~/notes
    cost   ≥ $2.75 [1 request with no known price (nova-2) are not included]  ·  3 requests  ·  1.21M tokens
    how the label was decided: exact, gitRootFolded
      · (main session)               $1.50 · 1 request
      · scout                        ≥ $1.25 [1 request with no known price (nova-2) are not included] · 2 requests

The period includes today — the figure is not final.
WARNING: 3 requests with no known price (nova-1, nova-2, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)");
  const std::string none = R"(Top projects by cost — today (2026-03-10)
──────────────────────────────────────────────────────────────
 1. /nowhere/alpha
    cost   $8.50  ·  6 requests  ·  4.87M tokens
    how the label was decided: rawFallback, worktreeFolded

The period includes today — the figure is not final.
WARNING: 2 requests with no known price (nova-1, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)";
  EXPECT_EQ(answer("tally_top_projects", R"({"limit":1,"agents_per_project":0})"), none);
  EXPECT_EQ(answer("tally_top_projects", R"({"limit":-3,"agents_per_project":-1})"), none);
  const std::string all = answer("tally_top_projects", R"({"limit":1,"agents_per_project":5})");
  EXPECT_THAT(all, HasSubstr("\n      · reviewer                     $0.50 · 1 request\n\nThe period"));
  EXPECT_EQ(answer("tally_top_projects", R"({"limit":1,"agents_per_project":9223372036854775807})"), all);
}

TEST_F(TopProjects, AgentsObeyTheFiltersOfTheCall) {
  EXPECT_EQ(
      answer("tally_top_projects", R"({"session_id":"5e550002-resumed","agent":"fedc"})"),
      "ERROR No agent matches “fedc”. See `tally_top_agents` with `period: \"all\"` for the real names.");
  EXPECT_EQ(answer("tally_top_projects", R"({"session_id":"5e550002-resumed"})"),
            R"(Top projects by cost — today (2026-03-10)
filters: session = 5e550002-resumed
──────────────────────────────────────────────────────────────
 1. /nowhere/alpha
    cost   $1.00  ·  2 requests  ·  1.05M tokens
    how the label was decided: rawFallback
      · (main session)               $0.50 · 1 request
      · reviewer                     $0.50 · 1 request

The period includes today — the figure is not final.
— Estimate from usage × list API prices. Not a bill.
)");
  EXPECT_EQ(answer("tally_top_projects", R"({"agent":"scout","period":"yesterday"})"),
            R"(Top projects by cost — yesterday (2026-03-09)
filters: agent = scout  [ascout-1111222233334444]
──────────────────────────────────────────────────────────────
  unknown — no project with activity in range

— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(ByModel, TellsWhoUsedEach) {
  EXPECT_EQ(answer("tally_by_model", R"({"period":"all","agents_per_model":2})"),
            R"(Breakdown by model — all history
──────────────────────────────────────────────────────────────
  TOTAL ≥ $13.25 [3 requests with no known price (nova-1, nova-2, unknown) are not included]

claude-opus-5
    cost   $7.50  (56.6% of the total)
    volume 4 requests · 1.50M tokens (in 200.0k · out 200.0k · cw 100.0k · cr 1.00M)
      · (main session)               $6.50
      · the-one-who-writes-release-n $1.00
claude-sonnet-5
    cost   $3.25  (24.5% of the total)
    volume 3 requests · 3.15M tokens (in 500.0k · out 150.0k · cw 0 · cr 2.50M)
      · reviewer                     $1.50
      · scout                        $1.25
claude-haiku-4-5
    cost   $2.50  (18.9% of the total)
    volume 2 requests · 1.50M tokens (in 500.0k · out 200.0k · cw 800.0k · cr 0)
      · (main session)               $1.50
      · anon:f00dcafe1               $1.00
nova-1
    cost   unknown (1 request, no known price: nova-1)  (0.0% of the total)
    volume 1 request · 1.5k tokens (in 1.0k · out 500 · cw 0 · cr 0)
    PRICE  unknown — this model is not in the price table, its cost is NOT included anywhere
      · (main session)               unknown (1 request, no known price: nova-1)
nova-2
    cost   unknown (1 request, no known price: nova-2)  (0.0% of the total)
    volume 1 request · 10.0k tokens (in 10.0k · out 0 · cw 0 · cr 0)
    PRICE  unknown — this model is not in the price table, its cost is NOT included anywhere
      · scout                        unknown (1 request, no known price: nova-2)
unknown
    cost   unknown (1 request, no known price: unknown)  (0.0% of the total)
    volume 1 request · 2.0k tokens (in 2.0k · out 0 · cw 0 · cr 0)
    PRICE  unknown — this model is not in the price table, its cost is NOT included anywhere
      · anon:zz                      unknown (1 request, no known price: unknown)

The period includes today — the figure is not final.
WARNING: 3 requests with no known price (nova-1, nova-2, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(ByModel, OfOneAgentWithoutAPriceNothingIsAShare) {
  EXPECT_EQ(answer("tally_by_model", R"({"agent":"Z"})"), R"(Breakdown by model — today (2026-03-10)
filters: agent = anonymous agent  [zz]
──────────────────────────────────────────────────────────────
  TOTAL unknown (1 request, no known price: unknown)

unknown
    cost   unknown (1 request, no known price: unknown)  (unknown (nothing priced) of the total)
    volume 1 request · 2.0k tokens (in 2.0k · out 0 · cw 0 · cr 0)
    PRICE  unknown — this model is not in the price table, its cost is NOT included anywhere
      · anon:zz                      unknown (1 request, no known price: unknown)

The period includes today — the figure is not final.
WARNING: 1 request with no known price (unknown) are not included — the figures above are lower bounds.
— Estimate from usage × list API prices. Not a bill.
)");
}

TEST_F(ByModel, WithoutAgents) {
  const std::string text = answer("tally_by_model", R"({"agents_per_model":0})");
  EXPECT_EQ(answer("tally_by_model", R"({"agents_per_model":-1})"), text);
  EXPECT_THAT(text, HasSubstr("\n    PRICE  unknown"));
  EXPECT_THAT(text, Not(HasSubstr("      · ")));
  EXPECT_THAT(text, Not(HasSubstr("agents: unknown")));
  EXPECT_EQ(answer("tally_by_model", R"({"period":"yesterday","project":"beta"})"),
            R"(Breakdown by model — yesterday (2026-03-09)
filters: project = /nowhere/beta
──────────────────────────────────────────────────────────────
  TOTAL unknown (no requests in range)

  unknown — no model with activity in range

— Estimate from usage × list API prices. Not a bill.
)");
}

}  // namespace
}  // namespace tallyfin
