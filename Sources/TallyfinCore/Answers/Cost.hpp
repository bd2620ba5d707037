#pragma once

// The cost of a period along one axis.

#include "TallyfinCore/Answers/Filters.hpp"
#include "TallyfinCore/Figures/Axes.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tallyfin::Answers {

struct CostQuestion {
  Period period;
  Filters filters = {};
  Axis axis = Axis::day;
  std::optional<std::int64_t> limit = {};  ///< rows of a ranked axis; not negative
};

struct Cost {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;  ///< has the axis and the agents; owns the buckets of the rows
  std::vector<Entry> rows;               ///< in the axis's order: by time, or by cost
};

Cost cost(DataSource& data, const CostQuestion& question);

}  // namespace tallyfin::Answers
