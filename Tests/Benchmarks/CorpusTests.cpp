// Measurements and the sample rely on the shape of the generated corpus. These tests read a small corpus as
// plain JSON, without the program's own code.

#include "Benchmarks/Corpus.hpp"

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace tallyfin::corpus {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr Milliseconds kNow = 1'790'000'000'000;  // 2026-09-21T14:13:20Z

// Relative path and content of every regular file below a directory.
std::map<std::string, std::string> filesBelow(const fs::path& root) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    files[entry.path().lexically_relative(root).string()] = {std::istreambuf_iterator<char>(file), {}};
  }
  return files;
}

Options options(const fs::path& out) {
  Options options;
  options.out = out.string();
  options.sources = "/home/dev/src";
  options.bytes = 12'000'000;
  options.now = kNow;
  options.days = 10;
  return options;
}

// Creates one corpus for all tests of this class.
class CorpusTests : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    root_ = fs::path(testing::TempDir()) / ("tallyfin-corpus-" + std::to_string(getpid()));
    Options wanted = options(root_ / "home");
    wanted.sources = (root_ / "home" / "src").string();
    wanted.makeRepositories = true;
    summary_ = writeCorpus(wanted);
    for (const auto& [path, content] : filesBelow(root_ / "home")) {
      if (path.ends_with(".jsonl")) readTranscript(path, content);
    }
  }

  static void TearDownTestSuite() { fs::remove_all(root_); }

  struct Line {
    std::string path;
    std::string text;
    json value;
    bool hasUsage = false;

    std::string key() const {
      return value["message"]["id"].get<std::string>() + ":" + value["requestId"].get<std::string>();
    }
    std::int64_t usage(const char* name) const {
      return value["message"]["usage"].value(name, std::int64_t{0});
    }
    bool isZero() const {
      return usage("input_tokens") + usage("output_tokens") + usage("cache_read_input_tokens") +
                 usage("cache_creation_input_tokens") ==
             0;
    }
  };

  static void readTranscript(const std::string& path, const std::string& content) {
    ASSERT_TRUE(content.ends_with('\n')) << path;
    for (std::size_t start = 0; start < content.size();) {
      const std::size_t end = content.find('\n', start);
      Line line{path, content.substr(start, end - start), {}, false};
      line.value = json::parse(line.text);
      line.hasUsage = line.value.contains("message") && line.value["message"].contains("usage");
      lines_.push_back(std::move(line));
      start = end + 1;
    }
  }

  static inline fs::path root_;
  static inline Summary summary_;
  static inline std::vector<Line> lines_;
};

TEST(Corpus, SameOptionsGiveTheSameBytes) {
  const fs::path root = fs::path(testing::TempDir()) / ("tallyfin-same-" + std::to_string(getpid()));
  Options wanted = options(root / "a");
  wanted.bytes = 2'000'000;
  writeCorpus(wanted);
  wanted.out = (root / "b").string();
  writeCorpus(wanted);
  wanted.out = (root / "c").string();
  wanted.seed = 2;
  writeCorpus(wanted);
  const auto first = filesBelow(root / "a");
  EXPECT_EQ(first, filesBelow(root / "b"));
  EXPECT_NE(first, filesBelow(root / "c"));
  EXPECT_THROW(writeCorpus(wanted), std::runtime_error) << "the home exists already";
  fs::remove_all(root);
}

