#pragma once

// The one list of the tools: what a client is told, which call runs what, and which arguments are read.

#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinMCP/Arguments.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

struct Tool {
  std::string_view name;
  std::string_view description;
  std::vector<ToolArgument> arguments;

  /// The tool's answer as plain text. Throws MCPError, whose message is then the answer.
  std::string (*run)(DataSource& data, const Arguments& given);
};

/// The nine tools in their order, the same whatever the data.
const std::vector<Tool>& catalogue();

/// The tool of that name, or null.
const Tool* toolNamed(std::string_view name);

}  // namespace tallyfin
