#include "MCP/GoldenHome.hpp"
#include "Platform/Concat.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::HasSubstr;
using testing::Not;

using ProvenanceTool = GoldenHome;
using SourcesTool = GoldenHome;

const std::string losses = R"(
WHAT WAS LOST WHILE PARSING (across the whole corpus, not just the filter)
  usage lines seen            35
  lines without usage         6
  rejected: invalid JSON      5
  rejected: no `message`      4
  rejected: no timestamp      3
  rejected: no identity       2
  skipped: usage all zero     1
  UNREADABLE FILES            1 file — the figure above leaves them out:
      ~/.claude/projects/x.jsonl
)";

const std::string twice =
    "  1 request appear in more than one file (a resumed or forked session). The lower-ranked file wins the "
    "attribution; the per-file costs above count each copy, the total does not.\n";

TEST_F(ProvenanceTool, NamesFilesHomesAndLosses) {
  const std::string files = R"(Provenance — today (2026-03-10)
──────────────────────────────────────────────────────────────
THE FIGURE
  cost   ≥ $9.75 [2 requests with no known price (nova-1, unknown) are not included]
  from   9 requests after unification (one request = every line sharing a `message.id:requestId`)

SOURCE FILES (5 files produced the figure)
  ~/.claude/projects/-nowhere-alpha/5e550002-resumed.jsonl
      home .claude · 3 requests · $5.00 · the file holds 3 lines with usage in total
  ~/.claude/projects/-nowhere-alpha/5e550001-main.jsonl
      home .claude · 2 requests · ≥ $4.00 [1 request with no known price (nova-1) are not included] · the file holds 4 lines with usage in total
  ~/.claude/projects/-nowhere-alpha/5e550001-main/subagents/agents.jsonl
      home .claude · 3 requests · $3.50 · the file holds 3 lines with usage in total
  ~/.claude-work/projects/-notes/5e550003-work.jsonl
      home .claude-work · 1 request · $1.25 · the file holds 3 lines with usage in total
  ~/.claude-work/projects/-notes/tiny.jsonl
      home .claude-work · 1 request · unknown (1 request, no known price: unknown) · the file holds 1 line with usage in total

UNIFICATION
  distinct requests in files    9
  requests in the report above  9
)";
  const std::string homes = R"(
BY HOME (from the unified figure)
  .claude                             ≥ $8.50 [1 request with no known price (nova-1) are not included]  ·  7 requests  ·  4.87M tokens  ·  claude-opus-5×3 claude-sonnet-5×2 claude-haiku-4-5×1 nova-1×1
  .claude-work                        ≥ $1.25 [1 request with no known price (unknown) are not included]  ·  2 requests  ·  502.0k tokens  ·  claude-sonnet-5×1 unknown×1
)";
  EXPECT_EQ(answer("tally_provenance"), concat(files, twice, homes, losses, R"(
The period includes today — the figure is not final.
WARNING: 2 requests with no known price (nova-1, unknown) are not included — the figures above are lower bounds.
NOTE: for 1 request the cache_creation breakdown was missing or did not add up; 5m was assumed (multiplier 1.25 instead of 2.00).
— Estimate from usage × list API prices. Not a bill.
)"));
}

TEST_F(ProvenanceTool, FilesCountCopiesThatTheTotalGivesToAnother) {
  EXPECT_EQ(answer("tally_provenance", R"({"session_id":"5e550002"})"),
            concat(R"(Provenance — today (2026-03-10)
filters: session = 5e550002-resumed
──────────────────────────────────────────────────────────────
THE FIGURE
  cost   $1.00
  from   2 requests after unification (one request = every line sharing a `message.id:requestId`)

SOURCE FILES (1 file produced the figure)
  ~/.claude/projects/-nowhere-alpha/5e550002-resumed.jsonl
      home .claude · 3 requests · $5.00 · the file holds 3 lines with usage in total

UNIFICATION
  distinct requests in files    3
  requests in the report above  2
  no request duplicated across files

BY HOME (from the unified figure)
  .claude                             $1.00  ·  2 requests  ·  1.05M tokens  ·  claude-opus-5×1 claude-sonnet-5×1
)",
                   losses, R"(
The period includes today — the figure is not final.
— Estimate from usage × list API prices. Not a bill.
)"));
}

