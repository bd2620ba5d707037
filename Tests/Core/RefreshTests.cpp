// Reading from scratch and reading what grew: the same answer, whatever files and folders are made of. What
// they go through in time is the matter of RandomHistoryTests.cpp.

#include "Platform/Files.hpp"
#include "Support/RawLine.hpp"
#include "Support/SameDiagnostics.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"

#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tallyfin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TimePoint stopped() {
  return {1000};
}

constexpr const char* kA = ".claude/projects/p/a.jsonl";
constexpr const char* kB = ".claude/projects/p/b.jsonl";
constexpr const char* kWork = ".claude-work/projects/p/a.jsonl";

class Refresh : public testing::Test {
 protected:
  ScanCache::Refreshed refresh() { return cache.refresh(homes, stopped); }
  ScanResult fullScan(bool parallel = false) const { return Scanner::scan(homes, parallel, stopped); }

  const TempHome home;
  const std::vector<SourceHome> homes = SourceHome::defaults(home.path());
  ScanCache cache{home.path("cache.bin")};
};

// The records but for their ranks, which name a position in a listing of long ago.
std::vector<UsageRecord> withoutRanks(std::vector<UsageRecord> records) {
  for (UsageRecord& record : records) record.sourceRank = 0;
  return records;
}

void expectSame(const ScanResult& left, const ScanResult& right) {
  EXPECT_EQ(withoutRanks(left.records), withoutRanks(right.records));
  expectSame(left.diagnostics, right.diagnostics);
}

TEST_F(Refresh, TheFileThatIsListedFirstDescribesARequest) {
  RawLine first = rawLine(1, 1, 800);
  first.session = "first";
  first.timestamp = "2026-05-04T12:00:00Z";
  RawLine second = rawLine(1, 1, 900);
  second.session = "second";
  home.write(kB, first.text());
  home.write(kWork, second.text() + rawLine(2).text());
  for (const auto& result : {refresh().result, fullScan(), fullScan(true)}) {
    ASSERT_EQ(result.records.size(), 2U);
    EXPECT_EQ(result.records[0].sessionId.text(), "first");
    EXPECT_EQ(result.records[0].sourceHome.text(), ".claude");
    EXPECT_EQ(result.records[0].output, 900);
    EXPECT_EQ(result.records[0].timestamp.seconds, 1777888800.0);
    EXPECT_EQ(result.diagnostics.uniqueRequests, 2);
  }
  home.remove(kB);
  const auto after = refresh().result;
  ASSERT_EQ(after.records.size(), 2U);
  EXPECT_EQ(after.records[0].sessionId.text(), "second");
  EXPECT_EQ(after.records[0].output, 900);
}

// Requests repeated across many files, lines with damage at any byte, files without a line feed, and what is
// no file at all.
TEST_F(Refresh, HostileFilesGiveTheSameOnEveryRoad) {
  std::mt19937_64 random(7);  // NOLINT(bugprone-random-generator-seed): the same files every time
  for (int file = 0; file < 40; ++file) {
    std::string content;
    for (int line = 0; line < 30; ++line) {
      std::string text = rawLine(static_cast<int>(random() % 200), line, file).text();
      for (std::uint64_t faults = random() % 3; faults > 0; --faults) {
        text[random() % text.size()] = static_cast<char>(random());
      }
      content += text.substr(random() % 8 == 0 ? random() % text.size() : 0);
    }
    content.resize(content.size() - random() % 100);
    home.write((file % 2 == 0 ? ".claude/projects/p/" : ".claude-outlook/projects/p/") +
                   std::to_string(file) + ".jsonl",
               content);
  }
  home.makeDirectory(".claude/projects/p/directory.jsonl");
  ASSERT_EQ(::mkfifo(home.path(".claude/projects/p/3.fifo.jsonl").c_str(), 0600), 0);
  home.link(".claude-outlook/projects/p/zero.jsonl", "/dev/zero");
  home.write(".claude/projects/p/nul.jsonl", std::string(3'000'000, '\0') + "\n" + rawLine(500).text());
  const ScanResult serial = fullScan();
  EXPECT_EQ(serial.diagnostics.filesUnreadable.size(), 3U);
  EXPECT_GT(serial.diagnostics.linesRejectedInvalidJSON, 100);
  EXPECT_GT(serial.records.size(), 100U);
  expectSame(fullScan(true), serial);
  expectSame(refresh().result, serial);
  EXPECT_TRUE(cache.verifyAgainstFullScan(homes, Calendar::utc(), stopped).isClean());
}

