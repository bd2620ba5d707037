#pragma once

// The thread of one session: its project, who worked in it, and on which days.

#include "TallyfinCore/Answers/Filters.hpp"

#include <memory>
#include <optional>
#include <string>

namespace tallyfin::Answers {

struct SessionQuestion {
  std::string session;  ///< its id, or the beginning of one
  Period period;
};

struct Session {
  InternedText id;
  Period period;
  std::optional<InternedText> project;   ///< that of its last request in the whole history
  std::shared_ptr<const Report> report;  ///< of the session alone, within the period
  Ranking<AgentIdentity> agents;         ///< all that worked in it
  Ranking<InternedText> projects;        ///< those it worked in, the 20 costliest
};

/// Refuses an id that names no session, or several.
Answered<Session> session(DataSource& data, const SessionQuestion& question);

}  // namespace tallyfin::Answers
