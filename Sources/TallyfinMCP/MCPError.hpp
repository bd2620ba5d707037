#pragma once

#include <stdexcept>

namespace tallyfin {

/// Ends a tool call; the message is the whole answer.
class MCPError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace tallyfin
