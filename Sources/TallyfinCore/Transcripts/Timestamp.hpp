#pragma once

// Parses the time stamps of transcripts: RFC 3339, with the deviations that occur in transcripts. A missing
// zone means UTC, never local time.
//
//   Timestamp::parse("2026-01-02T03:04:05.5+01:30")  // 01:34:05.5 UTC
//   Timestamp::parse("2025-02-31T00:00:00Z")         // 2025-03-03: a day may lie beyond its month
//   Timestamp::parse("2026-01-02T24:00:00Z")         // absent

#include "Platform/TimePoint.hpp"

#include <optional>
#include <string_view>

namespace tallyfin::Timestamp {

/// Parses YYYY-MM-DD, "T" or a blank, hh:mm:ss, an optional fraction and an optional zone. Seconds may be 0
/// to 61. Absent if the form or a range is violated. Text after the zone is ignored.
std::optional<TimePoint> parse(std::string_view text);

}  // namespace tallyfin::Timestamp
