#pragma once

// The small history that the exports are tested on: two days in Berlin, two sessions, three agents, a model
// without a price, a request without a directory.

#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Exports/Exporter.hpp"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

inline const UsageRecord firstRequest = make({.at = "2026-05-03T21:30:00Z",
                                              .input = 1'000,
                                              .output = kDollar,
                                              .cacheWrite5m = 2'000,
                                              .cacheWrite1h = 100,
                                              .cacheRead = 10'000,
                                              .webSearch = 2,
                                              .webFetch = 1});  // 1.0435 dollars
inline const UsageRecord reviewRequest = make({.at = "2026-05-03T22:15:00Z",
                                               .agentId = "areviewer-0123456789abcdef",
                                               .assumed = true,
                                               .output = 2 * kDollar});
inline const UsageRecord unpricedRequest = make({.at = "2026-05-04T08:00:00Z",
                                                 .model = "mystery",
                                                 .session = "session-2",
                                                 .cwd = "/home/ada/beta, old",
                                                 .agentId = "afb12",
                                                 .home = ".claude-work",
                                                 .output = 500});
inline const UsageRecord lostRequest = make({.at = "2026-05-04T08:30:00Z",
                                             .session = "session-2",
                                             .cwd = "",
                                             .home = ".claude-work",
                                             .output = kDollar});

inline Report reportOf(const std::vector<UsageRecord>& records, bool includeHours = true,
                       const ScanDiagnostics& diagnostics = {}) {
  return Aggregator(zone("Europe/Berlin"), ProjectResolver("/home/ada", false))
      .aggregate(records, {}, {}, diagnostics, includeHours);
}

inline Report smallReport(bool includeHours = true, const ScanDiagnostics& diagnostics = {}) {
  return reportOf({firstRequest, reviewRequest, unpricedRequest, lostRequest}, includeHours, diagnostics);
}

inline Exporter::Options berlin() {
  return {.generatedAt = at("2026-05-04T15:42:10Z"), .calendar = zone("Europe/Berlin")};
}

/// A scan that lost a little of everything.
inline ScanDiagnostics lossyScan() {
  ScanDiagnostics seen;
  seen.filesScanned = 4;
  seen.filesUnreadable = {"/logs/z.jsonl", "/logs/a, b.jsonl"};
  seen.bytesRead = 1'234'567;
  seen.usageLinesSeen = 25;
  seen.linesRejectedInvalidJSON = 1;
  seen.linesRejectedNoMessage = 2;
  seen.linesNotUsageBearing = 5;
  seen.linesRejectedNoTimestamp = 3;
  seen.linesRejectedNoIdentity = 4;
  seen.linesSkippedZeroUsage = 6;
  seen.longestLineBytes = 777;
  seen.longestLinePath = "/logs/long.jsonl";
  seen.uniqueRequests = 4;
  seen.duration = 0.25;
  seen.perHome = {{".claude", 3}};
  return seen;
}

/// A file that holds these requests.
inline FileProvenance sourceFile(std::string path, std::int64_t usageLines,
                                 const std::vector<std::pair<std::string_view, UsageRecord>>& requests) {
  auto state = std::make_shared<FileState>();
  state->diag.usageLines = usageLines;
  for (const auto& [key, record] : requests) {
    state->records.insert(InternedText(key), record);
  }
  return {std::move(path), std::move(state)};
}

}  // namespace tallyfin
