#pragma once

// Writes a planned corpus to disk: homes with transcripts and rosters, and the projects' repositories.

#include "Plan.hpp"
#include "TranscriptWriter.hpp"

#include <cstdint>

namespace tallyfin::corpus {

/// What a corpus turned out to be.
struct Summary {
  Counts counts;            ///< `requests` counts a repeated one once
  std::uint64_t files = 0;  ///< transcripts
  std::uint64_t bytes = 0;  ///< theirs
};

/// Makes the corpus under `options.out`, which must not exist or be empty. Throws std::runtime_error or
/// std::filesystem::filesystem_error when something cannot be written.
Summary writeCorpus(const Options& options);

}  // namespace tallyfin::corpus
