#pragma once

// Reading the arguments of a tool call. An argument of the wrong type counts as absent, so a mistyped one
// takes its default and never fails a call.

#include "Platform/Json.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin::Tools {

/// The argument when it is of that type. 5.0 is a whole number, 5.5 and "5" are none; one beyond 64 bits
/// becomes the nearest that fits.
std::optional<std::string> stringArgument(const JsonValue& arguments, std::string_view key);
std::optional<std::int64_t> integerArgument(const JsonValue& arguments, std::string_view key);
std::optional<bool> booleanArgument(const JsonValue& arguments, std::string_view key);

}  // namespace tallyfin::Tools
