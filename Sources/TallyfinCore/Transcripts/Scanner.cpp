#include "TallyfinCore/Transcripts/Scanner.hpp"

#include "Platform/Parallel.hpp"
#include "TallyfinCore/Transcripts/UnifiedRequests.hpp"

#include <algorithm>
#include <utility>

namespace tallyfin::Scanner {
namespace {

// Reads all transcripts and unifies their requests.
UnifiedRequests readAll(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock,
                        const ReadProgress& progress, ScanDiagnostics& diagnostics) {
  const TimePoint start = clock();
  const std::size_t threads = parallel ? processors() : 1;
  const std::vector<TranscriptFile> files = listing(homes, diagnostics, threads);
  std::vector<FileReading> readings = readingsOf(files);
  read(readings, threads, progress);

  for (FileReading& reading : readings) {
    reading.hasFailed = reading.hasFailed || reading.now == nullptr;
  }
  UnifiedRequests requests = unified(readings, diagnostics);
  diagnostics.duration = std::max(0.0, clock().seconds - start.seconds);
  return requests;
}

}  // namespace

KeyedScan scanKeyed(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock,
                    const ReadProgress& progress) {
  KeyedScan result;
  const UnifiedRequests requests = readAll(homes, parallel, clock, progress, result.diagnostics);
  result.records.reserve(requests.size());
  for (const RecordMap::Entry* const entry : requests.entries()) {
    result.records.append(entry->key, entry->record);
  }
  return result;
}

ScanResult scan(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock,
                const ReadProgress& progress) {
  ScanResult result;
  result.records = readAll(homes, parallel, clock, progress, result.diagnostics).takeRecords();
  return result;
}

}  // namespace tallyfin::Scanner
