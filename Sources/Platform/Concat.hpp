#pragma once

#include <string>
#include <string_view>

namespace tallyfin {

/// Appends all `parts` to `out`. Replaces absl::StrAppend, which takes absl::string_view: in Debian's Abseil
/// that is not std::string_view.
template <typename... Parts>
void append(std::string& out, const Parts&... parts) {
  (out.append(std::string_view(parts)), ...);
}

/// Joins all `parts` into one string: concat("took ", std::to_string(n), " bytes").
template <typename... Parts>
std::string concat(const Parts&... parts) {
  std::string text;
  text.reserve((std::string_view(parts).size() + ... + 0));
  append(text, parts...);
  return text;
}

}  // namespace tallyfin
