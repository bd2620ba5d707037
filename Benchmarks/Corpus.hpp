#pragma once

// Writes a planned corpus to disk: homes with transcripts, sidecars and rosters, and the repositories of the
// projects.

#include "Plan.hpp"
#include "TranscriptWriter.hpp"

#include <cstdint>

namespace tallyfin::corpus {

/// The size of a finished corpus.
struct Summary {
  Counts counts;            ///< `requests` counts repeated requests once
  std::uint64_t files = 0;  ///< transcripts
  std::uint64_t bytes = 0;  ///< bytes of the transcripts
};

/// Writes the corpus to `options.out`, which must be empty or not exist. Throws std::runtime_error or
/// std::filesystem::filesystem_error if something cannot be written.
Summary writeCorpus(const Options& options);

}  // namespace tallyfin::corpus
