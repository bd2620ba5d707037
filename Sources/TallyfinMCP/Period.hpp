#pragma once

// The span of whole days that a tool covers, from its arguments `period`, `from` and `to`.

#include "Platform/Calendar.hpp"
#include "Platform/Json.hpp"

#include <optional>
#include <string>

namespace tallyfin {

struct Period {
  std::optional<TimePoint> from;     ///< start of the first day; absent: no lower bound
  std::optional<TimePoint> through;  ///< start of the last day, not its end; absent: no upper bound
  std::string label;                 ///< what the tools print for the span
  bool includesToday = false;
  bool isSingleDay = false;

  static Period all();

  /// `arguments` is the tool's argument object; `fallback` the period text when it names none. Throws
  /// MCPError with what is accepted.
  static Period parse(const JsonValue& arguments, const std::string& fallback, TimePoint now,
                      const Calendar& calendar);
};

}  // namespace tallyfin
