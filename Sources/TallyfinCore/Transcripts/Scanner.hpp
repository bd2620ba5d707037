#pragma once

// From transcript lines to requests: the one place that knows the fields of a transcript. A line either
// changes one entry of a map or ends in a counter that says why not; nothing stops a scan.

#include "TallyfinCore/Transcripts/Homes.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// What a scan gave.
struct ScanResult {
  std::vector<UsageRecord> records;  ///< in listing order of the files, then order of first appearance
  ScanDiagnostics diagnostics;
};

namespace Scanner {

/// Feeds one line, without its line feed, into `records` and `diagnostics`. Never fails.
void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, ScanDiagnostics& diagnostics);

/// What a scan gave, its requests by key.
struct KeyedScan {
  RecordMap records;
  ScanDiagnostics diagnostics;
};

/// Reads every transcript from scratch, on all processors when `parallel`. The result does not depend on the
/// number of threads. `clock` times the scan.
KeyedScan scanKeyed(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock);

/// The same as a list.
ScanResult scan(const std::vector<SourceHome>& homes, bool parallel, const Clock& clock);

/// Unifies two copies of a request: the one with the lower rank describes it, `stored` when both are equal;
/// each count is the higher one, the time the earlier.
void unify(UsageRecord& stored, const UsageRecord& incoming);

}  // namespace Scanner
}  // namespace tallyfin
