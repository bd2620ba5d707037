#pragma once

// The full scan: every transcript read from scratch, for callers that want no cache.

#include "TallyfinCore/Transcripts/Homes.hpp"
#include "TallyfinCore/Transcripts/Ingest.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <vector>

namespace tallyfin {

/// What a scan gave.
struct ScanResult {
  RecordList records;  ///< in listing order of the files, then order of first appearance
  ScanDiagnostics diagnostics;
};

namespace Scanner {

/// What a scan gave, its requests by key.
struct KeyedScan {
  RecordMap records;
  ScanDiagnostics diagnostics;
};

/// Reads every transcript from scratch, on all processors when `parallel`. The result does not depend on the
/// number of threads. `clock` times the scan; `progress`, when given, is told of the reading.
KeyedScan scanKeyed(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock,
                    const ReadProgress& progress = {});

/// The same as a list.
ScanResult scan(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock,
                const ReadProgress& progress = {});

}  // namespace Scanner
}  // namespace tallyfin
