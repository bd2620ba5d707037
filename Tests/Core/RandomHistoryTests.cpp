// Changes many transcripts at random. After every change, also after restarts from the cache file, a refresh
// must equal, to the last bit, a scan from scratch of all content that a refresh can know of.
//
// TALLYFIN_HISTORY_SEED and TALLYFIN_HISTORY_STEPS choose another sequence or a longer one.

#include "Platform/Files.hpp"
#include "Support/Machine.hpp"
#include "Support/RawLine.hpp"
#include "Support/SameDiagnostics.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

std::uint64_t setting(const char* name, std::uint64_t otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr && *value != '\0' ? std::stoull(value) : otherwise;
}

// Paths of a home's transcripts, relative to the home, in listing order.
std::vector<std::string> transcripts(const TempHome& home) {
  ScanDiagnostics unused;
  std::vector<std::string> paths;
  for (const TranscriptFile& file : Scanner::listing(SourceHome::defaults(home.path()), unused)) {
    paths.push_back(file.path.substr(home.path().size() + 1));
  }
  return paths;
}

// Changes a home by one random action per step.
class Life {
 public:
  Life(const TempHome& home, std::uint64_t seed) : home_(home), random_(seed) {}

  std::size_t below(std::size_t count) { return random_() % count; }
  bool oneIn(std::size_t count) { return below(count) == 0; }

  void note(const std::string& what) {
    recent_.push_back(what);
    if (recent_.size() > 25) recent_.pop_front();
  }
  const std::deque<std::string>& recent() const { return recent_; }

  void step() {
    const std::vector<std::string> paths = transcripts(home_);
    const auto any = [&] { return paths[below(paths.size())]; };
    if (oneIn(40)) {
      moveHome();
    } else if (paths.empty() || (paths.size() < 14 && oneIn(6))) {
      append(newPath(), lines(4));
    } else if (oneIn(6)) {  // a resumed conversation: its lines occur in a second file too
      append(any(), home_.read(any()));
    } else if (oneIn(2)) {
      grow(any());
    } else {
      disturb(any());
    }
  }

 private:
  std::string line() {
    const std::size_t request = below(120);
    RawLine line =
        rawLine(static_cast<int>(request), static_cast<int>(below(5000)), static_cast<int>(below(900)));
    // All copies of a request have the same model, so that its cost does not depend on which copy describes
    // it.
    line.model = std::vector{"claude-opus-5", "claude-haiku-4-5", "nova-1"}[request % 3];
    line.timestamp =
        "2026-05-0" + std::to_string(1 + below(9)) + "T10:00:0" + std::to_string(below(10)) + "Z";
    line.session = "5e55-" + std::to_string(below(4));
    line.cwd = "/src/" + std::to_string(below(3));
    line.agent = oneIn(2) ? "" : "areviewer-0123456789abcde" + std::to_string(below(3));
    if (oneIn(4)) line.usage += R"(,"cache_creation_input_tokens":)" + std::to_string(below(300));
    switch (below(16)) {
      case 0:
        line.usage = R"("input_tokens":0)";
        break;
      case 1:
        line.timestamp = "yesterday";
        break;
      case 2:
        line.request = "";
        break;
      case 3:
        return "{\"usage\":\n";
      case 4:
        return R"({"message":{"content":"usage","x":"usage"}})"
               "\n";
      case 5:
        return R"({"x":"usage"})"
               "\n";
      case 6:
        return std::string(below(900), ' ') + "\n";
      default:
        break;
    }
    return line.text();
  }

  std::string lines(std::size_t most) {
    std::string all;
    for (std::size_t count = below(most + 1); count > 0; --count) all += line();
    return all;
  }

  // Few different paths, so that they are reused. A new one often sorts before existing ones.
  std::string newPath() {
    static const std::vector<std::string> homes = {".claude", ".claude-work", ".claude-yahoo"};
    return homes[below(homes.size())] + "/projects/" + std::string(1, static_cast<char>('a' + below(3))) +
           (oneIn(4) ? "/subagents/" : "/") + std::to_string(below(6)) + ".jsonl";
  }

