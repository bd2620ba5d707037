#include "TallyfinCore/Exports/Options.hpp"

#include <algorithm>

namespace tallyfin::Exporter {

std::span<const Entry> limited(std::span<const Entry> entries, const Options& options) {
  const auto limit = static_cast<std::uint64_t>(std::max<std::int64_t>(options.limitPerAxis.value_or(0), 0));
  return options.limitPerAxis && limit < entries.size() ? entries.first(limit) : entries;
}

}  // namespace tallyfin::Exporter
