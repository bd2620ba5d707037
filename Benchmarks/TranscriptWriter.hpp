#pragma once

// The lines of one transcript: prompts, the several lines of each request with their growing usage, tool
// results, and the rarer lines between them.

#include "Plan.hpp"
#include "Prose.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin::corpus {

/// What was written.
struct Counts {
  std::uint64_t lines = 0;
  std::uint64_t usageLines = 0;  ///< lines with `message.usage`
  std::uint64_t usageBytes = 0;  ///< their bytes, line feeds included
  std::uint64_t requests = 0;    ///< requests with usage above zero

  Counts& operator+=(const Counts& other);
};

/// Appends the lines of `transcript` to `out` until they hold `bytes` bytes or a little more, under the id
/// and branch of `session`. The same transcript gives the same requests under every session, which is how a
/// session that was picked up again comes to repeat them.
Counts appendTranscript(std::string& out, const Prose& prose, const Session& session,
                        const Transcript& transcript, std::uint64_t bytes);

}  // namespace tallyfin::corpus
