#pragma once

// The full scan: reads every transcript from the start, for callers without a cache.

#include "TallyfinCore/Transcripts/Homes.hpp"
#include "TallyfinCore/Transcripts/Ingest.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <vector>

namespace tallyfin {

/// The result of a scan.
struct ScanResult {
  RecordList records;  ///< in listing order of the files, then in order of first appearance
  ScanDiagnostics diagnostics;
};

namespace Scanner {

/// The result of a scan, with its requests by key.
struct KeyedScan {
  RecordMap records;
  ScanDiagnostics diagnostics;
};

/// Reads every transcript from the start, on all processors if `parallel`. The result does not depend on the
/// number of threads. `clock` measures the duration; `progress` is called during reading, if given.
KeyedScan scanKeyed(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock,
                    const ReadProgress& progress = {});

/// As `scanKeyed`, with the requests as a list.
ScanResult scan(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock,
                const ReadProgress& progress = {});

}  // namespace Scanner
}  // namespace tallyfin
