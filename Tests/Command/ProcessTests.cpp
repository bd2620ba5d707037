// Runs the real executable from a shell.

#include "Platform/Concat.hpp"
#include "Support/TempHome.hpp"
#include "Support/UsageLine.hpp"

#include <csignal>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tallyfin {
namespace {

class ProcessTest : public testing::Test {
 protected:
  ProcessTest() {
    home_.write(".claude/projects/p/one.jsonl", UsageLine{.id = "a",
                                                          .time = "2026-05-04T23:30:00Z",
                                                          .model = "m, \"x\"\n",
                                                          .cwd = "=1+1,2",
                                                          .output = 40'000}
                                                    .text());
  }

  // Runs a shell line, in which $T is the command. Returns its exit status.
  int shell(const std::string& line) const {
    const std::string all = "export HOME='" + home_.path() +
                            "' TALLYFIN_HOME= TALLYFIN_CACHE_PATH= TZ=Asia/Tokyo T='" +
                            TALLYFIN_COMMAND "'; cd \"$HOME\"; " + line;
    const int status = std::system(all.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  const TempHome home_;
};

TEST_F(ProcessTest, StatusesAndStreamsAreThoseOfAShellCommand) {
  EXPECT_EQ(shell("\"$T\" export csv --axis day > out 2> err"), 0);
  EXPECT_THAT(home_.read("out"), testing::HasSubstr("\nday,2026-05-05,"));  // the day in Tokyo
  EXPECT_EQ(home_.read("err"), "");
  EXPECT_THAT(home_.read(".cache/net.quillpond.tallyfin/scan-cache.v2.bin"), testing::StartsWith("TFC1"));
  EXPECT_EQ(shell("\"$T\" verify > out"), 0);
  EXPECT_EQ(shell("\"$T\" export csv > out 2> err"), 2);
  EXPECT_EQ(home_.read("out"), "");
  EXPECT_NE(home_.read("err"), "");
  EXPECT_EQ(shell("\"$T\" export csv --axis day > /dev/full 2> err"), 1);
  EXPECT_EQ(shell("\"$T\" export csv --all --out reports > out"), 0);
  EXPECT_EQ(shell("test $(ls reports | wc -l) -eq 11"), 0);
  home_.write("own.json", R"({"prices":[{"model":"nova-1","input":1,"output":2}]})");
  EXPECT_EQ(shell("TALLYFIN_PRICES=own.json \"$T\" prices | grep -q nova-1"), 0);
}

TEST_F(ProcessTest, AClosedReaderIsAFailureNotASignal) {
  EXPECT_EQ(shell("\"$T\" export csv --axis day >&- 2> err"), 1);
  EXPECT_EQ(home_.read("err"), "tallyfin: cannot write to standard output\n");
  EXPECT_EQ(shell("\"$T\" --help >&- 2>&- <&-"), 1);
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  ASSERT_EQ(dup2(ends[1], 9), 9);  // shells name descriptors by one digit
  EXPECT_EQ(shell("\"$T\" export csv --axis day >&9 2> err"), 1);
  close(9);
  close(ends[1]);
}

TEST_F(ProcessTest, AnIdlePipeDoesNotDelayTheCommand) {
  EXPECT_EQ(shell("mkfifo pipe; exec 3<>pipe; timeout 5 \"$T\" status --format '{session}' <&3 > out"), 0);
  EXPECT_EQ(home_.read("out"), "unknown\n");
  EXPECT_EQ(shell("echo '{\"session_id\":\"session-1\"}' | \"$T\" status --format '{session}' > out"), 0);
  EXPECT_EQ(home_.read("out"), "unknown\n") << "a model without a price";
  for (const char* zone : {"CET-1CEST", "$PWD/pipe", ":$PWD"}) {
    EXPECT_EQ(shell(concat("TZ=", zone, " timeout 5 \"$T\" export csv --axis day > out 2> err")), 0) << zone;
    EXPECT_THAT(home_.read("out"), testing::HasSubstr("\nday,2026-05-04,")) << "the day in UTC";
    EXPECT_THAT(home_.read("err"), testing::HasSubstr("days are those of UTC"));
  }
  EXPECT_EQ(shell("for i in 1 2 3 4 5 6 7 8; do \"$T\" > /dev/null & done; wait; \"$T\" verify > out"), 0);
}

TEST_F(ProcessTest, ASignalIgnoredAtTheStartStaysIgnored) {
  // The pipe is full, so the command blocks while it writes: both signals arrive while it runs.
  const std::string line =
      "exec 3<>pipe; head -c 65536 /dev/zero >&3; \"$T\" status >&3 & sleep 0.5; kill -INT $!; kill -TERM "
      "$!; "
      "head -c 65536 <&3 > out; wait $!";
  EXPECT_EQ(shell("mkfifo pipe; trap '' INT TERM; " + line), 0);
  EXPECT_EQ(shell("trap - TERM; " + line), 128 + SIGTERM);
}

TEST_F(ProcessTest, ReportsReplaceFilesAndKeepLinksAndModes) {
  EXPECT_EQ(shell("umask 022; \"$T\" export provenance --label x --out reports/ > out"), 0);
  EXPECT_EQ(home_.read("out"), "reports/tallyfin-provenance-x.csv\n");
  struct stat first {};
  ASSERT_EQ(stat(home_.path("reports/tallyfin-provenance-x.csv").c_str(), &first), 0);
  EXPECT_EQ(first.st_mode & 0777U, 0644U);
  EXPECT_EQ(shell("ln reports/*.csv old; \"$T\" export provenance --bom --label x --out reports > out"), 0);
  EXPECT_THAT(home_.read("reports/tallyfin-provenance-x.csv"), testing::StartsWith("\xEF\xBB\xBFsection"));
  EXPECT_THAT(home_.read("old"), testing::StartsWith("section")) << "an open old file stays whole";
  EXPECT_EQ(shell("test \"$(ls -A reports)\" = tallyfin-provenance-x.csv"), 0) << "no temporary file is left";
  EXPECT_EQ(
      shell("chmod 666 old; ln -s old link.csv; ln -s new.csv dangling; umask 077; for at in link.csv "
            "dangling; do \"$T\" export csv --axis day --out $at || exit 9; done > out; test -L link.csv "
            "&& test -L dangling && test -s new.csv && test \"$(ls -l old | cut -c-10)\" = -rw-rw-rw-"),
      0);
  EXPECT_THAT(home_.read("old"), testing::StartsWith("axis,"));
  EXPECT_EQ(shell("mkfifo pipe.csv; timeout 5 \"$T\" export csv --axis day --out pipe.csv 2> err"), 2);
  EXPECT_EQ(shell("mkfifo pipe; timeout 5 \"$T\" --cache pipe 2> err"), 2);
  EXPECT_EQ(shell("\"$T\" --cache /dev/stdout | cat > out; test ! -s out && test -L /dev/stdout"), 0);
}

TEST_F(ProcessTest, AllSpellingsOfAHomeShareACache) {
  EXPECT_EQ(shell("ln -s . home; mkdir below; for home in . home \"$HOME/\" '~' below/..; do \"$T\" sources "
                  "--home \"$home\" --cache c; done > out"),
            0);
  EXPECT_EQ(shell("test $(grep -c ' 1 unchanged' out) -eq 4"), 0) << home_.read("out");
  EXPECT_EQ(shell("mkdir other; cp -r .claude other; ln -s other link; for home in other link ./other; do "
                  "\"$T\" sources --home $home; done > out; test $(grep -c ' 1 unchanged' out) -eq 2"),
            0)
      << home_.read("out");
}

TEST_F(ProcessTest, OtherProgramsReadTheTables) {
  ASSERT_EQ(shell("\"$T\" export csv --axis project > t.csv"), 0);
  if (shell("python3 -c 'import csv' 2> /dev/null") == 0) {
    EXPECT_EQ(shell("python3 -c 'import csv; h, r = list(csv.reader(open(\"t.csv\", encoding=\"utf-8\", "
                    "newline=\"\"))); "
                    "assert len(h) == len(r) == 26 and r[1] == \"\\x27=1+1,2\" and r[13] == \"40000\", r'"),
              0);
  }
  if (shell("sqlite3 -version > /dev/null 2>&1") == 0) {
    EXPECT_EQ(shell("sqlite3 :memory: '.mode csv' '.import t.csv t' "
                    "'select sum(output_tokens), count(*) from t' > out"),
              0);
    EXPECT_THAT(home_.read("out"), testing::StartsWith("40000,1"));
  }
}

}  // namespace
}  // namespace tallyfin
