#pragma once

#include <string>
#include <string_view>

namespace tallyfin {

/// Appends texts one after the other. absl::StrAppend cannot be used: in Debian's Abseil it takes
/// absl::string_view, which is not std::string_view there.
template <typename... Parts>
void append(std::string& out, const Parts&... parts) {
  (out.append(std::string_view(parts)), ...);
}

/// Texts one after the other: concat("took ", std::to_string(n), " bytes").
template <typename... Parts>
std::string concat(const Parts&... parts) {
  std::string text;
  text.reserve((std::string_view(parts).size() + ... + 0));
  append(text, parts...);
  return text;
}

}  // namespace tallyfin
