// Compares scan and refresh over all kinds of files and folders. RandomHistoryTests.cpp covers changes over
// time.

#include "Platform/Files.hpp"
#include "Support/LimitedTo.hpp"
#include "Support/Machine.hpp"
#include "Support/RawLine.hpp"
#include "Support/SameDiagnostics.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"

#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tallyfin {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

// An integer as encoded in the cache file.
std::string leb128(std::uint64_t value) {
  std::string bytes;
  for (; value >= 0x80; value >>= 7) bytes += static_cast<char>(value | 0x80);
  return bytes + static_cast<char>(value);
}

// The records without their ranks, which are positions in earlier listings.
std::vector<UsageRecord> withoutRanks(const RecordList& list) {
  std::vector<UsageRecord> records(list.begin(), list.end());
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

// Requests repeated across many files, lines with random damage, files without a line feed, and entries that
// are not regular files.
TEST_F(Refresh, HostileFilesGiveTheSameResultInScanAndRefresh) {
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

TEST_F(Refresh, UnreadableFilesAreReportedAndTriedAgainEachTime) {
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
      std::erase(full.diagnostics.filesUnreadable, dangling);  // has no attributes, so a refresh skips it
      expectSame(result, full);
    }
    EXPECT_EQ(result.records.size(), 3U);
    EXPECT_EQ(stats.filesTotal, 6);
    EXPECT_EQ(stats.filesTotal,
              stats.filesUnchanged + stats.filesGrown + stats.filesNew + stats.filesRewound + 1);
    EXPECT_EQ(result.diagnostics.usageLinesSeen, 3);
    cache.save();
    ASSERT_TRUE(cache.load());  // a restart does not change this
  }
  ASSERT_EQ(::unlink(fifo.c_str()), 0);
  home.write(".claude/projects/p/fifo.jsonl", rawLine(4).text());
  const auto healed = refresh().result;
  EXPECT_THAT(healed.diagnostics.filesUnreadable, ElementsAre(directory));
  EXPECT_EQ(healed.records.size(), 4U);
}

TEST_F(Refresh, AFileKeepsItsFiguresWhileItIsUnreadable) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "root may read everything";
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

