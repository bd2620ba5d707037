// Tests the layout of the cache file, loading and saving, and that no input does harm.

#include "Support/Machine.hpp"
#include "Support/RawLine.hpp"
#include "Support/SameDiagnostics.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Cache/BinaryCodec.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

using namespace std::string_literals;

class CacheFile : public testing::Test {
 protected:
  // Writes a small history: all kinds of agents, a negative count, a rejected line, an incomplete line.
  void makeHistory() {
    RawLine named = rawLine(2);
    named.agent = "areviewer-0123456789abcdef";
    RawLine anonymous = rawLine(3, -4, 5);
    anonymous.agent = "0123";
    home.write(".claude/projects/p/a.jsonl", rawLine(1).text() + named.text() + "{\"usage\"\n" + "half");
    home.write(".claude-work/projects/q/b.jsonl", anonymous.text());
  }

  ScanCache::Refreshed refreshed(ScanCache& cache) const {
    return cache.refresh(SourceHome::defaults(home.path()), stopped);
  }

  const TempHome home;
  const std::string path = home.path("cache.bin");
};

// The records as loaded from the file, where negative counts are 0.
std::vector<UsageRecord> clamped(const RecordList& list) {
  std::vector<UsageRecord> records(list.begin(), list.end());
  for (UsageRecord& record : records) record.input = std::max<std::int64_t>(record.input, 0);
  return records;
}

TEST_F(CacheFile, LoadsToTheSameState) {
  makeHistory();
  ScanCache cache(path);
  const auto first = refreshed(cache);
  EXPECT_FALSE(first.stats.fromCache);
  cache.save();

  ScanCache loaded(path);
  ASSERT_TRUE(loaded.load());
  const auto second = refreshed(loaded);
  EXPECT_TRUE(second.stats.fromCache);
  EXPECT_EQ(second.stats.filesUnchanged, 2);
  EXPECT_EQ(second.stats.bytesRead, 0U);
  ASSERT_EQ(first.result.records.size(), 3U);
  EXPECT_EQ(first.result.records[2].input, -4);
  EXPECT_EQ(second.result.records, clamped(first.result.records));
  expectSame(second.result.diagnostics, first.result.diagnostics);
}

// Reads the file by its layout; shares only the codec's primitives with the reader under test.
TEST_F(CacheFile, HasTheDocumentedLayout) {
  makeHistory();
  ScanCache cache(path);
  refreshed(cache);
  cache.save();
  const std::string bytes = home.read("cache.bin");
  ASSERT_EQ(bytes.substr(0, 5), "TFC1\x02");
  BinaryReader reader(std::string_view(bytes).substr(5));
  std::vector<std::string> strings;
  reader.readStringTable([&](auto some) { strings.insert(strings.end(), some.begin(), some.end()); });
  const auto text = [&] { return strings[reader.readStringIndex()]; };
  ASSERT_EQ(reader.readUInt(), 2U);
  EXPECT_EQ(text(), home.path(".claude-work/projects/q/b.jsonl"));  // "-" sorts before "/"
  const std::string b = home.read(".claude-work/projects/q/b.jsonl");
  EXPECT_EQ(reader.readUInt(), b.size());
  EXPECT_GT(reader.readDouble(), 1.6e9);
  EXPECT_GT(reader.readUInt(), 0U);        // inode
  EXPECT_EQ(reader.readUInt(), b.size());  // consumed
  for (const std::uint64_t counter : {1U, 0U, 0U, 0U, 0U, 0U, 0U}) EXPECT_EQ(reader.readUInt(), counter);
  EXPECT_EQ(reader.readUInt(), b.size() - 1);  // longest line
  ASSERT_EQ(reader.readUInt(), 1U);
  EXPECT_EQ(text(), "msg_3:req_3");
  EXPECT_EQ(reader.readDouble(), 1777888800.0);
  for (const char* expected : {"claude-opus-5", "5e55-1", "/src/alpha", ".claude-work", "0123"}) {
    EXPECT_EQ(text(), expected);
  }
  for (const std::uint64_t count : {0U, 5U, 0U, 0U, 0U, 0U, 0U}) EXPECT_EQ(reader.readUInt(), count);
  EXPECT_EQ(reader.readByte(), 0);
  EXPECT_EQ(reader.readUInt(), 1U);  // rank
  EXPECT_EQ(text(), home.path(".claude/projects/p/a.jsonl"));
}

