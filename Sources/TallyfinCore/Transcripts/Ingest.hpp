#pragma once

// Turns transcript lines into requests. Only this unit knows the fields of a transcript. Each line either
// changes one entry of a RecordMap or increments the counter of its reason; no line stops a scan.

#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin::Scanner {

/// Adds one line of the file at `path`, without its line feed, to `records` and `counters`. Never fails.
void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, LineCounters& counters);

/// As above, with the counters of a whole scan, which also record the file of the longest line.
void ingest(std::string_view line, const std::string& path, InternedText home, std::int64_t rank,
            RecordMap& records, ScanDiagnostics& diagnostics);

}  // namespace tallyfin::Scanner
