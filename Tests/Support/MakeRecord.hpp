#pragma once

// Short forms for the records that tests of figures use.
//
//   const UsageRecord record = make({.at = "2026-03-01T12:00:00Z", .output = kDollar});

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/Timestamp.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin {

/// This many output tokens of claude-opus-5, the default model here, cost one dollar.
inline constexpr std::int64_t kDollar = 40'000;

/// The members that a test sets; the others have ordinary values.
struct RecordParts {
  std::string_view at = "2026-03-10T08:00:00Z";
  std::string_view model = "claude-opus-5";
  std::string_view session = "session-1";
  std::string_view cwd = "/home/ada/alpha";
  std::string_view agentId = {};
  std::string_view home = ".claude";
  bool assumed = false;
  std::int64_t input = 0;
  std::int64_t output = 0;
  std::int64_t cacheWrite5m = 0;
  std::int64_t cacheWrite1h = 0;
  std::int64_t cacheRead = 0;
  std::int64_t webSearch = 0;
  std::int64_t webFetch = 0;
};

/// The moment of a time stamp; throws if it is invalid.
inline TimePoint at(std::string_view stamp) {
  return Timestamp::parse(stamp).value();
}

/// The calendar of a zone; throws if there is none.
inline Calendar zone(const std::string& name) {
  return Calendar::named(name).value();
}

inline UsageRecord make(const RecordParts& parts) {
  UsageRecord record;
  record.timestamp = at(parts.at);
  record.model = InternedText(parts.model);
  record.sessionId = InternedText(parts.session);
  record.rawCwd = InternedText(parts.cwd);
  record.agent = AgentIdentity::parse(InternedText(parts.agentId));
  record.sourceHome = InternedText(parts.home);
  record.cacheWriteBreakdownAssumed = parts.assumed;
  record.input = parts.input;
  record.output = parts.output;
  record.cacheWrite5m = parts.cacheWrite5m;
  record.cacheWrite1h = parts.cacheWrite1h;
  record.cacheRead = parts.cacheRead;
  record.webSearch = parts.webSearch;
  record.webFetch = parts.webFetch;
  return record;
}

}  // namespace tallyfin