// Request 1 occurs in two homes. The one that describes it cannot be listed for a while.
TEST_F(Refresh, AFolderThatCannotBeListedIsReportedAndMissingOnlyMeanwhile) {
  const std::string folder = home.path(".claude/projects");
  home.write(kA, rawLine(1).text());
  home.write(kB, rawLine(2).text() + rawLine(3).text());
  home.write(kWork, rawLine(1).text());
  refresh();
  cache.save();
  const auto isMissed = [&](std::size_t requests) {
    bool isKept = false;
    const auto [result, stats] = cache.refresh(homes, stopped, {.onRead = [&] { isKept = true; }});
    EXPECT_EQ(result.records.size(), requests);
    EXPECT_EQ(cache.recordsPerFile().size(), requests == 0 ? 0 : 1);
    EXPECT_EQ(result.diagnostics.foldersUnreadable.front().path, folder);
    expectSame(result, fullScan());
    return isKept;
  };
  {
    const LimitedTo none(RLIMIT_NOFILE, 0);
    EXPECT_FALSE(isMissed(0));
  }
  EXPECT_EQ(refresh().stats.filesUnchanged, 3) << "running out of descriptors must not lose the state";

  home.rename(".claude/projects", "aside");
  home.link(".claude/projects", folder);  // a link to itself
  home.append(kWork, rawLine(4).text());
  EXPECT_TRUE(isMissed(2));
  cache.save();
  home.remove(".claude/projects");
  home.rename("aside", ".claude/projects");
  ASSERT_TRUE(cache.load());
  const auto [healed, stats] = refresh();
  EXPECT_EQ(stats.filesNew, 2);
  EXPECT_THAT(healed.diagnostics.foldersUnreadable, IsEmpty());
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

TEST_F(Refresh, AFileTruncatedBelowWhatWasReadIsReadAgain) {
  const std::string two = rawLine(1).text() + rawLine(2).text();
  home.write(kA, two + rawLine(3).text());
  refresh();
  cache.save();
  // More was consumed than the stored size, as after reading a file that grew meanwhile, or after damage.
  std::string file = home.read("cache.bin");
  const std::string size = leb128(home.read(kA).size());
  const std::size_t at = file.rfind(kA) != std::string::npos ? file.find(size, file.rfind(kA)) : 0;
  ASSERT_NE(at, std::string::npos);
  home.write("cache.bin", file.replace(at, size.size(), leb128(two.size() - 10)));
  ASSERT_TRUE(cache.load());
  home.truncate(kA, static_cast<std::int64_t>(two.size()));
  const auto [result, stats] = refresh();
  EXPECT_EQ(stats.filesRewound, 1);
  expectSame(result, fullScan());
}

// A removed file's inode may be reused by a directory of the same name.
TEST_F(Refresh, AFileThatIsNoLongerRegularKeepsNoRequests) {
  home.write(kA, rawLine(1).text());
  refresh();
  FileState state = *cache.recordsPerFile()[0].state;
  home.remove(kA);
  const TranscriptFile file{home.makeDirectory(kA), InternedText("home"), Files::attributes(home.path(kA))};
  state.inode = file.attributes->number;
  state.mtime = file.attributes->modified;
  for (const std::uint64_t size : {file.attributes->size, file.attributes->size / 2}) {
    state.size = size;
    FileReading reading{.file = &file, .before = std::make_shared<const FileState>(state)};
    read({&reading, 1}, 1);
    EXPECT_TRUE(reading.hasFailed);
    EXPECT_EQ(reading.change, FileChange::rewound);
    EXPECT_EQ(reading.now->records.size(), 0U);
    EXPECT_EQ(reading.seen.usageLinesSeen, 0);
  }
}

// The larger file is read first; meanwhile another file replaces the smaller one, which was already listed.
TEST_F(Refresh, AttributesAreThoseOfTheFileThatIsRead) {
  home.write(kA, rawLine(1).text());
  home.write(kB, rawLine(2).text());
  ScanCache serial(home.path("cache.bin"), 1);
  serial.refresh(homes, stopped);
  home.append(kA, rawLine(3).text() + rawLine(4).text() + rawLine(5).text());
  home.append(kB, rawLine(6).text());
  const auto replace = [&](std::uint64_t done, std::uint64_t total) {
    if (done < total) {
      home.write("other", rawLine(7, 1, 9999).text() + rawLine(8).text() + rawLine(9).text());
      ASSERT_EQ(::rename(home.path("other").c_str(), home.path(kB).c_str()), 0);
    }
  };
  const auto [result, stats] = serial.refresh(homes, stopped, {.progress = replace});
  EXPECT_EQ(stats.filesRewound, 1);
  expectSame(result, fullScan());
  EXPECT_EQ(serial.refresh(homes, stopped).stats.filesUnchanged, 2);
}

// Files of many sizes, repeated requests and failures: the result is identical on any number of threads.
TEST_F(Refresh, ThreadsDoNotChangeTheResult) {
  for (int file = 0; file < 60; ++file) {
    std::string content;
    for (int line = 0; line < 1 + file * file; ++line) {
      content += rawLine(file * 37 % 50 * 100 + line % 90, line, file).text();
    }
    home.write((file % 3 == 0 ? ".claude-work/projects/p/" : ".claude/projects/p/") + std::to_string(file) +
                   ".jsonl",
               content + "{\"usage\"\n");
  }
  home.makeDirectory(".claude/projects/p/x.jsonl");
  std::string bytes;
  for (const std::size_t threads : {1U, 2U, 3U, 16U}) {
    const std::string path = home.path("cache" + std::to_string(threads));
    ScanCache each(path, threads);
    expectSame(each.refresh(homes, stopped).result, fullScan(threads > 1));
    each.save();
    EXPECT_TRUE(each.verifyAgainstFullScan(homes, Calendar::utc(), stopped).isClean());
    const std::string written = home.read("cache" + std::to_string(threads));
    EXPECT_TRUE(written == std::exchange(bytes, written) || threads == 1) << threads;
  }
}

TEST_F(Refresh, ARefreshThatFoundNothingNewWritesNothing) {
  home.write(kA, rawLine(1).text());
  home.makeDirectory(".claude/projects/p/unreadable.jsonl");
  const auto look = [&] {
    refresh();
    cache.save();
    return Files::attributes(home.path("cache.bin")).value();
  };
  const auto written = look();
  EXPECT_EQ(look(), written);
  ASSERT_TRUE(cache.load());
  EXPECT_EQ(look(), written) << "a loaded state need not be written";
  const std::string whole = home.read("cache.bin");
  for (const bool isGone : {true, false}) {
    isGone ? home.remove("cache.bin") : static_cast<void>(home.write("cache.bin", "damaged"));
    look();
    EXPECT_EQ(home.read("cache.bin"), whole);
  }
  home.append(kA, rawLine(2).text());
  look();
  EXPECT_NE(home.read("cache.bin"), whole);
}

}  // namespace
}  // namespace tallyfin
