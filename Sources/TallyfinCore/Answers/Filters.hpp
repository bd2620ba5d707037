#pragma once

// Narrows a question to one agent or one kind of agents, one project or one session.

#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinCore/Answers/Refusal.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

/// Names or parts of names, as the user typed them. An empty text counts as absent.
struct FilterWords {
  std::optional<std::string> agent;
  std::optional<std::string> project;
  std::optional<std::string> session;
  /// For programs that accept a kind of agents too, instead of `agent`. Looking it up may read sidecars.
  std::optional<std::string> agentOrKind = {};
};

/// The filters of a question. A record must match all that are set.
struct Filters {
  RecordFilter predicate;  ///< empty if no filter is set
  std::optional<AgentIdentity> agent;
  std::optional<AgentKind> kind;  ///< all agents of this kind, instead of one agent
  std::optional<InternedText> project;
  std::optional<InternedText> session;

  /// Name and value of each filter that is set, in the order agent, project, session: {"project",
  /// "~/src/atlas"}. A kind is named "agent".
  std::vector<std::pair<std::string_view, std::string>> named() const;

  /// The same as text: "project = ~/src/atlas".
  std::vector<std::string> described() const;
};

/// Looks the names up in the whole history, so a name without requests in the period is found too. Stops at
/// the first name that does not match exactly one key.
Answered<Filters> buildFilters(DataSource& data, const FilterWords& words);

}  // namespace tallyfin
