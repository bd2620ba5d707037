#pragma once

// A small home with a little of everything, at a fixed time and place. What each tool says of it is worked
// out by hand from the figures in the table below, not taken from the program.
//
// Berlin (UTC + 1 h in winter), 2026-03-10 14:30. Dollars per million tokens: opus 5 in and 25 out, sonnet
// 2 and 10, haiku 1 and 5; of the price of input a cache read costs 0.1, a write of 5 minutes 1.25 and of an
// hour 2; a web search costs 0.01.
//
//   file               id  local time   model   session  project  agent     tokens                 dollars
//   main               r1  03-10 09:10  opus    main     alpha    main      200k in, 120k out          4.00
//                      r2  03-09 16:00  opus    main     alpha    main      80k out                    2.00
//                      r3  03-10 09:40  nova-1  main     beta     main      1k in, 500 out          unknown
//   subagents          r4  03-10 10:05  sonnet  main     alpha*   reviewer  100k out, 2500k read       1.50
//                      r5  03-10 10:20  haiku   main     alpha    f00d...   800k written, split open   1.00
//                      r6  03-10 11:00  opus    main     alpha    the-one   100k written for 1 h       1.00
//   resumed            r1  once more, now of the session resumed
//                      r7  03-10 13:15  opus    resumed  alpha    main      1000k read                 0.50
//                      r8  03-10 13:20  sonnet  resumed  alpha    reviewer  50k out                    0.50
//   x.jsonl            a directory
//   work (2nd home)    r9  03-10 12:00  sonnet  work     ~/notes  scout     500k in, 25 web searches   1.25
//                      r10 02-20 08:00  haiku   work     ~/notes  main      500k in, 200k out          1.50
//                      r11 02-20 08:30  nova-2  work     ~/notes  scout     10k in                  unknown
//   noise (2nd home)   nothing but losses and a line of 4,096 bytes
//   tiny (2nd home)    r12 03-10 00:05  -        tiny     -        zz        2k in                   unknown
//
// * in a worktree. The reviewers of r4 and r8 are two agents. ~/notes is a repository; r10 was made in a
// folder of it. The second home has neither session, model nor directory for r12.

#include "Support/ArgumentsOf.hpp"
#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "TallyfinMCP/MCP.hpp"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace tallyfin {

class GoldenHome : public testing::Test {
 protected:
  GoldenHome() {
    writeFirstHome();
    writeSecondHome();
    writeRosters();
  }

  /// What a tool answers; behind "ERROR " when the answer is marked as one.
  std::string answer(std::string_view tool, const std::string& arguments = "{}") {
    return answerTo(tool, argumentsOf(arguments));
  }

  std::string answerTo(std::string_view tool, const JsonValue& arguments) {
    const MCPServer::ToolResult result = server_.callTool(tool, arguments);
    return (result.isError ? "ERROR " : "") + result.text;
  }

  Machine machine_{{2026, 3, 10}, 14, 30, "Europe/Berlin"};
  DataSource data_{machine_.environment()};
  MCPServer server_{data_, [](std::string_view) {}};

 private:
  void add(const std::string& file, const UsageLine& line) { machine_.home.append(file, line.text()); }

