#pragma once

#include "absl/functional/function_ref.h"

#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// One block of the `content` of a message. A member that is missing or is not a text is absent.
struct ContentBlock {
  std::optional<std::string> type;  ///< "text", "tool_use", ...
  std::optional<std::string> id;    ///< of a tool use
  std::optional<std::string> text;  ///< of a block of type "text"
};

/// Calls `use` with each block of a message, given as valid JSON. A `content` that is a text counts as one
/// block of type "text".
void forEachBlock(std::string_view message, absl::FunctionRef<void(ContentBlock&&)> use);

}  // namespace tallyfin