  // The file system's time usually advances between two writes.
  void stamp(const std::string& path) {
    now_ += oneIn(4) ? 0 : 1 + static_cast<std::time_t>(below(3));
    home_.setModified(path, now_);
  }

  void append(const std::string& path, const std::string& text) {
    note("append " + std::to_string(text.size()) + " bytes to " + path);
    home_.append(path, text);
    stamp(path);
  }

  void grow(const std::string& path) {
    std::string& rest = unfinished_[path];
    if (oneIn(3)) {  // the writer is interrupted in the middle of a line
      rest = line();
      const std::size_t part = below(rest.size());
      append(path, rest.substr(0, part));
      rest.erase(0, part);
    } else {  // the rest of that line, then more lines
      append(path, std::exchange(rest, {}) + lines(4));
    }
  }

  void rewrite(const std::string& path, const std::string& text) {
    note("rewrite " + path + " with " + std::to_string(text.size()) + " bytes");
    home_.write(path, text);
    stamp(path);
  }

  void disturb(const std::string& path) {
    const std::string content = home_.read(path);
    switch (below(8)) {
      case 0: {
        const std::size_t size = oneIn(4) ? 0 : below(content.size() + 1);
        note("truncate " + path + " to " + std::to_string(size) + " bytes");
        home_.truncate(path, static_cast<long>(size));
        return stamp(path);
      }
      case 1:
        return rewrite(path, lines(6));
      case 2:  // larger than before, with the same inode
        return rewrite(path, line() + content + line());
      case 3:
        note("replace " + path);
        home_.write("new", oneIn(2) ? content : lines(6));
        home_.rename("new", path);
        return stamp(path);
      case 4: {
        const std::string to = newPath();
        note("rename " + path + " to " + to);
        return home_.rename(path, to);
      }
      case 5:
        note("delete " + path);
        return home_.remove(path);
      default: {  // forward or back, also by less than the tolerance
        const std::time_t time = now_ + static_cast<std::time_t>(below(5)) - 2;
        const long fraction = oneIn(2) ? 400'000 : 0;
        note("touch " + path + " at " + std::to_string(time) + " s " + std::to_string(fraction) + " ns");
        return home_.setModified(path, time, fraction);
      }
    }
  }

  // Removes a home, or restores it with its content.
  void moveHome() {
    const char* const home = ".claude-work";
    if (Files::exists(home_.path(home))) {
      note("a home goes");
      home_.remove("aside");
      home_.rename(home, "aside");
    } else if (Files::exists(home_.path("aside"))) {
      note("a home comes back");
      home_.rename("aside", home);
    }
  }

  const TempHome& home_;
  std::mt19937_64 random_;
  std::map<std::string, std::string> unfinished_;  // the missing ends of incomplete last lines, by path
  std::deque<std::string> recent_;
  std::time_t now_ = 1'800'000'000;
};

// Computes what a refresh must know. A refresh assumes that files grow only at their end. A file with another
// inode, fewer bytes or an earlier time is read from the start; of any other, only the bytes after the last
// complete line are read. A second home has exactly that content, so a scan of it gives the expected result.
class Promise {
 public:
  explicit Promise(const TempHome& home) : home_(home) {}

  void forget() { known_.clear(); }

  // Updates the second home and returns the counts that the refresh must report.
  RefreshStats look() {
    RefreshStats stats;
    stats.fromCache = !known_.empty();
    std::map<std::string, Known> now;
    for (const std::string& path : transcripts(home_)) {
      const auto before = known_.find(path);
      now[path] = before == known_.end() ? readAnew(path, stats.filesNew, stats)
                                         : readOn(path, before->second, stats);
      if (!shadow_.contains(path) || shadow_[path] != now[path].content) {
        second_.write(path, shadow_[path] = now[path].content);
      }
    }
    for (const auto& [path, file] : known_) stats.filesGone += now.contains(path) ? 0 : 1;
    std::erase_if(shadow_, [&](const auto& file) {
      if (now.contains(file.first)) return false;
      second_.remove(file.first);
      return true;
    });
    known_ = std::move(now);
    stats.filesTotal = static_cast<std::int64_t>(known_.size());
    setHomes();
    return stats;
  }

