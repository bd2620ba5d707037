#pragma once

// Agents by cost, each with its session and project.

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
  bool includesMain = true;  ///< whether to rank the main session too
};

struct AgentRow {
  AgentIdentity agent;
  const Bucket* bucket = nullptr;       ///< belongs to the answer's report
  std::optional<InternedText> session;  ///< of its first request in the period
  std::optional<InternedText> project;  ///< of the same request
  std::optional<RosterEntry> roster;    ///< from a team's roster
};

struct Agents {
  Period period;
  Filters filters;
  std::shared_ptr<const Report> report;
  std::vector<AgentRow> rows;
};

Agents agents(DataSource& data, const AgentsQuestion& question);

/// The roster entry of an agent, for the session to which `report` assigns the agent.
std::optional<RosterEntry> rosterEntry(const DataSource& data, const Report& report,
                                       const AgentIdentity& agent);

}  // namespace tallyfin::Answers
