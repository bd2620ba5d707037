#pragma once

// Projects by cost, each with its agents.

#include "TallyfinCore/Answers/Filters.hpp"

#include <cstdint>
#include <memory>
#include <vector>

namespace tallyfin::Answers {

struct ProjectsQuestion {
  Period period;
  Filters filters = {};
  std::int64_t limit = 10;  ///< rows; not negative
  std::int64_t agents = 3;  ///< agents per row; below 1: none
};

struct ProjectRow {
  InternedText project;
  const Bucket* bucket = nullptr;  ///< belongs to the answer's report
  ProvenanceSet labelReasons;      ///< how the label was found
  Ranking<AgentIdentity> agents;   ///< the most expensive
  std::int64_t moreAgents = 0;     ///< agents not in `agents`
};

struct Projects {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;
  std::vector<ProjectRow> rows;
};

Projects projects(DataSource& data, const ProjectsQuestion& question);

}  // namespace tallyfin::Answers
