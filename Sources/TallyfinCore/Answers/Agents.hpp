#pragma once

// Agents by cost, with what each worked on.

#include "TallyfinCore/Answers/Filters.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tallyfin::Answers {

struct AgentsQuestion {
  Period period;
  Filters filters = {};
  std::int64_t limit = 15;   ///< rows; not negative
  bool includesMain = true;  ///< whether the main session is ranked as well
};

struct AgentRow {
  AgentIdentity agent;
  const Bucket* bucket = nullptr;       ///< points into the report of the answer
  std::optional<InternedText> session;  ///< of its first request in the period
  std::optional<InternedText> project;  ///< of that request
  std::optional<RosterEntry> roster;    ///< what a team's roster says of it
};

struct Agents {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;
  std::vector<AgentRow> rows;
};

Agents agents(DataSource& data, const AgentsQuestion& question);

/// What a team's roster says of an agent, in the session that `report` counts it under.
std::optional<RosterEntry> rosterEntry(const DataSource& data, const Report& report,
                                       const AgentIdentity& agent);

}  // namespace tallyfin::Answers
