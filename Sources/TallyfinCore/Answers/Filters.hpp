#pragma once

// Narrowing a question to one agent, one project or one session.

#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinCore/Answers/Refusal.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {

/// Names or fragments of names, as somebody typed them. An empty text counts as absent.
struct FilterWords {
  std::optional<std::string> agent;
  std::optional<std::string> project;
  std::optional<std::string> session;
};

/// What a question is narrowed to. All that is given must hold.
struct Filters {
  RecordFilter predicate;  ///< empty when nothing narrows
  std::optional<AgentIdentity> agent;
  std::optional<InternedText> project;
  std::optional<InternedText> session;

  /// Name and value of each filter that is set, in the order agent, project, session: {"project",
  /// "~/src/atlas"}.
  std::vector<std::pair<std::string_view, std::string>> named() const;

  /// The same as texts: "project = ~/src/atlas".
  std::vector<std::string> described() const;
};

/// Looks the names up in the whole history, so that a name without activity in the period is known all the
/// same. Stops at the first that does not come to one key.
Answered<Filters> buildFilters(DataSource& data, const FilterWords& words);

}  // namespace tallyfin