TEST_F(CorpusTests, SizesAndSharesAreThoseOfRealTranscripts) {
  std::uint64_t usageLines = 0;
  std::uint64_t usageBytes = 0;
  std::uint64_t bytes = 0;
  std::set<std::string> files;
  std::set<std::string> requests;
  for (const Line& line : lines_) {
    files.insert(line.path);
    bytes += line.text.size() + 1;
    if (!line.hasUsage) continue;
    ++usageLines;
    usageBytes += line.text.size() + 1;
    if (!line.isZero()) requests.insert(line.key());
  }
  EXPECT_EQ(summary_.files, files.size());
  EXPECT_EQ(summary_.bytes, bytes);
  EXPECT_EQ(summary_.counts.lines, lines_.size());
  EXPECT_EQ(summary_.counts.usageLines, usageLines);
  EXPECT_EQ(summary_.counts.usageBytes, usageBytes);
  EXPECT_EQ(summary_.counts.requests, requests.size());
  const auto share = [](std::uint64_t part, std::uint64_t whole) {
    return static_cast<double>(part) / static_cast<double>(whole);
  };
  EXPECT_NEAR(share(bytes, 12'000'000), 1.0, 0.1);
  EXPECT_NEAR(share(usageBytes, bytes), 0.42, 0.05);
  EXPECT_NEAR(share(usageLines, lines_.size()), 0.66, 0.04);
  EXPECT_NEAR(share(usageLines, requests.size()), 2.0, 0.15);
  EXPECT_NEAR(share(bytes, requests.size()), 9100, 1000);
}

TEST_F(CorpusTests, EveryKindOfLineAndSpenderOccurs) {
  std::map<std::string, int> seen;
  std::map<std::string, std::string> firstFile;
  for (const Line& line : lines_) {
    for (const char* text :
         {R"(\"usage\")", "\\u001b[", "größer", "/.claude/worktrees/", R"("type":"summary")",
          R"("type":"system")", "[1m]", R"("agentId":"a)", "-2025"}) {
      seen[text] += line.text.find(text) != std::string::npos ? 1 : 0;
    }
    ++seen[line.path.substr(0, line.path.find('/'))];
    seen["the word without usage"] +=
        !line.hasUsage && line.text.find("\"usage\"") != std::string::npos ? 1 : 0;
    if (!line.hasUsage) continue;
    seen["zero usage"] += line.isZero() ? 1 : 0;
    seen["main"] += line.value.contains("agentId") ? 0 : 1;
    seen["model without a price"] +=
        line.value["message"]["model"].get<std::string>().starts_with("claude-") ? 0 : 1;
    const auto [first, isNew] = firstFile.emplace(line.key(), line.path);
    seen["repeated in a second file"] += first->second != line.path ? 1 : 0;
  }
  for (const auto& [kind, count] : seen) {
    EXPECT_GT(count, 0) << kind;
  }
  int sidecars = 0;
  int damaged = 0;
  for (const auto& [path, content] : filesBelow(root_ / "home")) {
    if (!path.ends_with(".meta.json")) continue;
    const json sidecar = json::parse(content, nullptr, false);
    ++(sidecar.is_object() && sidecar.contains("agentType") ? sidecars : damaged);
  }
  EXPECT_GT(sidecars, damaged);
  EXPECT_GT(damaged, 0);
  EXPECT_TRUE(seen.contains(".claude") && seen.contains(".claude-work"));
  EXPECT_LT(seen["model without a price"], static_cast<int>(summary_.counts.usageLines / 10));
}

TEST_F(CorpusTests, TranscriptsAreInTheFoldersOfTheirSessions) {
  for (const Line& line : lines_) {
    if (line.value["type"] == "summary" || line.value["type"] == "ai-title") continue;
    const fs::path path = line.path;
    const std::string session = line.value["sessionId"];
    if (line.value.contains("agentId")) {
      EXPECT_EQ(path.filename(), "agent-" + line.value["agentId"].get<std::string>() + ".jsonl");
      EXPECT_EQ(path.parent_path().filename(), "subagents");
      EXPECT_EQ(path.parent_path().parent_path().filename(), session);
    } else {
      EXPECT_EQ(path.filename(), session + ".jsonl");
    }
    EXPECT_TRUE(fs::is_directory(line.value["cwd"].get<std::string>())) << line.value["cwd"];
  }
}

}  // namespace
}  // namespace tallyfin::corpus
