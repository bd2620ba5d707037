#include "TallyfinCore/Figures/FileContributions.hpp"

#include "TallyfinCore/Attribution/Pricing.hpp"

#include <algorithm>
#include <utility>

namespace tallyfin {

FileContributions fileContributions(std::span<const FileProvenance> files, const Calendar& calendar,
                                    std::optional<TimePoint> from, std::optional<TimePoint> to,
                                    const RecordFilter& filter, const PriceList& prices) {
  FileContributions result;
  RecordSelection selection(calendar, from, to, filter);
  Pricing::Pricer pricer(calendar, prices);
  std::vector<std::uint8_t> seen(InternedText::count(), 0);  // by key number: files, at most 2
  for (const FileProvenance& file : files) {
    Bucket bucket;
    for (const auto& [key, record] : file.records().entries()) {
      const TimePoint* const day = selection.day(record);
      if (day == nullptr) {
        continue;
      }
      bucket.add(record, pricer.cost(record, *day));
      std::uint8_t& filesSoFar = seen[key.number()];
      result.distinctRequests += filesSoFar == 0 ? 1 : 0;
      result.sharedRequests += filesSoFar == 1 ? 1 : 0;
      filesSoFar = static_cast<std::uint8_t>(std::min(filesSoFar + 1, 2));
    }
    if (bucket.requests > 0) {
      result.files.push_back({file, std::move(bucket)});
    }
  }
  std::stable_sort(result.files.begin(), result.files.end(),
                   [](const FileContribution& left, const FileContribution& right) {
                     return left.bucket.cost.priced > right.bucket.cost.priced;
                   });
  return result;
}

}  // namespace tallyfin