TEST_F(CacheFile, LargeFilesAreTheSameOnTwoThreadsAsOnOne) {
  std::string lines;
  for (int i = 0; i < 4'000; ++i) {
    RawLine line = rawLine(i, i);
    line.agent = "areviewer-" + std::to_string(1'000'000'000'000'000 + i % 500);
    lines += line.text();
  }
  home.write(".claude/projects/p/\xFF.jsonl", lines);
  std::vector<std::string> written;
  for (const std::size_t threads : {1U, 2U}) {
    ScanCache cache(path, threads);
    refreshed(cache);
    cache.save();
    written.push_back(home.read("cache.bin"));
  }
  const std::string& good = written.front();
  EXPECT_TRUE(good == written.back());
  ASSERT_GT(good.size(), std::size_t{1} << 17);
  std::mt19937_64 random(3);  // NOLINT(bugprone-random-generator-seed): the same damage every time
  for (int round = 0; round < 30; ++round) {
    std::string bytes = good;
    if (round % 2 == 1) bytes.resize(1 + random() % bytes.size());
    if (round > 1) bytes[random() % (round % 3 == 0 ? 64 : bytes.size())] = static_cast<char>(random());
    home.write("cache.bin", bytes);
    ScanCache alone(path, 1);
    ScanCache together(path, 2);
    ASSERT_EQ(alone.load(), together.load()) << round;
    ASSERT_TRUE(std::ranges::equal(alone.recordsPerFile(), together.recordsPerFile(),
                                   [](const FileProvenance& one, const FileProvenance& other) {
                                     return one.path == other.path && *one.state == *other.state;
                                   }))
        << round;
    if (round == 0) {
      EXPECT_EQ(together.recordsPerFile().front().path, home.path(".claude/projects/p/\xFF.jsonl"));
    }
  }
}

// Another program may write to the file while two threads read it, so they may see inconsistent contents.
TEST_F(CacheFile, SurvivesWritesToTheFileDuringLoading) {
  std::string lines;
  for (int i = 0; i < 4'000; ++i) lines += rawLine(i, i).text();
  home.write(".claude/projects/p/a.jsonl", lines);
  ScanCache cache(path);
  refreshed(cache);
  cache.save();
  const std::string good = home.read("cache.bin");
  std::atomic<bool> isDone = false;
  std::thread other([&] {
    std::mt19937_64 random(5);  // any seed will do
    while (!isDone) {
      std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
      const std::size_t at = random() % 12;
      file.seekp(static_cast<std::streamoff>(at));
      file.put(random() % 4 == 0 ? good[at] : static_cast<char>(random()));
    }
  });
  int loaded = 0;
  for (int round = 0; round < 300; ++round) {
    loaded += ScanCache(path, 2).load() ? 1 : 0;
  }
  isDone = true;
  other.join();
  EXPECT_LT(loaded, 300);
}

TEST_F(CacheFile, ReadsFilesOfOtherWriters) {
  BinaryWriter writer;
  const auto text = [&](std::string_view value) { writer.writeUInt(writer.intern(value)); };
  writer.writeUInt(2);
  for (const std::uint64_t input : {3U, 4U}) {  // the same path twice: the later entry counts
    text("/gone/x.jsonl");
    writer.writeUInt(100);
    writer.writeDouble(5.25);
    writer.writeUInt(42);
    writer.writeUInt(90);
    for (std::uint64_t counter = 1; counter <= 8; ++counter) writer.writeUInt(counter);
    writer.writeUInt(2);
    for (const std::uint64_t output : {1U, 2U}) {  // the same key twice: the later record counts
      text("m:r");
      writer.writeDouble(10.5);
      for (const char* value : {"model", "session", "cwd", "home", "ax-0123456789abcdef"}) text(value);
      for (const std::uint64_t count : {input, output, 30UL, 40UL, 50UL, 60UL, 70UL}) writer.writeUInt(count);
      writer.writeByte(7);
      writer.writeUInt(9);
    }
  }
  std::string bytes;
  writer.finish("TFC1\x02", [&](std::string_view part) { bytes += part; });
  home.write("cache.bin", bytes + "what follows is ignored");
  ScanCache cache(path);
  ASSERT_TRUE(cache.load());
  const auto files = cache.recordsPerFile();
  ASSERT_EQ(files.size(), 1U);
  EXPECT_EQ(files[0].path, "/gone/x.jsonl");
  EXPECT_EQ(files[0].usageLines(), 1);
  EXPECT_EQ(files[0].state->consumed, 90U);
  EXPECT_EQ(files[0].state->diag.longestLineBytes, 8);
  ASSERT_EQ(files[0].records().size(), 1U);
  const UsageRecord& record = files[0].records().entries()[0].record;
  EXPECT_EQ(record.agent, AgentIdentity::named(InternedText("x"), InternedText("ax-0123456789abcdef")));
  EXPECT_EQ(record.input, 4);
  EXPECT_EQ(record.output, 2);
  EXPECT_EQ(record.cacheWrite1h, 40);
  EXPECT_EQ(record.webFetch, 70);
  EXPECT_TRUE(record.cacheWriteBreakdownAssumed);
  EXPECT_EQ(record.sourceRank, 9);
}

TEST_F(CacheFile, RejectsForeignAndDamagedFilesAndChangesNothing) {
  makeHistory();
  ScanCache cache(path);
  refreshed(cache);
  cache.save();
  const std::string good = home.read("cache.bin");
  const auto refused = [&](const std::string& bytes) {
    home.write("cache.bin", bytes);
    return !cache.load() && cache.recordsPerFile().size() == 2;
  };
  for (std::size_t length = 0; length < good.size(); ++length) {
    EXPECT_TRUE(refused(good.substr(0, length))) << length;
  }
  EXPECT_TRUE(refused("TFC1\x01" + good.substr(5)));
  EXPECT_TRUE(refused("TFC1\x03" + good.substr(5)));
  EXPECT_TRUE(refused("tfc1" + good.substr(4)));
  EXPECT_TRUE(refused("TFC1\x02\0"s + "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"));  // 2^63-1 files
  EXPECT_TRUE(refused("TFC1\x02\0"s + "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"));
  EXPECT_TRUE(refused("TFC1\x02\0\x01\x00"s));  // a path whose index is not in the table
  EXPECT_FALSE(refused(good));
}

// A small file with many references to a long text must not take hours and hundreds of gigabytes.
TEST_F(CacheFile, StoresALongTextOnceForAllReferences) {
  const std::string text(std::size_t{8} << 20, 'x');
  const std::string agents[] = {"ax-" + text + "-0123456789abcdef", "ay-" + text + "-0123456789abcdef"};
  const auto load = [&](std::size_t files, std::size_t pathLength, std::size_t records) {
    BinaryWriter writer;
    const std::uint32_t name = writer.intern(std::string_view(text).substr(0, pathLength));
    const std::uint32_t ids[] = {writer.intern(agents[0]), writer.intern(agents[1])};
    writer.writeUInt(files);
    for (std::size_t file = 0; file < files; ++file) {
      writer.writeUInt(name);
      writer.writeUInt(0);
      writer.writeDouble(0);
      for (int i = 0; i < 10; ++i) writer.writeUInt(0);  // inode, consumed and counters
      writer.writeUInt(records);
      for (std::size_t i = 0; i < records; ++i) {
        writer.writeUInt(name);
        writer.writeDouble(0);
        for (int j = 0; j < 4; ++j) writer.writeUInt(name);
        writer.writeUInt(ids[i % 2]);
        for (int j = 0; j < 7; ++j) writer.writeUInt(0);
        writer.writeByte(0);
        writer.writeUInt(0);
      }
    }
    std::string bytes;
    writer.finish("TFC1\x02", [&](std::string_view part) { bytes += part; });
    home.write("cache.bin", bytes);
    return ScanCache(path).load();
  };
  EXPECT_TRUE(load(100'000, text.size(), 0));
  EXPECT_TRUE(load(1, 1, 50'000));
}

// A refresh compares the stored path and attributes of a transcript with the file, so a flip there only
// causes a read. A flip in stored requests or counters cannot be detected: it lasts until the transcript
// changes.
TEST_F(CacheFile, AFlippedBitIsRejectedOrReadAgainOrLastsUntilTheFileChanges) {
  makeHistory();
  ScanCache cache(path);
  refreshed(cache);
  cache.save();
  ASSERT_TRUE(cache.load());  // without the negative count, as after any start
  std::map<std::string, std::shared_ptr<const FileState>> known;
  for (const FileProvenance& file : cache.recordsPerFile()) known[file.path] = file.state;
  const ScanCache::Refreshed right = refreshed(cache);
  const std::string good = home.read("cache.bin");
  std::map<std::string, int> seen;
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (const int bit : {0, 3, 7}) {
      std::string bytes = good;
      bytes[at] = static_cast<char>(bytes[at] ^ (1 << bit));
      home.write("flipped.bin", bytes);
      ScanCache flipped(home.path("flipped.bin"));
      const bool accepted = flipped.load();
      bool isStored = true;
      for (const FileProvenance& file : flipped.recordsPerFile()) {
        if (!known.contains(file.path)) continue;  // path of a file that does not exist
        const FileState& state = *known[file.path];
        isStored &= file.state->diag == state.diag && file.state->consumed == state.consumed &&
                    std::ranges::equal(file.records().entries(), state.records.entries(),
                                       [](const auto& one, const auto& other) {
                                         return one.key == other.key && one.record == other.record;
                                       });
      }
      ++seen[!accepted ? "refused" : isStored ? "read over" : "stored"];
      const ScanCache::Refreshed after = refreshed(flipped);
      if (!accepted || isStored) {
        ASSERT_EQ(clamped(after.result.records), right.result.records) << at << ", bit " << bit;
        expectSame(after.result.diagnostics, right.result.diagnostics);
      }
      flipped.save();
      ASSERT_TRUE(ScanCache(home.path("flipped.bin")).load()) << at;
    }
  }
  EXPECT_GT(seen["refused"], 50);
  EXPECT_GT(seen["read over"], 100);
  EXPECT_GT(seen["stored"], 100);
}

TEST_F(CacheFile, ClearForgetsAndDeletes) {
  makeHistory();
  ScanCache cache(path);
  refreshed(cache);
  cache.save();
  cache.clear();
  EXPECT_TRUE(cache.recordsPerFile().empty());
  EXPECT_FALSE(ScanCache(path).load());
  cache.save();
  EXPECT_EQ(home.read("cache.bin"), "TFC1\x02\0\0"s);
  EXPECT_TRUE(ScanCache(path).load());
  ScanCache nowhere(home.write("file", "") + "/cache.bin");
  EXPECT_THROW(nowhere.save(), std::system_error);
}

}  // namespace
}  // namespace tallyfin
