#pragma once

// The protocol: replies to lines from the client, and calls the tools. `main` does the input and output.

#include "TallyfinCore/Answers/DataSource.hpp"
#include "TallyfinMCP/Arguments.hpp"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

class MCPServer {
 public:
  static constexpr const char* serverName = "tallyfin";
  static constexpr const char* serverVersion = TALLYFIN_VERSION;  // of the whole project

  /// `data` must outlive the server. `log` receives the text of one log line; it must add prefix and line
  /// feed and write the line immediately.
  MCPServer(DataSource& data, std::function<void(std::string_view)> log);

  /// The reply to a line, without line feed; absent if the protocol requires none. Never fails.
  std::optional<std::string> reply(std::string_view line);

  /// The catalogue as clients receive it: a JSON array of the tools in order.
  static std::string tools();

  struct ToolResult {
    std::string text;
    bool isError = false;
  };

  /// Runs the tool with this name. Never fails: an error becomes the text of the result.
  ToolResult callTool(std::string_view name, const GivenArguments& arguments);

 private:
  // The response to a request. `id` and `params` are JSON; `params` is empty if absent.
  std::string dispatch(std::string_view method, std::string_view id, std::string_view params);

  DataSource& data_;
  std::function<void(std::string_view)> log_;
};

}  // namespace tallyfin
