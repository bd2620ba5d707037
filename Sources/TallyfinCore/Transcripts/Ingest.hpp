#pragma once

// From a transcript line to a request: the one place that knows the fields of a transcript. A line either
// changes one entry of a map or ends in a counter that says why not; nothing stops a scan.

#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin::Scanner {

/// Feeds one line, without its line feed, of the file at `path` into `records` and `counters`. Never fails.
void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, LineCounters& counters);

/// The same into the counters of a whole scan, which also tell the file of the longest line.
void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, ScanDiagnostics& diagnostics);

}  // namespace tallyfin::Scanner