  void writeFirstHome() {
    const std::string folder = ".claude/projects/-nowhere-alpha/";
    const std::string main = folder + "5e550001-main.jsonl";
    const UsageLine r1{.id = "r1",
                       .time = "2026-03-10T08:10:00Z",
                       .session = "5e550001-main",
                       .input = 200'000,
                       .output = 120'000};
    UsageLine beginning = r1;
    beginning.output = 5;
    add(main, beginning);
    add(main, r1);
    add(main, {.id = "r2", .time = "2026-03-09T15:00:00Z", .session = "5e550001-main", .output = 80'000});
    add(main, {.id = "r3",
               .time = "2026-03-10T08:40:00Z",
               .model = "nova-1",
               .session = "5e550001-main",
               .cwd = "/nowhere/beta",
               .input = 1'000,
               .output = 500});

    const std::string agents = folder + "5e550001-main/subagents/agents.jsonl";
    add(agents, {.id = "r4",
                 .time = "2026-03-10T09:05:00Z",
                 .model = "claude-sonnet-5",
                 .session = "5e550001-main",
                 .cwd = "/nowhere/alpha/.claude/worktrees/fix",
                 .agent = "areviewer-0123456789abcdef",
                 .output = 100'000,
                 .cacheRead = 2'500'000});
    add(agents, {.id = "r5",
                 .time = "2026-03-10T09:20:00Z",
                 .model = "claude-haiku-4-5-20251001",
                 .session = "5e550001-main",
                 .agent = "f00dcafe12345",
                 .cacheWrite = 800'000});
    add(agents, {.id = "r6",
                 .time = "2026-03-10T10:00:00Z",
                 .session = "5e550001-main",
                 .agent = "athe-one-who-writes-release-notes-5555666677778888",
                 .cacheWrite1h = 100'000});

    const std::string resumed = folder + "5e550002-resumed.jsonl";
    UsageLine copy = r1;
    copy.session = "5e550002-resumed";
    add(resumed, copy);
    add(resumed,
        {.id = "r7", .time = "2026-03-10T12:15:00Z", .session = "5e550002-resumed", .cacheRead = 1'000'000});
    add(resumed, {.id = "r8",
                  .time = "2026-03-10T12:20:00Z",
                  .model = "claude-sonnet-5",
                  .session = "5e550002-resumed",
                  .agent = "areviewer-fedcba9876543210",
                  .output = 50'000});

    machine_.home.makeDirectory(".claude/projects/x.jsonl");
  }

  void writeSecondHome() {
    const std::string folder = ".claude-work/projects/-notes/";
    const std::string notes = machine_.home.path("notes");
    machine_.home.makeDirectory("notes/.git");
    const std::string work = folder + "5e550003-work.jsonl";
    add(work, {.id = "r9",
               .time = "2026-03-10T11:00:00Z",
               .model = "claude-sonnet-5",
               .session = "5e550003-work",
               .cwd = notes,
               .agent = "ascout-1111222233334444",
               .input = 500'000,
               .webSearch = 25});
    add(work, {.id = "r10",
               .time = "2026-02-20T07:00:00Z",
               .model = "claude-haiku-4-5",
               .session = "5e550003-work",
               .cwd = notes + "/deep",
               .input = 500'000,
               .output = 200'000});
    add(work, {.id = "r11",
               .time = "2026-02-20T07:30:00Z",
               .model = "nova-2",
               .session = "5e550003-work",
               .cwd = notes,
               .agent = "ascout-1111222233334444",
               .input = 10'000});
    writeNoise(folder + "noise.jsonl");
    add(folder + "tiny.jsonl", {.id = "r12",
                                .time = "2026-03-09T23:05:00Z",
                                .model = {},
                                .session = {},
                                .cwd = {},
                                .agent = "zz",
                                .input = 2'000});
  }

  /// As many lines of a kind as no other kind has: 21 that hold the word, 14 of them lost.
  void writeNoise(const std::string& file) {
    const std::pair<int, const char*> kinds[] = {
        {6, R"({"message":{"usage":"none"}})"},
        {5, R"({"usage")"},
        {4, R"({"usage":1})"},
        {3, R"({"requestId":"r","message":{"id":"m","usage":{"input_tokens":1}}})"},
        {2, R"({"timestamp":"2026-03-10T08:00:00Z","message":{"usage":{"input_tokens":1}}})"},
        {1, R"({"message":{"usage":{}}})"},
    };
    for (const auto& [count, line] : kinds) {
      for (int i = 0; i < count; ++i) {
        machine_.home.append(file, std::string(line) + "\n");
      }
    }
    machine_.home.append(file, std::string(4096, 'x') + "\n");
  }

  /// Of the agents of the table the first reviewer and the scout are in rosters.
  void writeRosters() {
    machine_.home.write(".claude/teams/session-5e550001/config.json",
                        R"({"members":[{"agentId":"reviewer@session-5e550001","agentType":"code-reviewer",)"
                        R"("model":"sonnet"},{"agentId":"ghost@session-5e550001"}]})");
    machine_.home.write(
        ".claude-work/teams/session-5e550003/config.json",
        R"({"members":[{"agentId":"scout@5e550003","model":"haiku","cwd":"/nowhere/teams"}]})");
  }
};

}  // namespace tallyfin
