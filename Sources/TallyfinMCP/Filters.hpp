#pragma once

// The narrowing arguments `agent`, `project` and `session_id`: each a name or a fragment of one that must
// come to exactly one key of the whole history.

#include "Platform/Json.hpp"
#include "TallyfinMCP/DataSource.hpp"
#include "TallyfinMCP/Period.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// The filters of a call.
struct Filters {
  DataSource::Filter predicate;        ///< empty when nothing narrows
  std::vector<std::string> described;  ///< one text a filter, in the order agent, project, session
  /// The full key that each argument came to, as documents name it; absent when not given.
  std::optional<std::string> agent;
  std::optional<std::string> project;
  std::optional<std::string> session;
};

/// Reads the three arguments; a record must pass all that are given. Names are looked up in the whole
/// history, so that one without activity in the period is known all the same. Throws MCPError at the first
/// that does not come to one key.
Filters buildFilters(DataSource& data, const JsonValue& arguments);

/// The first lines of an answer: title and period, then the filters if there are any.
std::string header(std::string_view title, const Period& period, const Filters& filters);

}  // namespace tallyfin
