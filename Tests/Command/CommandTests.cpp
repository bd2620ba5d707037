// The command over one small home, at a fixed clock and zone.

#include "Platform/Files.hpp"
#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"
#include "Tallyfin/Command.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// One dollar in /nowhere/alpha today, and a request of a model without a price four days ago in another
/// home.
class CommandTest : public testing::Test {
 protected:
  CommandTest() {
    machine_.home.write(kOne, UsageLine{.id = "a", .time = "2026-05-04T10:00:00Z", .output = 40'000}.text());
    machine_.home.write(
        kTwo, UsageLine{.id = "b", .time = "2026-04-30T10:00:00Z", .model = "nova-1", .output = 7}.text());
  }

  /// Runs the command; what it wrote is in `out` and `err` then.
  int run(const std::vector<std::string>& arguments) {
    out.clear();
    err.clear();
    return Command::run(arguments, machine_.environment(),
                        {.document =
                             [this](std::string_view text) {
                               out += text;
                               return takesOutput;
                             },
                         .message = [this](std::string_view text) { err += text; },
                         .isTerminal = isTerminal});
  }

  std::string path(const char* relative) const { return machine_.home.path(relative); }

  static constexpr const char* kOne = ".claude/projects/p/one.jsonl";
  static constexpr const char* kTwo = ".claude-work/projects/p/two.jsonl";

  Machine machine_{{2026, 5, 4}, 17, 42, "Europe/Berlin"};
  bool takesOutput = true;
  bool isTerminal = false;
  std::string out;
  std::string err;
};

const std::string kHeader =
    "axis,key,label,project,session,agent,agent_kind,models,attribution_note,first_activity,last_activity,"
    "requests,"
    "input_tokens,output_tokens,cache_write_5m_tokens,cache_write_1h_tokens,cache_read_tokens,total_tokens,"
    "web_search_requests,web_fetch_requests,currency,cost,cost_basis,unpriced_requests,unpriced_models,"
    "cache_write_assumed_requests\n";
const std::string kApril =
    "day,2026-04-30,2026-04-30,(not broken down),(not broken down),(not broken down),(not broken "
    "down),nova-1 (1),"
    "\"calendar day in the local time zone, as the aggregator counts it\",2026-04-30T12:00:00+02:00,"
    "2026-04-30T12:00:00+02:00,1,0,7,0,0,0,7,0,0,USD,unknown,"
    "unknown — no known price for any request in this row,1,nova-1,0\n";
const std::string kMay =
    "day,2026-05-04,2026-05-04,(not broken down),(not broken down),(not broken down),(not broken down),"
    "claude-opus-5 (1),\"calendar day in the local time zone, as the aggregator counts it\","
    "2026-05-04T12:00:00+02:00,2026-05-04T12:00:00+02:00,1,0,40000,0,0,0,40000,0,0,USD,1.000000,complete,0,"
    "(none),0\n";

TEST_F(CommandTest, ATableGoesToStandardOutputAlone) {
  EXPECT_EQ(run({"csv", "--axis", "day"}), 0);
  EXPECT_EQ(out, kHeader + kApril + kMay);
  EXPECT_EQ(err, "");
  EXPECT_EQ(run({"csv", "--axis", "day", "--limit", "1", "--bom"}), 0);
  EXPECT_EQ(out, "\xEF\xBB\xBF" + kHeader + kApril);
  EXPECT_EQ(run({"csv", "--axis", "day", "--limit", "00"}), 0);
  EXPECT_EQ(out, kHeader);
  EXPECT_EQ(run({"csv", "--axis", "day", "--limit", "08"}), 0) << err;
  EXPECT_EQ(out, kHeader + kApril + kMay) << "decimal";
  EXPECT_EQ(run({"csv", "--axis", "hour"}), 0);
  EXPECT_THAT(out, HasSubstr("\nhour,12,12:00,"));
}

TEST_F(CommandTest, ARangeIsWholeDaysOfTheGivenZone) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--preset", "thisMonth"}, kMay},
      {{"--preset", "lastMonth"}, kApril},
      {{"--preset", "last7Days"}, kApril + kMay},
      {{"--from", "2026-04-30", "--to", "2026-04-30"}, kApril},
      {{"--from", "2026-05-04", "--to", "2026-05-01"}, kMay},
      {{"--from", "2025-01-01", "--to", "2025-12-31"}, ""},
  };
  for (const auto& [range, rows] : cases) {
    std::vector<std::string> arguments = {"csv", "--axis", "day"};
    arguments.insert(arguments.end(), range.begin(), range.end());
    EXPECT_EQ(run(arguments), 0) << err;
    EXPECT_EQ(out, kHeader + rows) << range[1];
  }
}