TEST_F(ProvenanceTool, NothingInRangeKeepsAllSections) {
  EXPECT_EQ(answer("tally_provenance", R"({"from":"2020-01-01","to":"2020-01-01","project":"beta"})"),
            concat(R"(Provenance — 2020-01-01 → 2020-01-01
filters: project = /nowhere/beta
──────────────────────────────────────────────────────────────
THE FIGURE
  cost   unknown (no requests in range)
  from   0 requests after unification (one request = every line sharing a `message.id:requestId`)

SOURCE FILES (0 files produced the figure)
  unknown — no usage line falls inside the requested filter

UNIFICATION
  distinct requests in files    0
  requests in the report above  0

BY HOME (from the unified figure)
  unknown — no home contributed
)",
                   losses, R"(
— Estimate from usage × list API prices. Not a bill.
)"));
}

TEST_F(ProvenanceTool, ListsAsManyFilesAsAsked) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"limit":3})", "\n  (2 files more — raise `limit`)\n\nUNIFICATION\n"},
      {R"({"limit":4})", "\n  (1 file more — raise `limit`)\n\nUNIFICATION\n"},
      {R"({"limit":0})", "\n  (4 files more — raise `limit`)\n\nUNIFICATION\n"},
      {R"({"limit":-9})", "\n  (4 files more — raise `limit`)\n\nUNIFICATION\n"},
  };
  for (const auto& [arguments, more] : cases) {
    const std::string text = answer("tally_provenance", arguments);
    EXPECT_THAT(text, HasSubstr(more)) << arguments;
    EXPECT_THAT(text,
                HasSubstr("\nSOURCE FILES (5 files produced the figure)\n  ~/.claude/projects/-nowhere-alpha/"
                          "5e550002-resumed.jsonl\n"))
        << arguments;
  }
  for (const char* all : {R"({"limit":5})", R"({"limit":1e300})"}) {
    EXPECT_THAT(answer("tally_provenance", all), Not(HasSubstr(" more — raise `limit`"))) << all;
  }
}

/// The homes lie outside the user's own directory, as TALLYFIN_HOME can say: paths stand in full.
TEST_F(ProvenanceTool, PathsElsewhereStandInFull) {
  Machine user({2026, 3, 10}, 14, 30, "Europe/Berlin");
  Environment environment = user.environment();
  environment.tallyfinHome = machine_.home.path();
  DataSource data(environment);
  MCPServer server(data, [](std::string_view) {});
  const std::string provenance = server.callTool("tally_provenance", JsonValue::Object{}).text;
  EXPECT_THAT(provenance,
              HasSubstr(concat("\n  ", machine_.home.path(),
                               "/.claude-work/projects/-notes/tiny.jsonl\n      home .claude-work · ")));
  EXPECT_THAT(provenance, HasSubstr(concat(" — the figure above leaves them out:\n      ",
                                           machine_.home.path(), "/.claude/projects/x.jsonl\n")));
  const std::string sources = server.callTool("tally_sources", JsonValue::Object{}).text;
  EXPECT_THAT(sources, HasSubstr(concat(" bytes — ", machine_.home.path(), "/.claude-work/")));
  EXPECT_THAT(sources, HasSubstr("\n  file     ~/cache/scan.bin\n"));
}

TEST_F(ProvenanceTool, TheFirstTenUnreadableFilesAreNamed) {
  for (int i = 10; i < 21; ++i) {
    machine_.home.makeDirectory(".claude/projects/u" + std::to_string(i) + ".jsonl");
  }
  std::string named;
  for (int i = 10; i < 20; ++i) {
    named += "      ~/.claude/projects/u" + std::to_string(i) + ".jsonl\n";
  }
  EXPECT_THAT(answer("tally_provenance"),
              HasSubstr("\n  UNREADABLE FILES            12 files — the figure above leaves them out:\n" +
                        named + "\nThe period"));
  EXPECT_THAT(answer("tally_sources"),
              HasSubstr("\n  unreadable files      12\n" + named + "  last read took        0.000 s\n"));
}

