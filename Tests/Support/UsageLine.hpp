#pragma once

// One transcript line with usage, as short as a reader accepts it.
//
//   home.write(".claude/projects/p/s.jsonl", UsageLine{.id = "m1", .time = "2026-03-10T08:00:00Z"}.text());

#include "nlohmann/json.hpp"

#include <cstdint>
#include <string>

namespace tallyfin {

struct UsageLine {
  std::string id;    ///< of the message and of the request
  std::string time;  ///< as the transcript has it, with its zone
  std::string model = "claude-opus-5";
  std::string session = "session-1";
  std::string cwd = "/nowhere/alpha";
  std::string agent = {};  ///< empty for the main session
  std::int64_t input = 0;
  std::int64_t output = 0;
  std::int64_t cacheRead = 0;
  std::int64_t cacheWrite = 0;  ///< without its breakdown

  /// The line with its line feed.
  std::string text() const {
    nlohmann::json line = {{"timestamp", time},
                           {"requestId", "r-" + id},
                           {"sessionId", session},
                           {"cwd", cwd},
                           {"message",
                            {{"id", id},
                             {"model", model},
                             {"usage",
                              {{"input_tokens", input},
                               {"output_tokens", output},
                               {"cache_read_input_tokens", cacheRead},
                               {"cache_creation_input_tokens", cacheWrite}}}}}};
    if (!agent.empty()) {
      line["agentId"] = agent;
    }
    return line.dump() + "\n";
  }
};

}  // namespace tallyfin
