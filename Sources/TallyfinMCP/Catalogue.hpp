#pragma once

// The one list of the tools. What a client is told, which call runs what, which arguments are read and the
// options of the command all come from here.

#include "Platform/Json.hpp"
#include "TallyfinMCP/DataSource.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin {

/// One argument that a tool takes. Its default, applied by the tool, stands in the description.
struct ToolArgument {
  enum class Type : std::uint8_t { string, integer, boolean };

  std::string_view name;
  Type type;
  std::string description;
  bool isRequired = false;
};

/// The name of the type in a JSON schema.
std::string_view name(ToolArgument::Type type);

struct Tool {
  std::string_view name;
  std::string_view description;
  std::vector<ToolArgument> arguments;

  /// The tool's answer as plain text. `arguments` is an object, of which the tool reads the members that it
  /// takes; throws MCPError, whose message is then the answer.
  std::string (*run)(DataSource& data, const JsonValue& arguments);
};

/// The nine tools in their order, the same whatever the data.
const std::vector<Tool>& catalogue();

/// The tool of that name, or null.
const Tool* toolNamed(std::string_view name);

}  // namespace tallyfin
