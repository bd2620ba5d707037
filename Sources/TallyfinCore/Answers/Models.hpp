#pragma once

// Models by cost, each with its agents.

#include "TallyfinCore/Answers/Filters.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace tallyfin::Answers {

struct ModelsQuestion {
  Period period;
  Filters filters = {};
  std::int64_t limit = 50;  ///< rows; not negative
  std::int64_t agents = 3;  ///< agents per row; below 1: none
};

struct ModelRow {
  InternedText model;
  const Bucket* bucket = nullptr;  ///< belongs to the answer's report
  Estimate<double> share;          ///< of all priced dollars, in percent; unknown if nothing has a price
  bool hasPrice = true;            ///< false: its requests are in no cost
  Ranking<AgentIdentity> agents;   ///< the most expensive
};

struct Models {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;
  std::vector<ModelRow> rows;
};

Models models(DataSource& data, const ModelsQuestion& question);

}  // namespace tallyfin::Answers