TEST_F(CommandTest, AllTablesAreFilesUnderTheirNames) {
  const std::string directory = path("reports/may");
  EXPECT_EQ(run({"csv", "--all", "--out", directory, "--preset", "thisMonth"}), 0) << err;
  std::string paths;
  for (const char* axis : {"project", "raw_cwd", "session", "agent", "model", "day", "hour", "source_home"}) {
    paths += directory + "/tallyfin-" + axis + "-this-month.csv\n";
  }
  EXPECT_EQ(out, paths);
  EXPECT_EQ(machine_.home.read("reports/may/tallyfin-day-this-month.csv"), kHeader + kMay);
  EXPECT_THAT(machine_.home.read("reports/may/tallyfin-source_home-this-month.csv"),
              HasSubstr("\nsource_home,.claude,"));

  EXPECT_EQ(
      run({"csv", "--all", "--out", directory, "--from", "2026-05-04", "--to", "2026-05-04", "--limit", "0"}),
      0);
  EXPECT_EQ(machine_.home.read("reports/may/tallyfin-day-2026-05-04_2026-05-04.csv"), kHeader);
  const std::string empty = path("reports/empty");
  EXPECT_EQ(run({"csv", "--all", "--out", empty, "--from", "2020-01-01", "--to", "2020-01-01"}), 0);
  EXPECT_EQ(out, "") << "no axis has rows";
  EXPECT_TRUE(Files::isDirectory(empty));
}

TEST_F(CommandTest, TheProvenanceNamesPeriodFilesAndLosses) {
  machine_.home.append(kOne, "{\"usage\"\n");
  EXPECT_EQ(run({"provenance", "--preset", "last7Days"}), 0);
  EXPECT_THAT(out, StartsWith("section,item,value,note\n"
                              "report,generated_at,2026-05-04T17:42:00+02:00,\n"
                              "report,period,Last 7 days,\n"
                              "report,currency,USD,"));
  EXPECT_THAT(out, HasSubstr("\nloss,lines_rejected_invalid_json,1,"));
  EXPECT_THAT(out, HasSubstr("\nsource file,files_contributing,2,out of 2 files known to the cache\n"
                             "source file," +
                             path(kOne) +
                             ",1.000000,1 request in range · 2 usage lines in the whole file\n"
                             "source file," +
                             path(kTwo) + ",unknown,1 request in range · 1 usage line in the whole file\n"));
  EXPECT_EQ(run({"provenance", "--label=", "--out", path("p"), "--preset", "thisMonth"}), 0) << err;
  EXPECT_EQ(out, path("p/tallyfin-provenance-.csv") + "\n");
  EXPECT_EQ(run({"provenance", "--out", path("p"), "--label", ""}), 0);
  EXPECT_EQ(out, path("p/tallyfin-provenance-.csv") + "\n");
  EXPECT_THAT(machine_.home.read("p/tallyfin-provenance-.csv"),
              HasSubstr("\nreport,period,\"2026-04-30 to 2026-05-04 (derived from the data, not from a "
                        "selected period)\",\n"));
}

TEST_F(CommandTest, TheSummaryShowsTheChosenAxes) {
  EXPECT_EQ(
      run({"summary", "--axes", "model,day", "--rows", "1", "--label", "spring", "--preset", "last7Days"}),
      0);
  EXPECT_THAT(out, StartsWith(R"(Tallyfin — usage report
Period:    spring
Generated: 2026-05-04T17:42:00+02:00
Currency:  USD (Anthropic list API prices)

TOTAL      ≥ $1.00 [1 request with no known price (nova-1) are not included]
           2 requests  ·  40,007 tokens  (in 0 · out 40,007 · cache write 0 · cache read 0)
           range 2026-04-30T12:00:00+02:00 to 2026-05-04T12:00:00+02:00

BY MODEL
  claude-opus-5                           $1.00  ·  1 request  ·  40,000 tokens
  (1 more row — the CSV export has all of them)

BY DAY
  2026-04-30                              unknown — no known price for nova-1  ·  1 request  ·  7 tokens
  (1 more row — the CSV export has all of them)

PROVENANCE
  total_cost                          1.000000   — lower bound — priced requests only
)"));
  EXPECT_THAT(out, EndsWith("\n\n— Estimate from usage × list API prices. Not a bill.\n"));
  EXPECT_EQ(run({"summary"}), 0);
  EXPECT_THAT(out, AllOf(HasSubstr("\nBY PROJECT\n"), HasSubstr("\nBY AGENT\n"), HasSubstr("\nBY MODEL\n")));
}

TEST_F(CommandTest, VerifyComparesWithoutRefreshing) {
  EXPECT_EQ(run({"verify"}), 0);
  EXPECT_THAT(
      out, StartsWith(
               "divergence 0 — the cache matches a full scan exactly (0 requests verified); 0.0 MB written"));
  run({"summary"});
  EXPECT_EQ(run({"verify"}), 0);
  EXPECT_EQ(out, "divergence 0 — the cache matches a full scan exactly (2 requests verified)\n");
  machine_.home.truncate(kTwo, 0);
  EXPECT_EQ(run({"verify"}), 1);
  EXPECT_EQ(out, "DIVERGENCE: 1 extra in cache\n");
}

TEST_F(CommandTest, ScanTellsWhatItRead) {
  const std::string bytes = std::to_string(machine_.home.read(kOne).size() + machine_.home.read(kTwo).size());
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"scan"}, {"scan", "--serial"}}) {
    EXPECT_EQ(run(arguments), 0);
    EXPECT_EQ(out, "files      2\nrequests   2\nbytes      " + bytes +
                       "\nlosses     0 lines rejected · 0 files unreadable\ntime       0.000 s\n");
  }
}

