#pragma once

// Writes the lines of one transcript: prompts, several lines per request with growing usage, tool results,
// and rarer kinds of lines.

#include "Plan.hpp"
#include "Prose.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin::corpus {

/// Counts of what was written.
struct Counts {
  std::uint64_t lines = 0;
  std::uint64_t usageLines = 0;  ///< lines with `message.usage`
  std::uint64_t usageBytes = 0;  ///< bytes of those lines, including line feeds
  std::uint64_t requests = 0;    ///< requests with non-zero usage

  Counts& operator+=(const Counts& other);
};

/// Appends lines of `transcript`, with the id and branch of `session`, to `out` until they have at least
/// `bytes` bytes. The requests depend only on the transcript, so a resumed session can repeat those of an
/// earlier session.
Counts appendTranscript(std::string& out, const Prose& prose, const Session& session,
                        const Transcript& transcript, std::uint64_t bytes);

}  // namespace tallyfin::corpus
