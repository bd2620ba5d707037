#pragma once

#include <exception>
#include <string>
#include <utility>

namespace tallyfin {

/// Ends a tool call; its message is the whole answer.
class MCPError : public std::exception {
 public:
  explicit MCPError(std::string message) : message_(std::move(message)) {}

  /// The whole message. Names from transcripts may contain U+0000, which would end `what()`.
  const std::string& message() const { return message_; }

  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

}  // namespace tallyfin
