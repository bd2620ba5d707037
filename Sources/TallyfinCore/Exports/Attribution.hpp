#pragma once

// What a row of a breakdown tells beside its sums: where it belongs, and why it stands under its key.

#include "TallyfinCore/Figures/Axes.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

/// The cells of a row that depend on its axis. A cell is absent when it does not apply on that axis. The
/// views live as long as the report.
struct Attribution {
  std::optional<std::string_view> project = {};
  std::optional<std::string_view> session = {};
  std::optional<std::string> agent = {};
  std::optional<std::string_view> agentKind = {};
  std::string note;  ///< why the row stands under its key
};
Attribution attribution(const Entry& entry, Axis axis, const Report& report);

}  // namespace tallyfin::Exporter
