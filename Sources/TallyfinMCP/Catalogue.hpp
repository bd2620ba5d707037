#pragma once

// The only list of the tools: their descriptions for clients, their functions and their arguments.

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

  /// Returns the tool's answer as plain text. Throws MCPError, whose message is the answer then.
  std::string (*run)(DataSource& data, const Arguments& given);
};

/// The nine tools in a fixed order, which does not depend on the data.
const std::vector<Tool>& catalogue();

/// The tool with this name; null if there is none.
const Tool* toolNamed(std::string_view name);

}  // namespace tallyfin
