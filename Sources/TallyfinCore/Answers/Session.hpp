#pragma once

// The history of one session: its project, its agents and its days.

#include "TallyfinCore/Answers/Filters.hpp"

#include <memory>
#include <optional>
#include <string>

namespace tallyfin::Answers {

struct SessionQuestion {
  std::string session;  ///< its id or the beginning of it
  Period period;
};

struct Session {
  InternedText id;
  Period period;
  std::optional<InternedText> project;   ///< of its last request in the whole history
  std::shared_ptr<const Report> report;  ///< only this session's requests, within the period
  Ranking<AgentIdentity> agents;         ///< every agent of the session
  Ranking<InternedText> projects;        ///< its 20 most expensive projects
};

/// Refuses an id that matches no session, or several.
Answered<Session> session(DataSource& data, const SessionQuestion& question);

}  // namespace tallyfin::Answers
