#pragma once

// Projects by cost, with the agents behind each.

#include "TallyfinCore/Answers/Filters.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace tallyfin::Answers {

struct ProjectsQuestion {
  Period period;
  Filters filters = {};
  std::int64_t limit = 10;  ///< rows; not negative
  std::int64_t agents = 3;  ///< agents a row; below 1: none
};

struct ProjectRow {
  InternedText project;
  const Bucket* bucket = nullptr;  ///< points into the report of the answer
  ProvenanceSet labelReasons;      ///< how the label was reached
  Ranking<AgentIdentity> agents;   ///< the costliest
  std::int64_t moreAgents = 0;     ///< how many more there are
};

struct Projects {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;
  std::vector<ProjectRow> rows;
};

Projects projects(DataSource& data, const ProjectsQuestion& question);

}  // namespace tallyfin::Answers
