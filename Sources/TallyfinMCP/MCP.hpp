#pragma once

// The protocol: what one line from the client is answered with, and how a tool is called. Input and output
// themselves are the business of `main`.

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

  /// `data` must outlive the server. `log` receives the text of a log line; it adds the prefix and the line
  /// feed itself, and writes them at once.
  MCPServer(DataSource& data, std::function<void(std::string_view)> log);

  /// The reply to one line, without a line feed; absent when the protocol wants none. Never fails.
  std::optional<std::string> reply(std::string_view line);

  /// The catalogue as a client is told it: a JSON array of the tools in their order.
  static std::string tools();

  struct ToolResult {
    std::string text;
    bool isError = false;
  };

  /// Runs the tool of that name. Never fails: what goes wrong is the text.
  ToolResult callTool(std::string_view name, const GivenArguments& arguments);

 private:
  // The answer to a request; `id` and `params` are JSON, `params` empty when there is none.
  std::string dispatch(std::string_view method, std::string_view id, std::string_view params);

  DataSource& data_;
  std::function<void(std::string_view)> log_;
};

}  // namespace tallyfin
