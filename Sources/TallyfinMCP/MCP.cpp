#include "TallyfinMCP/MCP.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Json.hpp"
#include "Platform/Text.hpp"
#include "TallyfinMCP/Catalogue.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace tallyfin {
namespace {

constexpr const char* kProtocolVersion = "2025-11-25";

constexpr const char* kInstructions =
    "Tallyfin measures what Claude Code usage cost on this machine and WHERE it came from, reading the JSONL "
    "transcripts straight off disk (all four homes: .claude, .claude-work, .claude-outlook, .claude-yahoo). "
    "It answers with the app closed. Start with tally_overview. The axis that sets Tallyfin apart from every "
    "other tool is the **agent** (`agentId`): 58% of usage lines come from sub-agents, so the answer to "
    "\"why did today cost that much\" is usually WHICH AGENT, not which project and not which model. When a "
    "figure looks large or wrong, ask for its provenance with tally_provenance — it names the files and the "
    "usage lines behind it, and what was lost while parsing. Every figure is an estimate from usage × list "
    "API prices, NOT a bill; a value that cannot be computed is written \"unknown\", never 0.";

// The members of a client's message that the server uses.
struct ClientMessage {
  std::string method;
  std::optional<std::string> id;  // as compact JSON, for the reply; absent if the message has no id
  std::string_view params;        // JSON; a view into the line; empty if the message has no parameters
};

// Reads the message in a line. Absent unless the line is a JSON object in which `method` is a string. Members
// that the server does not use are validated but not stored, so a long line needs little memory.
std::optional<ClientMessage> readMessage(std::string_view line) {
  JsonReader reader(line);
  ClientMessage message;
  bool hasMethod = false;
  const bool isObject = reader.readObject([&](std::string_view key) {
    if (key == "method") {
      std::optional<std::string> method = reader.optionalText();
      hasMethod = method.has_value();
      message.method = std::move(method).value_or("");
    } else if (key == "id") {
      reader.copyValue(message.id.emplace());
    } else if (key == "params") {
      message.params = reader.rawValue();
    } else {
      reader.skipValue();
    }
  });
  if (!reader.finish() || !isObject || !hasMethod) {
    return std::nullopt;
  }
  return message;
}

// A JSON-RPC response. Its member `key`, which is "result" or "error", has the value `payload`. `id` and
// `payload` are JSON.
std::string answer(std::string_view id, std::string_view key, std::string_view payload) {
  return concat(R"({"jsonrpc":"2.0","id":)", id, ",\"", key, "\":", payload, "}");
}

// Whether any tool accepts an argument with this name.
bool isArgument(std::string_view name) {
  const auto takesIt = [name](const Tool& tool) {
    return std::any_of(tool.arguments.begin(), tool.arguments.end(),
                       [name](const ToolArgument& argument) { return argument.name == name; });
  };
  return std::any_of(catalogue().begin(), catalogue().end(), takesIt);
}

// Reads the arguments of a tool call. An argument that no tool accepts is validated but not stored, so it
// needs no memory. A list or an object becomes an empty value, because no tool accepts one.
GivenArguments readArguments(JsonReader& reader) {
  GivenArguments arguments;
  reader.readObject([&](std::string_view key) {
    if (!isArgument(key)) {
      reader.skipValue();
      return;
    }
    arguments.insert_or_assign(std::string(key), readValue(reader));
  });
  return arguments;
}

// The parameters of the methods `initialize` and `tools/call`.
struct Parameters {
  std::optional<std::string> protocolVersion;  // of `initialize`
  std::optional<std::string> name;             // of `tools/call`: the name of the tool
  GivenArguments arguments;                    // of `tools/call`
};

// Reads the parameters of a message. `params` must be valid JSON or empty.
Parameters readParameters(std::string_view params) {
  Parameters parameters;
  JsonReader reader(params);
  reader.readObject([&](std::string_view key) {
    if (key == "protocolVersion") {
      parameters.protocolVersion = reader.optionalText();
    } else if (key == "name") {
      parameters.name = reader.optionalText();
    } else if (key == "arguments") {
      parameters.arguments = readArguments(reader);
    } else {
      reader.skipValue();
    }
  });
  return parameters;
}

// The result of `initialize`, as JSON. It repeats the client's protocol version, if the client names one.
std::string handshake(const Parameters& params) {
  return concat(R"({"protocolVersion":)", jsonString(params.protocolVersion.value_or(kProtocolVersion)),
                R"(,"capabilities":{"tools":{}},"serverInfo":{"name":)", jsonString(MCPServer::serverName),
                R"(,"version":)", jsonString(MCPServer::serverVersion), R"(},"instructions":)",
                jsonString(kInstructions), "}");
}

// The JSON object that describes a tool in the result of `tools/list`. Its schema has the key `required` only
// if the tool has a required argument.
std::string listed(const Tool& tool) {
  std::vector<std::string> properties;
  std::vector<std::string> required;
  for (const ToolArgument& argument : tool.arguments) {
    if (!argument.isListed) {
      continue;
    }
    properties.push_back(concat(jsonString(argument.name), R"(:{"type":)", jsonString(name(argument.type)),
                                R"(,"description":)", jsonString(argument.description), "}"));
    if (argument.isRequired) {
      required.push_back(jsonString(argument.name));
    }
  }
  return concat(R"({"name":)", jsonString(tool.name), R"(,"description":)", jsonString(tool.description),
                R"(,"inputSchema":{"type":"object","properties":{)", absl::StrJoin(properties, ","), "}",
                required.empty() ? "" : concat(R"(,"required":[)", absl::StrJoin(required, ","), "]"), "}}");
}

// The result of `tools/call`, as JSON.
std::string toolReply(const MCPServer::ToolResult& result) {
  return concat(R"({"content":[{"type":"text","text":)", jsonString(result.text), R"(}],"isError":)",
                result.isError ? "true" : "false", "}");
}

}  // namespace

