#pragma once

// Models by cost, with the agents that used each.

#include "TallyfinCore/Answers/Filters.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace tallyfin::Answers {

struct ModelsQuestion {
  Period period;
  Filters filters = {};
  std::int64_t limit = 50;  ///< rows; not negative
  std::int64_t agents = 3;  ///< agents a row; below 1: none
};

struct ModelRow {
  InternedText model;
  const Bucket* bucket = nullptr;  ///< points into the report of the answer
  Estimate<double> share;          ///< of all priced dollars, in percent; unknown when nothing has a price
  bool hasPrice = true;            ///< false: none of its cost is in any figure
  Ranking<AgentIdentity> agents;   ///< the costliest
};

struct Models {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;
  std::vector<ModelRow> rows;
};

Models models(DataSource& data, const ModelsQuestion& question);

}  // namespace tallyfin::Answers
