#pragma once

// The tools, one function each: arguments in, plain text out. What a tool cannot do it throws as MCPError;
// the message is then the whole answer.

#include "Platform/Json.hpp"
#include "TallyfinCore/Aggregation.hpp"
#include "TallyfinMCP/Arguments.hpp"
#include "TallyfinMCP/DataSource.hpp"
#include "TallyfinMCP/Period.hpp"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin::Tools {

/// What today cost, at which rate, who spent it, and the history behind it. Never throws.
std::string overview(DataSource& data, const JsonValue& arguments);

// What the tools share.

/// Rows of a list: a label and its bucket, which must outlive the rows.
using Rows = std::vector<std::pair<std::string, const Bucket*>>;

/// One line a row; without rows the line "  unknown — " and `empty`.
std::string list(const Rows& rows, std::string_view empty);

/// The closing lines: an empty one, what makes the figures preliminary or partial, the disclaimer.
std::string footer(const Report& report, const Period& period);

}  // namespace tallyfin::Tools