  // The result of a scan from scratch, with paths changed to those of the first home.
  ScanResult scan(bool parallel) const {
    ScanResult result = Scanner::scan(SourceHome::defaults(second_.path()), parallel, stopped);
    std::string& longest = result.diagnostics.longestLinePath;
    if (!longest.empty()) longest.replace(0, second_.path().size(), home_.path());
    return result;
  }

  // The records that a refresh must return. Each copy of a request keeps the rank of its file at the time it
  // was read. The copy with the lowest rank describes the request, and among equal ranks the first one
  // listed. Also checks that a first refresh returns `scanned`, the result of a scan.
  std::vector<UsageRecord> records(const RecordList& scanned) {
    ScanCache cold(second_.path("cache.bin"));
    EXPECT_EQ(cold.refresh(SourceHome::defaults(second_.path()), stopped).result.records, scanned);
    std::map<std::string, RecordMap> byPath;
    for (const FileProvenance& file : cold.recordsPerFile()) byPath[file.path] = file.records();
    std::vector<UsageRecord> all;
    std::map<InternedText, std::size_t, ByNumber> placeOf;
    std::int64_t rank = 0;
    for (const std::string& path : transcripts(second_)) {
      std::vector<std::int64_t>& ranks = known_[path].ranks;
      const RecordMap& file = byPath[second_.path(path)];
      ranks.resize(file.size(), rank++);
      for (std::size_t i = 0; i < file.size(); ++i) {
        UsageRecord copy = file.entries()[i].record;
        copy.sourceRank = ranks[i];
        const auto [place, isNew] = placeOf.try_emplace(file.entries()[i].key, all.size());
        if (isNew) {
          all.push_back(copy);
        } else if (UsageRecord& stored = all[place->second]; copy.sourceRank < stored.sourceRank) {
          copy.raiseTo(stored);
          stored = copy;
        } else {
          stored.raiseTo(copy);
        }
      }
    }
    return all;
  }

  // Whether all transcripts begin with the known content, so that no change went unnoticed.
  bool isWholeTruth() const {
    return std::ranges::all_of(
        known_, [&](const auto& file) { return home_.read(file.first).starts_with(file.second.content); });
  }

 private:
  struct Known {
    Files::Attributes attributes;
    std::string content;              // including an incomplete last line, which a refresh does not know yet
    std::vector<std::int64_t> ranks;  // of its requests
  };

  struct ByNumber {
    bool operator()(InternedText left, InternedText right) const { return left.number() < right.number(); }
  };

  static std::size_t wholeLines(const std::string& content) { return content.rfind('\n') + 1; }

  Known readAnew(const std::string& path, std::int64_t& counter, RefreshStats& stats) const {
    ++counter;
    Known file{*Files::attributes(home_.path(path)), home_.read(path), {}};
    stats.bytesRead += wholeLines(file.content);
    return file;
  }

  Known readOn(const std::string& path, const Known& before, RefreshStats& stats) const {
    constexpr double kTolerance = 0.001;  // seconds
    const Files::Attributes& old = before.attributes;
    const Files::Attributes now = *Files::attributes(home_.path(path));
    if (now.number != old.number || now.size < old.size || now.modified < old.modified - kTolerance) {
      return readAnew(path, stats.filesRewound, stats);
    }
    if (now.size == old.size && now.modified <= old.modified + kTolerance) {
      ++stats.filesUnchanged;
      return before;
    }
    ++stats.filesGrown;
    const std::size_t consumed = wholeLines(before.content);
    Known file{now, before.content.substr(0, consumed) + home_.read(path).substr(consumed), before.ranks};
    stats.bytesRead += wholeLines(file.content) - consumed;
    return file;
  }

  // A home without transcripts is counted if its folder exists.
  void setHomes() const {
    for (const SourceHome& home : SourceHome::defaults(home_.path())) {
      if (Files::isDirectory(home.projectsPath)) {
        second_.makeDirectory(home.name + "/projects");
      } else {
        second_.remove(home.name);
      }
    }
  }

