// How an application embeds the core. The README quotes the first part between the marks, and
// docs/EMBEDDING.md the other parts; a test compares them.

// [example]
#include "TallyfinCore/Cache/CacheFile.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

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

// [example]
#include "TallyfinCore/Figures/DateRange.hpp"

// Prints what the days that a person picked cost, and how much of their tokens came from the cache.
void printPicked(std::string_view picked, const tallyfin::ScanResult& scan,
                 const tallyfin::Environment& machine) {
  using namespace tallyfin;
  const Aggregator aggregator(machine.calendar, ProjectResolver(machine.home, true));
  const TimePoint now = machine.now();
  for (const RangePreset preset : pickableRangePresets) {
    std::cout << (rawValue(preset) == picked ? "> " : "  ") << label(preset) << "\n";
  }
  const RangeSelection selection(rangePreset(picked).value_or(RangePreset::thisMonth), {}, {}, now,
                                 machine.calendar);
  const DateRange days = selection.resolved(now, machine.calendar);  // anew each day: months move on
  const Bucket total = report(aggregator, scan.records, selection, now, scan.diagnostics).total;
  std::cout << days.title(machine.calendar) << ": " << total.cost.formatted();
  if (const Estimate<double> share = total.share(&Bucket::cacheRead); share.isKnown()) {
    std::cout << ", " << *share.value() << " % of the tokens read from the cache";
  }
  std::cout << "\n";
}
// [example]

// [example]
// Tells whether the cache holds what the transcripts say, and drops it if not.
void checkCache(tallyfin::ScanCache& cache, const tallyfin::Environment& machine) {
  using namespace tallyfin;
  const VerificationResult found =
      cache.verifyAgainstFullScan(sourceHomes(machine), machine.calendar, machine.now);
  std::cout << found.summary() << "\n"
            << found.cachedRequests << " requests known, " << found.freshRequests << " found, "
            << CostEstimate::money(found.freshCost - found.cachedCost) << " apart\n";
  if (!found.isClean()) {
    cache.clear();  // the next refresh reads everything; `lastVerification` is absent again
  }
}
// [example]

// [example]
#include "TallyfinCore/Attribution/Pricing.hpp"
#include "TallyfinCore/Transcripts/LineReader.hpp"
#include "TallyfinCore/Transcripts/Scanner.hpp"

// Prints the cost of each request in any folder of transcripts, without a cache.
void printRequests(const std::string& folder, const tallyfin::Calendar& calendar) {
  using namespace tallyfin;
  RecordMap requests;
  ScanDiagnostics seen;
  std::int64_t rank = 0;
  for (const std::string& path : Scanner::jsonlFiles(folder).value_or(std::vector<std::string>())) {
    LineReader::forEachLine(path, 0, {}, [&](std::string_view line) {  // throws ReadError
      Scanner::ingest(line, path, InternedText("elsewhere"), rank, requests, seen);
    });
    ++rank;
  }
  for (const auto& [key, record] : requests.entries()) {
    const Estimate<Prices> prices =
        Pricing::prices(record.model, calendar.startOfDay(record.timestamp), calendar);
    std::cout << key.text() << "  "
              << (prices.isKnown() ? CostEstimate::money(Pricing::cost(record, *prices.value()))
                                   : prices.reason()->text())
              << "\n";
  }
  std::cout << seen.totalRejected() << " lines lost\n";
}

// Adds what a scan of other homes, such as those of a second disk, saw and lost to `seen`.
void addScan(const std::vector<tallyfin::SourceHome>& homes, const tallyfin::Environment& machine,
             tallyfin::ScanDiagnostics& seen) {
  const tallyfin::Scanner::KeyedScan other = tallyfin::Scanner::scanKeyed(homes, true, machine.now);
  seen.merge(other.diagnostics);
  seen.uniqueRequests += static_cast<std::int64_t>(other.records.size());
}
// [example]

// [example]
#include "TallyfinCore/Exports/BreakdownCSV.hpp"
#include "TallyfinCore/Exports/FileNames.hpp"

#include <fstream>

