#pragma once

// Which files a figure comes from, worked out anew from what each file holds, since a report keeps no file
// names. Files are not unified with each other here: a request that stands in two of them counts in both, and
// how often that happened is told beside the files.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"
#include "TallyfinCore/Figures/RecordSelection.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tallyfin {

/// A file with at least one request that counts, and the sum of these.
struct FileContribution {
  FileProvenance file;
  Bucket bucket;
};

/// The files behind a figure.
struct FileContributions {
  std::vector<FileContribution> files;  ///< highest priced cost first; of equal cost in the order given
  std::int64_t distinctRequests = 0;    ///< that count and stand in any file
  std::int64_t sharedRequests = 0;      ///< of these, in more than one
};

/// For each file, sums those of its records that a report with the same range and filter counts.
FileContributions fileContributions(std::span<const FileProvenance> files, const Calendar& calendar,
                                    std::optional<TimePoint> from, std::optional<TimePoint> to,
                                    const RecordFilter& filter,
                                    const PriceList& prices = PriceList::builtIn());

}  // namespace tallyfin
