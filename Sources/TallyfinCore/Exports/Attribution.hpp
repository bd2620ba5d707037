#pragma once

// The text columns of a breakdown row: where its key belongs, and why it has that key.

#include "TallyfinCore/Figures/Axes.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

/// The cells of a row that depend on its axis; absent if they do not apply to it. The views are valid while
/// the report exists.
struct Attribution {
  std::optional<std::string_view> project = {};
  std::optional<std::string_view> session = {};
  std::optional<std::string> agent = {};
  std::optional<std::string_view> agentKind = {};
  std::string note;  ///< why the row has this key
};
Attribution attribution(const Entry& entry, Axis axis, const Report& report);

}  // namespace tallyfin::Exporter
