// Benchmarks of the hot paths, over a small generated corpus. Figures depend on the machine and its load, so
// use them only to compare two versions on one machine, one directly after the other.
//
//   build/release/Benchmarks/MicroBenchmarks --benchmark_filter=Ingest

#include "Corpus.hpp"
#include "Platform/ByteSearch.hpp"
#include "Platform/Files.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Transcripts/LineReader.hpp"
#include "TallyfinCore/Transcripts/Timestamp.hpp"
#include "TallyfinCore/Transcripts/UnifiedRequests.hpp"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace tallyfin;

TimePoint stopped() {
  return {};
}

// A corpus of 32 MB in a temporary folder, and the inputs of the benchmarks.
class Fixture {
 public:
  Fixture() {
    std::string folder = std::filesystem::temp_directory_path() / "tallyfin-micro-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) std::abort();
    folder_ = folder;
    corpus::Options options;
    options.out = folder_ / "home";
    options.bytes = 32'000'000;
    options.now = 1'782'842'400'000;  // 2026-06-30, 18:00 UTC
    options.sources = "/home/dev/src";
    corpus::writeCorpus(options);
    homes_ = SourceHome::defaults(options.out);
    ScanDiagnostics diagnostics;
    files_ = Scanner::listing(homes_, diagnostics);
    for (const TranscriptFile& file : files_) {
      bytes_ += Files::contents(file.path, std::uint64_t{1} << 30).value().bytes();
    }
    for (std::size_t at = 0; at < bytes_.size();) {
      const std::size_t end = bytes_.find('\n', at);
      lines_.emplace_back(bytes_.data() + at, end - at);
      at = end + 1;
    }
    cache_.refresh(homes_, stopped);
  }
  ~Fixture() { std::filesystem::remove_all(folder_); }
  Fixture(const Fixture&) = delete;
  Fixture& operator=(const Fixture&) = delete;

  const std::vector<SourceHome>& homes() const { return homes_; }
  const std::vector<TranscriptFile>& files() const { return files_; }
  const std::vector<std::string_view>& lines() const { return lines_; }
  ScanCache& cache() { return cache_; }

  void report(benchmark::State& state) const {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes_.size()));
  }

 private:
  std::filesystem::path folder_;
  std::vector<SourceHome> homes_;
  std::vector<TranscriptFile> files_;
  std::string bytes_;
  std::vector<std::string_view> lines_;
  ScanCache cache_{(std::filesystem::temp_directory_path() / "tallyfin-micro.bin").string()};
};

Fixture& fixture() {
  static Fixture instance;
  return instance;
}

void LineReading(benchmark::State& state) {
  std::size_t length = 0;
  for (auto _ : state) {
    for (const TranscriptFile& file : fixture().files()) {
      LineReader::forEachLine(file.path, 0, std::nullopt,
                              [&](std::string_view line) { length += line.size(); });
    }
  }
  benchmark::DoNotOptimize(length);
  fixture().report(state);
}

void Prefilter(benchmark::State& state) {
  std::int64_t found = 0;
  for (auto _ : state) {
    for (const std::string_view line : fixture().lines()) found += containsBytes(line, "\"usage\"") ? 1 : 0;
  }
  benchmark::DoNotOptimize(found);
  fixture().report(state);
}

void Ingest(benchmark::State& state) {
  const InternedText home(".claude");
  for (auto _ : state) {
    RecordMap records;
    ScanDiagnostics diagnostics;
    for (const std::string_view line : fixture().lines())
      Scanner::ingest(line, "p", home, 0, records, diagnostics);
    benchmark::DoNotOptimize(records.size());
  }
  fixture().report(state);
}

void TimeStamps(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(Timestamp::parse("2026-05-04T10:20:30.123Z"));
}

void Unify(benchmark::State& state) {
  const auto files = fixture().cache().recordsPerFile();
  for (auto _ : state) {
    UnifiedRequests requests;
    for (const FileProvenance& file : files) requests.add(recordsOf(file.state));
    benchmark::DoNotOptimize(requests.size());
  }
}

void Refresh(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(fixture().cache().refresh(fixture().homes(), stopped).stats.filesTotal);
}

void Aggregate(benchmark::State& state) {
  const auto records = fixture().cache().refresh(fixture().homes(), stopped).result.records;
  const Aggregator aggregator(Calendar::utc(), ProjectResolver("/home/dev", false));
  for (auto _ : state) {
    benchmark::DoNotOptimize(aggregator.aggregate(records, {}, {}, {}, false).total.requests);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(records.size()));
}

void CacheSave(benchmark::State& state) {
  for (auto _ : state) fixture().cache().save();
}

void CacheLoad(benchmark::State& state) {
  fixture().cache().save();
  for (auto _ : state) {
    ScanCache loaded(fixture().cache().cachePath());
    benchmark::DoNotOptimize(loaded.load());
  }
}

BENCHMARK(LineReading);
BENCHMARK(Prefilter);
BENCHMARK(Ingest);
BENCHMARK(TimeStamps);
BENCHMARK(Unify);
BENCHMARK(Refresh);
BENCHMARK(Aggregate);
BENCHMARK(CacheSave);
BENCHMARK(CacheLoad);

}  // namespace

BENCHMARK_MAIN();