MCPServer::MCPServer(DataSource& data, std::function<void(std::string_view)> log)
    : data_(data), log_(std::move(log)) {}

std::optional<std::string> MCPServer::reply(std::string_view line) {
  line = Text::trimmedWhitespace(line);
  if (line.empty()) {
    return std::nullopt;
  }
  try {
    const std::optional<ClientMessage> message = readMessage(line);
    if (!message) {
      log_("line ignored: not JSON, or no `method`");
      return std::nullopt;
    }
    if (message->method.starts_with("notifications/") || !message->id) {
      return std::nullopt;
    }
    return dispatch(message->method, *message->id, message->params);
  } catch (const std::exception&) {  // memory ran out, so the line gets no reply
    return std::nullopt;
  }
}

std::string MCPServer::dispatch(std::string_view method, std::string_view id, std::string_view params) {
  if (method == "initialize") {
    return answer(id, "result", handshake(readParameters(params)));
  }
  if (method == "tools/list") {
    return answer(id, "result", concat(R"({"tools":)", tools(), "}"));
  }
  if (method == "tools/call") {
    const Parameters call = readParameters(params);
    return answer(id, "result", toolReply(callTool(call.name.value_or(""), call.arguments)));
  }
  if (method == "ping") {
    return answer(id, "result", "{}");
  }
  return answer(id, "error",
                concat(R"({"code":-32601,"message":)", jsonString(concat("Unknown method: ", method)), "}"));
}

std::string MCPServer::tools() {
  return concat(
      "[", absl::StrJoin(catalogue(), ",", [](std::string* out, const Tool& tool) { *out += listed(tool); }),
      "]");
}

MCPServer::ToolResult MCPServer::callTool(std::string_view name, const GivenArguments& arguments) {
  const Tool* const tool = toolNamed(name);
  if (tool == nullptr) {
    return {.text = concat("Unknown verb: ", name), .isError = true};
  }
  ToolResult result;
  try {
    result.text = tool->run(data_, Arguments(tool->arguments, arguments));
  } catch (const MCPError& error) {
    result = {.text = error.message(), .isError = true};
  } catch (const std::exception& error) {
    result = {.text = concat("Error: ", error.what()), .isError = true};
  }
  data_.finishSaving();
  return result;
}

}  // namespace tallyfin
