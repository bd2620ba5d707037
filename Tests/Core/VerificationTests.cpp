// Verifies the cache while files change without its knowledge.

#include "Support/RawLine.hpp"
#include "Support/TempHome.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "TallyfinCore/Cache/Verification.hpp"

#include <string>

#include <gtest/gtest.h>

namespace tallyfin {
namespace {

constexpr const char* kHomeFile = ".claude/projects/p/a.jsonl";
constexpr const char* kWorkFile = ".claude-work/projects/p/b.jsonl";
constexpr const char* kClean = "divergence 0 — the cache matches a full scan exactly ";

class Verification : public testing::Test {
 protected:
  void refresh() {
    cache.refresh(homes, [] { return TimePoint{}; });
  }

  VerificationResult verify() {
    double seconds = 100;
    return cache.verifyAgainstFullScan(homes, Calendar::utc(), [&] { return TimePoint{seconds++}; });
  }

  const TempHome home;
  const std::vector<SourceHome> homes = SourceHome::defaults(home.path());
  ScanCache cache{home.path("cache.bin")};
};

TEST_F(Verification, ComparesOnlyWhatTheCacheHasRead) {
  home.write(kHomeFile, rawLine(1).text() + "half");
  home.write(kWorkFile, rawLine(1, 90, 5).text());
  refresh();
  VerificationResult result = verify();
  EXPECT_EQ(result.summary(), std::string(kClean) +
                                  "(1 request verified); 0.0 MB written after the cache were not "
                                  "compared (they are not in it, by definition)");
  EXPECT_EQ(result.bytesNotCompared, 4U);
  EXPECT_EQ(result.cachedRequests, 1);
  EXPECT_EQ(result.freshRequests, 1);
  EXPECT_DOUBLE_EQ(result.cachedCost, (90 * 5 + 5 * 25) / 1e6);
  EXPECT_EQ(result.freshCost, result.cachedCost);

  home.append(kHomeFile, " of a line\n" + rawLine(2).text());  // grew
  home.write(".claude/projects/p/new.jsonl", std::string(1'572'864 - 11 - rawLine(2).text().size() - 4, 'x'));
  result = verify();
  EXPECT_TRUE(result.isClean());
  EXPECT_EQ(result.bytesNotCompared, 1'572'864U);
  EXPECT_NE(result.summary().find("; 1.5 MB written"), std::string::npos);
  EXPECT_EQ(result.duration, 1);
  EXPECT_EQ(cache.lastVerification(), result);
  cache.clear();
  EXPECT_EQ(cache.lastVerification(), std::nullopt);
  EXPECT_EQ(verify().freshRequests, 0);
}

TEST_F(Verification, NamesEachKindOfDivergence) {
  home.write(kHomeFile, rawLine(1, 10).text() + rawLine(2, 10).text());
  home.write(kWorkFile, rawLine(3, 10).text() + rawLine(4, 10).text());
  refresh();
  const std::string a = home.read(kHomeFile);

  std::string edited = a;
  edited.replace(edited.find("\"input_tokens\":10"), 17, "\"input_tokens\":11");
  home.write(kHomeFile, edited);
  EXPECT_EQ(verify().summary(), "DIVERGENCE: 1 with different figures");

  std::string renamed = edited;
  renamed.replace(renamed.find("msg_2"), 5, "msg_9");
  home.write(kHomeFile, renamed);
  EXPECT_EQ(verify().summary(),
            "DIVERGENCE: 1 missing from cache, 1 extra in cache, 1 with different figures");

  home.write(kHomeFile, a);
  home.truncate(kWorkFile, static_cast<long>(rawLine(3).text().size()));
  EXPECT_EQ(verify().summary(), "DIVERGENCE: 1 extra in cache");
  home.remove(kWorkFile);  // no longer listed: not read
  EXPECT_EQ(verify().summary(), "DIVERGENCE: 2 extra in cache");
}

TEST_F(Verification, EachTokenCountIsCompared) {
  RawLine line;
  line.usage =
      R"("input_tokens":1,"output_tokens":2,"cache_read_input_tokens":3,"cache_creation_input_tokens":9,)"
      R"("cache_creation":{"ephemeral_5m_input_tokens":4,"ephemeral_1h_input_tokens":5},)"
      R"("server_tool_use":{"web_search_requests":6,"web_fetch_requests":7})";
  home.write(kHomeFile, line.text());
  refresh();
  const struct {
    std::string from;
    std::string to;
    int mismatched;
  } cases[] = {{"\"input_tokens\":1", "\"input_tokens\":8", 1},
               {"\"output_tokens\":2", "\"output_tokens\":8", 1},
               {"\"cache_read_input_tokens\":3", "\"cache_read_input_tokens\":8", 1},
               {R"("ephemeral_5m_input_tokens":4,"ephemeral_1h_input_tokens":5)",
                R"("ephemeral_5m_input_tokens":5,"ephemeral_1h_input_tokens":4)", 1},
               {"\"web_search_requests\":6", "\"web_search_requests\":8", 0},
               {"claude-opus-5", "claude-opus-4", 0},
               {"\"web_fetch_requests\":7", "\"web_fetch_requests\":8", 0}};
  for (const auto& [from, to, mismatched] : cases) {
    std::string edited = line.text();
    edited.replace(edited.find(from), from.size(), to);
    home.write(kHomeFile, edited);
    const VerificationResult result = verify();
    EXPECT_EQ(result.mismatchedRecords, mismatched) << to;
    EXPECT_EQ(result.missingFromCache + result.extraInCache, 0) << to;
  }
}

TEST_F(Verification, ChangesNeitherTheCacheNorItsFile) {
  home.write(kHomeFile, rawLine(1).text());
  refresh();
  cache.save();
  const std::string before = home.read("cache.bin");
  home.remove(kHomeFile);
  verify();
  EXPECT_EQ(home.read("cache.bin"), before);
  ASSERT_EQ(cache.recordsPerFile().size(), 1U);
  EXPECT_EQ(cache.recordsPerFile()[0].records().size(), 1U);
}

}  // namespace
}  // namespace tallyfin