TEST_F(Refresh, WhatCannotBeReadIsToldEachTimeAndTriedAgain) {
  home.write(kA, rawLine(1).text());
  const std::string fifo = home.path(".claude/projects/p/fifo.jsonl");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const std::string directory = home.makeDirectory(".claude/projects/p/z.jsonl");
  home.write(".claude/projects/p/z.jsonl/inner.jsonl", rawLine(2).text());
  const std::string dangling = home.link(".claude/projects/p/dangling.jsonl", home.path("nowhere"));
  home.link(".claude/projects/p/link.jsonl", home.write("elsewhere", rawLine(3).text()));
  home.link(".claude/projects/loop", home.path(".claude/projects"));

  for (int round = 0; round < 3; ++round) {
    const auto [result, stats] = refresh();
    EXPECT_THAT(result.diagnostics.filesUnreadable, ElementsAre(fifo, directory)) << round;
    for (const bool parallel : {false, true}) {
      ScanResult full = fullScan(parallel);
      EXPECT_THAT(full.diagnostics.filesUnreadable, ElementsAre(dangling, fifo, directory));
      std::erase(full.diagnostics.filesUnreadable, dangling);  // has no attributes: a refresh passes it over
      expectSame(result, full);
    }
    EXPECT_EQ(result.records.size(), 3U);
    EXPECT_EQ(stats.filesTotal, 6);
    EXPECT_EQ(stats.filesTotal,
              stats.filesUnchanged + stats.filesGrown + stats.filesNew + stats.filesRewound + 1);
    EXPECT_EQ(result.diagnostics.usageLinesSeen, 3);
    cache.save();
    ASSERT_TRUE(cache.load());  // a restart changes nothing in this
  }
  ASSERT_EQ(::unlink(fifo.c_str()), 0);
  home.write(".claude/projects/p/fifo.jsonl", rawLine(4).text());
  const auto healed = refresh().result;
  EXPECT_THAT(healed.diagnostics.filesUnreadable, ElementsAre(directory));
  EXPECT_EQ(healed.records.size(), 4U);
}

TEST_F(Refresh, AFileThatWasReadableKeepsItsFiguresWhileItIsNot) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "permissions do not bind root";
  }
  home.write(kA, rawLine(1).text());
  refresh();
  home.append(kA, rawLine(2).text());
  home.setMode(kA, 0);
  for (int round = 0; round < 2; ++round) {
    const auto [result, stats] = refresh();
    EXPECT_THAT(result.diagnostics.filesUnreadable, ElementsAre(home.path(kA)));
    EXPECT_EQ(result.records.size(), 1U);
  }
  home.setMode(kA, 0600);
  const auto healed = refresh().result;
  EXPECT_THAT(healed.diagnostics.filesUnreadable, IsEmpty());
  expectSame(healed, fullScan());
}

TEST_F(Refresh, PathsAreBytes) {
  const std::string odd = ".claude/projects/p\xFF\xFE/a\nb.jsonl";
  std::string line = rawLine(1).text();
  line.replace(line.find(R"("sessionId":"5e55-1",)"), 21, "");
  home.write(odd, line);
  refresh();
  cache.save();
  ASSERT_TRUE(cache.load());
  const auto [result, stats] = refresh();
  EXPECT_EQ(stats.filesUnchanged, 1);
  ASSERT_EQ(result.records.size(), 1U);
  EXPECT_EQ(result.records[0].sessionId.text(), "a\nb");
}

}  // namespace
}  // namespace tallyfin