  const TempHome& home_;
  const TempHome second_;
  std::map<std::string, Known> known_;
  std::map<std::string, std::string> shadow_;  // the content of the second home
};

void expectSame(const RefreshStats& did, const RefreshStats& expected) {
  EXPECT_EQ(did.filesTotal, expected.filesTotal);
  EXPECT_EQ(did.filesUnchanged, expected.filesUnchanged);
  EXPECT_EQ(did.filesGrown, expected.filesGrown);
  EXPECT_EQ(did.filesNew, expected.filesNew);
  EXPECT_EQ(did.filesRewound, expected.filesRewound);
  EXPECT_EQ(did.filesGone, expected.filesGone);
  EXPECT_EQ(did.bytesRead, expected.bytesRead);
  EXPECT_EQ(did.fromCache, expected.fromCache);
}

// Compares counts, times and costs. The copy that describes a request may differ once files were added before
// others.
void expectSameFigures(const RecordList& records, const RecordList& expected) {
  ASSERT_EQ(records.size(), expected.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(records[i].model, expected[i].model) << "request " << i;
    UsageRecord raised = expected[i];
    raised.raiseTo(records[i]);
    EXPECT_EQ(raised, expected[i]) << "request " << i;
    raised = records[i];
    raised.raiseTo(expected[i]);
    EXPECT_EQ(raised, records[i]) << "request " << i;
  }
  const Aggregator aggregator(Calendar::utc(), ProjectResolver("/home/ada", false));
  const Report report = aggregator.aggregate(records, {}, {}, {}, false);
  const Report wanted = aggregator.aggregate(expected, {}, {}, {}, false);
  EXPECT_EQ(report.total.cost, wanted.total.cost);
  for (const auto& [day, bucket] : wanted.byDay()) {
    ASSERT_NE(report.byDay().find(day), nullptr);
    EXPECT_EQ(report.byDay().find(day)->cost, bucket.cost);
  }
}

TEST(RandomHistory, ARefreshEqualsAScanOfWhatItCanKnow) {
  const std::uint64_t seed = setting("TALLYFIN_HISTORY_SEED", 20'261'123);
  const std::uint64_t steps = setting("TALLYFIN_HISTORY_STEPS", TALLYFIN_HISTORY_STEPS);
  const TempHome home;
  const std::vector<SourceHome> homes = SourceHome::defaults(home.path());
  Life life(home, seed);
  Promise promise(home);
  auto cache = std::make_unique<ScanCache>(home.path("cache.bin"));
  for (std::uint64_t step = 0; step < steps; ++step) {
    if (life.oneIn(30)) {
      life.note("start anew from the cache file");
      cache->save();
      cache = std::make_unique<ScanCache>(home.path("cache.bin"));
      if (life.oneIn(5)) {
        life.note("which is cut off");
        home.truncate("cache.bin", static_cast<long>(life.below(home.read("cache.bin").size())));
        promise.forget();
        EXPECT_FALSE(cache->load());
      } else {
        EXPECT_TRUE(cache->load());
      }
    }
    for (std::size_t changes = life.oneIn(4) ? life.below(4) : 1; changes > 0; --changes) life.step();

    const RefreshStats expected = promise.look();
    const auto [result, stats] = cache->refresh(homes, stopped);
    const ScanResult scan = promise.scan(life.oneIn(4));
    expectSame(stats, expected);
    expectSame(result.diagnostics, scan.diagnostics);
    expectSameFigures(result.records, scan.records);
    EXPECT_EQ(result.records, promise.records(scan.records));
    if (life.oneIn(10) && promise.isWholeTruth()) {
      EXPECT_TRUE(cache->verifyAgainstFullScan(homes, Calendar::utc(), stopped).isClean());
    }
    if (HasFailure()) {
      for (const std::string& what : life.recent()) std::cout << "  " << what << "\n";
      FAIL() << "failed after the last of these, in step " << step << " of TALLYFIN_HISTORY_SEED=" << seed;
    }
  }
}

}  // namespace
}  // namespace tallyfin
