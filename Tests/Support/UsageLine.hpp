#pragma once

// The shortest transcript line with usage that a reader accepts.
//
//   home.write(".claude/projects/p/s.jsonl", UsageLine{.id = "m1", .time = "2026-03-10T08:00:00Z"}.text());

#include "nlohmann/json.hpp"

#include <cstdint>
#include <string>
#include <utility>

namespace tallyfin {

struct UsageLine {
  std::string id;    ///< of the message and of the request
  std::string time;  ///< as in the transcript, with its zone
  // The line has no such member if the text is empty.
  std::string model = "claude-opus-5";
  std::string session = "session-1";
  std::string cwd = "/nowhere/alpha";
  std::string agent = {};  ///< of a sub-agent
  std::int64_t input = 0;
  std::int64_t output = 0;
  std::int64_t cacheRead = 0;
  std::int64_t cacheWrite = 0;    ///< without the split
  std::int64_t cacheWrite1h = 0;  ///< with the split
  std::int64_t webSearch = 0;

  /// The line with its line feed.
  std::string text() const {
    nlohmann::json usage = {{"input_tokens", input},
                            {"output_tokens", output},
                            {"cache_read_input_tokens", cacheRead},
                            {"cache_creation_input_tokens", cacheWrite + cacheWrite1h}};
    if (cacheWrite1h != 0) {
      usage["cache_creation"] = {{"ephemeral_5m_input_tokens", 0},
                                 {"ephemeral_1h_input_tokens", cacheWrite1h}};
    }
    if (webSearch != 0) {
      usage["server_tool_use"] = {{"web_search_requests", webSearch}};
    }
    nlohmann::json line = {{"timestamp", time},
                           {"requestId", "r-" + id},
                           {"message", {{"id", id}, {"usage", std::move(usage)}}}};
    const auto set = [](nlohmann::json& object, const char* key, const std::string& value) {
      if (!value.empty()) {
        object[key] = value;
      }
    };
    set(line["message"], "model", model);
    set(line, "sessionId", session);
    set(line, "cwd", cwd);
    set(line, "agentId", agent);
    return line.dump() + "\n";
  }
};

}  // namespace tallyfin
