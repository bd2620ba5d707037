#pragma once

// Time stamps of transcripts, by byte arithmetic: the shape of RFC 3339 with the liberties that transcripts
// take. No zone means UTC, never local time.
//
//   Timestamp::parse("2026-01-02T03:04:05.5+01:30")  // 01:34:05.5 UTC
//   Timestamp::parse("2025-02-31T00:00:00Z")         // 2025-03-03: a day may lie beyond its month
//   Timestamp::parse("2026-01-02T24:00:00Z")         // absent

#include "Platform/TimePoint.hpp"

#include <optional>
#include <string_view>

namespace tallyfin::Timestamp {

/// The moment that `text` names: YYYY-MM-DD, "T" or a blank, hh:mm:ss, then optionally a fraction and a zone.
/// Seconds run to 61. Absent when the shape or a range does not hold; whatever follows the zone is not looked
/// at.
std::optional<TimePoint> parse(std::string_view text);

}  // namespace tallyfin::Timestamp
