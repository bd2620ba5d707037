#pragma once

// The thread of one agent: its days, sessions and projects, and what a roster says of it.

#include "TallyfinCore/Answers/Filters.hpp"

#include <memory>
#include <optional>
#include <string>

namespace tallyfin::Answers {

struct AgentQuestion {
  std::string agent;  ///< its name, its id, a part of the name or the beginning of the id, or "main"
  Period period;
};

struct Agent {
  AgentIdentity agent;
  Period period;
  std::shared_ptr<const Report> report;  ///< of the agent alone, within the period
  std::optional<RosterEntry> roster;
  Ranking<InternedText> sessions;  ///< the 20 costliest
  Ranking<InternedText> projects;  ///< the 20 costliest
};

/// Refuses a name that means no agent, or several.
Answered<Agent> agent(DataSource& data, const AgentQuestion& question);

}  // namespace tallyfin::Answers