TEST_F(CommandTest, OptionsStandInForTheEnvironment) {
  const TempHome other;
  other.write(".claude/projects/p/x.jsonl", UsageLine{.id = "z", .time = "2026-05-04T10:00:00Z"}.text());
  const std::string cache = other.path("c/own.bin");
  EXPECT_EQ(run({"--home", other.path(), "--cache", cache, "summary"}), 0);
  EXPECT_THAT(other.read("c/own.bin"), StartsWith("TFC1"));
  EXPECT_EQ(run({"scan", "--home", other.path()}), 0);
  EXPECT_THAT(out, StartsWith("files      1\n"));
  EXPECT_EQ(run({"scan", "--home", path("nowhere")}), 0);
  EXPECT_EQ(out,
            "files      0\nrequests   unknown — no transcript was found\nbytes      0\n"
            "losses     unknown — no transcript was found\ntime       0.000 s\n");
}

TEST_F(CommandTest, WrongUsageIsToldAndDoesNothing) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"report"},
      {"csv"},
      {"csv", "--axis", "week"},
      {"csv", "--axis", "day", "--all", "--out", "x"},
      {"csv", "--all"},
      {"csv", "--axis", "day", "--out", "x"},
      {"csv", "--axis", "day", "--limit", "-1"},
      {"csv", "--axis", "day", "--limit", "many"},
      {"csv", "--axis", "day", "--limit", "0x10"},
      {"csv", "--axis", "day", "--limit="},
      {"csv", "--axis", "day", "--preset", "custom"},
      {"csv", "--axis", "day", "--preset", "today"},
      {"csv", "--axis", "day", "--preset", "thisMonth", "--from", "2026-01-01", "--to", "2026-01-02"},
      {"csv", "--axis", "day", "--from", "2026-01-01"},
      {"csv", "--axis", "day", "--from", "2026-02-30", "--to", "2026-03-01"},
      {"csv", "--axis", "day", "--from", "2026-02-01", "--to", "tomorrow"},
      {"summary", "--axes", "project,week"},
      {"summary", "--rows", "-1"},
      {"verify", "--preset", "thisMonth"},
      {"scan", "extra"},
  };
  for (const auto& arguments : cases) {
    EXPECT_EQ(run(arguments), 2) << testing::PrintToString(arguments);
    EXPECT_EQ(out, "") << testing::PrintToString(arguments);
    EXPECT_NE(err, "") << testing::PrintToString(arguments);
  }
}

TEST_F(CommandTest, WorkThatFailsIsOneClearLine) {
  machine_.home.write("file", "");
  EXPECT_EQ(run({"provenance", "--out", path("file/below")}), 1);
  EXPECT_THAT(err, AllOf(StartsWith("tallyfin: "), HasSubstr(path("file/below")), EndsWith("\n")));
  takesOutput = false;
  EXPECT_EQ(run({"summary"}), 1);
  EXPECT_EQ(err, "tallyfin: cannot write to standard output\n");
}

TEST_F(CommandTest, HelpVersionAndProgressGoWhereTheyBelong) {
  EXPECT_EQ(run({"--version"}), 0);
  EXPECT_THAT(out, StartsWith("tallyfin 0."));
  EXPECT_EQ(run({"csv", "--help"}), 0);
  EXPECT_THAT(out, HasSubstr("--axis"));
  isTerminal = true;
  EXPECT_EQ(run({"csv", "--axis", "day"}), 0);
  EXPECT_EQ(out, kHeader + kApril + kMay);
  EXPECT_EQ(err, "reading transcripts ...\r\033[K");
}

}  // namespace
}  // namespace tallyfin