TEST_F(SourcesTool, TellsTheHealthOfTheMeasurement) {
  const std::string homes =
      concat(R"(──────────────────────────────────────────────────────────────
CLAUDE HOMES
  .claude            4 files · ≥ $10.50 [1 request with no known price (nova-1) are not included] · 8 requests · 2026-03-09 16:00 → 2026-03-10 13:20
  .claude-work       3 files · ≥ $2.75 [2 requests with no known price (nova-2, unknown) are not included] · 4 requests · 2026-02-20 08:00 → 2026-03-10 12:00
  .claude-outlook    not on disk ()",
             machine_.home.path(), R"(/.claude-outlook/projects) — normal if you do not use that account
  .claude-yahoo      not on disk ()",
             machine_.home.path(), R"(/.claude-yahoo/projects) — normal if you do not use that account
)");
  const std::string scan = R"(
SCAN
  files scanned         7
  unified requests      12
  usage lines           35
  lines rejected total  14
  longest line          4,096 bytes — ~/.claude-work/projects/-notes/noise.jsonl
  unreadable files      1
      ~/.claude/projects/x.jsonl
  last read took        0.000 s
)";
  const std::string roster = R"(
AGENT ROSTER (`teams/session-*/config.json`)
  rosters read          2
  entries loaded        3
  named agents seen     4 (matched: 2)
  anonymous agents      2 — they stay anonymous, no plausible name is invented for them
  coverage              50.0% of the named agents

— Estimate from usage × list API prices. Not a bill.
)";
  const auto cache = [](const std::string& files, const std::string& share, const std::string& start) {
    return concat(
        "\nINCREMENTAL CACHE\n  file     ~/cache/scan.bin\n  at the last refresh: ", files,
        "\n  files left untouched ", share, " of the total\n  started from cache: ", start,
        "\n  NOTE: the full cache verification (a scan from scratch, then a comparison) runs from the "
        "app, not from here — the bridge must not block for 17 s.\n");
  };
  const std::string title = "Sources and the health of the measurement — 2026-03-10 14:30\n";
  const std::string first = concat(
      title, homes, scan,
      cache("0 unchanged · 0 grown · 7 new · 0 re-read in full · 0 gone", "0.0%", "no — first full scan"),
      roster);
  EXPECT_EQ(answer("tally_sources"), first);
  EXPECT_EQ(answer("tally_sources", R"({"period":"nonsense","limit":-1})"), first)
      << "nothing is read or added up";

  machine_.now += 15;
  machine_.home.remove(".claude-work/projects/-notes/tiny.jsonl");
  machine_.home.append(".claude/projects/-nowhere-alpha/5e550002-resumed.jsonl", "no usage\n");
  EXPECT_THAT(answer("tally_sources"),
              HasSubstr(cache("4 unchanged · 2 grown · 0 new · 0 re-read in full · 1 gone", "66.7%", "yes")))
      << "what could not be read is tried again";
}

TEST_F(SourcesTool, WithoutAnyHomeAllSectionsStand) {
  machine_.home.remove(".claude");
  machine_.home.remove(".claude-work");
  machine_.home.write(".claude-outlook/projects", "a file");
  machine_.home.makeDirectory(".claude-yahoo/projects");
  const std::string& home = machine_.home.path();
  EXPECT_EQ(answer("tally_sources"),
            concat(R"(Sources and the health of the measurement — 2026-03-10 14:30
──────────────────────────────────────────────────────────────
CLAUDE HOMES
  .claude            not on disk ()",
                   home, R"(/.claude/projects) — normal if you do not use that account
  .claude-work       not on disk ()",
                   home, R"(/.claude-work/projects) — normal if you do not use that account
  .claude-outlook    unknown · unknown (no requests in range) · 0 requests · unknown
  .claude-yahoo      0 files · unknown (no requests in range) · 0 requests · unknown

SCAN
  files scanned         0
  unified requests      0
  usage lines           0
  lines rejected total  0
  longest line          0 bytes
  unreadable files      0
  last read took        0.000 s

INCREMENTAL CACHE
  file     ~/cache/scan.bin
  at the last refresh: 0 unchanged · 0 grown · 0 new · 0 re-read in full · 0 gone
  files left untouched unknown — no requests in the selected range of the total
  started from cache: no — first full scan
  NOTE: the full cache verification (a scan from scratch, then a comparison) runs from the app, not from here — the bridge must not block for 17 s.

AGENT ROSTER (`teams/session-*/config.json`)
  rosters read          0
  entries loaded        0
  named agents seen     0 (matched: 0)
  anonymous agents      0 — they stay anonymous, no plausible name is invented for them
  coverage              unknown — no requests in the selected range of the named agents

— Estimate from usage × list API prices. Not a bill.
)"));
}

}  // namespace
}  // namespace tallyfin
