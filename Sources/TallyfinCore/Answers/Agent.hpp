#pragma once

// The history of one agent: its days, sessions and projects, and its roster entry.

#include "TallyfinCore/Answers/Filters.hpp"

#include <memory>
#include <optional>
#include <string>

namespace tallyfin::Answers {

struct AgentQuestion {
  std::string agent;  ///< name, id, part of the name, beginning of the id, or "main"
  Period period;
};

struct Agent {
  AgentIdentity agent;
  Period period;
  std::shared_ptr<const Report> report;  ///< only this agent's requests, within the period
  std::optional<RosterEntry> roster;
  Ranking<InternedText> sessions;  ///< the 20 most expensive
  Ranking<InternedText> projects;  ///< the 20 most expensive
};

/// Refuses a name that matches no agent, or several.
Answered<Agent> agent(DataSource& data, const AgentQuestion& question);

}  // namespace tallyfin::Answers
