#pragma once

// The arguments of one tool call, decoded once. A value of the wrong type counts as absent and an absent one
// takes the default of the catalogue, so a mistyped argument never fails a call.

#include "Platform/Json.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tallyfin {

/// One argument that a tool takes.
struct ToolArgument {
  enum class Type : std::uint8_t { string = 1, integer, boolean };

  /// A value, whose index is that of its type; empty: none.
  using Value = std::variant<std::monostate, std::string, std::int64_t, bool>;

  std::string_view name;
  Type type;
  std::string description;              ///< names the accepted words and the default, as clients read it
  Value fallback = {};                  ///< empty: none
  std::vector<std::string> words = {};  ///< the accepted words, where these are few
  bool isRequired = false;
  bool isListed = true;  ///< false: the tool reads it, but `tools/list` leaves it out
};

/// The name of the type in a JSON schema.
std::string_view name(ToolArgument::Type type);

/// The arguments that a client gave, by name.
using GivenArguments = std::map<std::string, ToolArgument::Value, std::less<>>;

/// Consumes a JSON value of any kind: a string, a boolean or a whole number, of which one beyond 64 bits
/// becomes the nearest that fits. Empty for any other value, such as 5.5, and on failure.
ToolArgument::Value readValue(JsonReader& reader);

/// What a call gives a tool.
class Arguments {
 public:
  /// Takes from `given` what the tool knows.
  Arguments(const std::vector<ToolArgument>& known, const GivenArguments& given);

  /// The text, or its default; absent without either.
  std::optional<std::string> text(std::string_view name) const;

  /// The number or the flag, or its default, which the catalogue must have.
  std::int64_t integer(std::string_view name) const {
    return std::get<std::int64_t>(values_.find(name)->second);
  }
  bool flag(std::string_view name) const { return std::get<bool>(values_.find(name)->second); }

 private:
  std::map<std::string_view, ToolArgument::Value> values_;
};

}  // namespace tallyfin
