#pragma once

// Transcript lines for tests of reading, in which every byte matters; the usage object is written out. By
// default all fields are valid, and a test sets those that it is about.

#include <string>

namespace tallyfin {

struct RawLine {
  std::string id = "msg_1";
  std::string request = "req_1";
  std::string timestamp = "2026-05-04T10:00:00Z";
  std::string model = "claude-opus-5";
  std::string session = "5e55-1";
  std::string cwd = "/src/alpha";
  std::string agent;                                             // empty: no agentId
  std::string usage = R"("input_tokens":10,"output_tokens":5)";  // members of the usage object

  /// The line with its line feed.
  std::string text() const {
    return R"({"type":"assistant","timestamp":")" + timestamp + R"(","sessionId":")" + session +
           R"(","cwd":")" + cwd + R"(",)" + (agent.empty() ? "" : R"("agentId":")" + agent + R"(",)") +
           R"("requestId":")" + request + R"(","message":{"id":")" + id +
           R"(","role":"assistant","model":")" + model +
           R"(","content":[{"type":"text","text":"done"}],"usage":{)" + usage + "}}}\n";
  }
};

/// A line of request number `n` with these counts.
inline RawLine rawLine(int n, int input = 10, int output = 5) {
  RawLine line;
  line.id = "msg_" + std::to_string(n);
  line.request = "req_" + std::to_string(n);
  line.usage = "\"input_tokens\":" + std::to_string(input) + ",\"output_tokens\":" + std::to_string(output);
  return line;
}

}  // namespace tallyfin
