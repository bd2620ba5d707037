#pragma once

// Finds the files behind a figure. A report keeps no file names, so this reads the records of each file
// again. Requests are not deduplicated across files: a request in two files counts in both, and
// `sharedRequests` counts such requests.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Figures/RecordSelection.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tallyfin {

/// A file with at least one counted request, and the sum of its counted requests.
struct FileContribution {
  FileProvenance file;
  Bucket bucket;
};

/// The files behind a figure.
struct FileContributions {
  std::vector<FileContribution> files;  ///< highest priced cost first; equal costs in the order given
  std::int64_t distinctRequests = 0;    ///< counted requests found in at least one file
  std::int64_t sharedRequests = 0;      ///< counted requests found in more than one file
};

/// Sums, for each file, the records that a report with the same range and filter would count.
FileContributions fileContributions(std::span<const FileProvenance> files, const Calendar& calendar,
                                    std::optional<TimePoint> from, std::optional<TimePoint> to,
                                    const RecordFilter& filter,
                                    const PriceList& prices = PriceList::builtIn());

}  // namespace tallyfin