// Writes the table of each axis that has rows into a folder.
void writeTables(const tallyfin::Report& report, const std::string& folder,
                 const tallyfin::Exporter::Options& options) {
  using namespace tallyfin;
  for (const auto& [axis, csv] : Exporter::allBreakdownCSVs(report, options)) {
    const std::string name = Exporter::suggestedFileName(Exporter::Document::breakdown(axis), options);
    std::ofstream(folder + "/" + name) << csv;
  }
}
// [example]

#include "Support/Machine.hpp"
#include "Support/UsageLine.hpp"

#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tallyfin {
namespace {

std::string contentsOf(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

template <typename F>
std::string printedBy(F&& example) {
  testing::internal::CaptureStdout();
  example();
  return testing::internal::GetCapturedStdout();
}

TEST(EmbeddingExample, PrintsAndWritesWhatItSays) {
  const Machine machine({2026, 5, 4}, 12, 0);
  const Environment environment = machine.environment();
  const UsageLine line{.id = "a", .time = "2026-04-05T10:00:00Z", .output = 40'000, .cacheRead = 40'000};
  machine.home.write(".claude/projects/p/one.jsonl", line.text() + "{\"usage\"\n");
  EXPECT_EQ(printedBy([&] { printProjects(environment); }), "/nowhere/alpha  $1.02\n");

  const ScanResult scan = Scanner::scan(sourceHomes(environment), false, environment.now);
  EXPECT_EQ(printedBy([&] { printPicked("lastMonth", scan, environment); }),
            "  This month\n> Last month\n  Last 7 days\n  Last 30 days\n  Year to date\n  Custom range\n"
            "April 2026: $1.02, 50 % of the tokens read from the cache\n");

  ScanCache cache(CacheFile::pathFor(environment));
  ASSERT_TRUE(cache.load());
  EXPECT_EQ(printedBy([&] { checkCache(cache, environment); }),
            "divergence 0 — the cache matches a full scan exactly (1 request verified)\n"
            "1 requests known, 1 found, $0.00 apart\n");
  machine.home.write(".claude/projects/p/one.jsonl", std::string(line.text().size(), ' ') + "{\"usage\"\n");
  EXPECT_THAT(printedBy([&] { checkCache(cache, environment); }), testing::StartsWith("DIVERGENCE"));
  EXPECT_FALSE(cache.lastVerification());

  const std::string folder = machine.home.path("copies");
  machine.home.write("copies/deep/two.jsonl", line.text() + "{\"usage\"\n");
  EXPECT_EQ(printedBy([&] { printRequests(folder, machine.calendar); }), "a:r-a  $1.02\n1 lines lost\n");
  EXPECT_EQ(Pricing::webFetchCost().reason()->kind(), UnknownReason::Kind::notMetered);
  ScanDiagnostics seen = scan.diagnostics;
  addScan({SourceHome(".claude", machine.home.path())}, environment, seen);
  EXPECT_EQ(seen.filesScanned, 2);
  EXPECT_EQ(seen.perHome[".claude"], 2);
  EXPECT_EQ(seen.totalRejected(), 2);
  EXPECT_EQ(seen.uniqueRequests, 1);

  const Aggregator aggregator(machine.calendar, ProjectResolver(machine.home.path(), true));
  writeTables(aggregator.aggregate(scan.records, {}, {}, scan.diagnostics, false), folder,
              {.periodLabel = "All", .generatedAt = environment.now(), .calendar = machine.calendar});
  EXPECT_THAT(contentsOf(folder + "/tallyfin-project-all.csv"), testing::HasSubstr("/nowhere/alpha"));
}

TEST(EmbeddingExample, EqualsTheDocument) {
  const std::string root = TALLYFIN_SOURCE;
  const std::string source = contentsOf(root + "/Tests/Command/EmbeddingExample.cpp");
  const std::string document = contentsOf(root + "/docs/EMBEDDING.md");
  const std::string mark = "// [example]\n";
  int count = 0;
  for (std::size_t begin = source.find(mark); begin != std::string::npos; ++count) {
    const std::size_t end = source.find(mark, begin + mark.size());
    EXPECT_THAT(document,
                testing::HasSubstr("```cpp\n" +
                                   source.substr(begin + mark.size(), end - begin - mark.size()) + "```\n"));
    begin = source.find("\n" + mark, end + mark.size());
    begin += begin == std::string::npos ? 0 : 1;
  }
  EXPECT_EQ(count, 5);
}

}  // namespace
}  // namespace tallyfin
