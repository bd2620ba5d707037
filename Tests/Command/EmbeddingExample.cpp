// How an application embeds the core: the README shows the lines between the two marks, and a test holds them
// equal.

// [example]
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Exports/Exporter.hpp"

#include <iostream>

// Prints what each project cost, of all history.
void printProjects(const tallyfin::Environment& machine) {  // in an application: Environment::ofProcess()
  using namespace tallyfin;
  const std::string path = CacheFile::pathFor(machine);
  CacheFile::makeFolderOf(path);
  ScanCache cache(path);
  cache.load();
  const auto [scan, stats] = cache.refresh(sourceHomes(machine), machine.now);
  cache.save();  // throws std::system_error where it cannot write

  const Aggregator aggregator(machine.calendar, ProjectResolver(machine.home, true));
  const Report report = aggregator.aggregate(scan.records, {}, {}, scan.diagnostics, false);
  for (const auto& [project, bucket] : report.topProjects(10)) {
    std::cout << project.text() << "  " << bucket->cost.formatted() << "\n";
  }
}
// [example]

#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"

#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

std::string contentsOf(const char* path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

TEST(EmbeddingExample, PrintsProjects) {
  const Machine machine({2026, 5, 4}, 12, 0);
  machine.home.write(".claude/projects/p/one.jsonl",
                     UsageLine{.id = "a", .time = "2026-05-04T10:00:00Z", .output = 40'000}.text());
  testing::internal::CaptureStdout();
  printProjects(machine.environment());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "/nowhere/alpha  $1.00\n");
}

TEST(EmbeddingExample, StandsInTheReadme) {
  const std::string source = contentsOf(TALLYFIN_SOURCE "/Tests/Command/EmbeddingExample.cpp");
  const std::string mark = "// [example]\n";
  const std::size_t begin = source.find(mark) + mark.size();
  const std::string example = source.substr(begin, source.find(mark, begin) - begin);
  EXPECT_THAT(contentsOf(TALLYFIN_SOURCE "/README.md"), testing::HasSubstr("```cpp\n" + example + "```\n"));
}

}  // namespace
}  // namespace tallyfin
