#pragma once

// The arguments of one tool call, decoded once. A mistyped argument never fails a call: a value of the wrong
// type counts as absent, and an absent argument takes its default from the catalogue.

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

  /// A value; its index in the variant is its type. Empty: no value.
  using Value = std::variant<std::monostate, std::string, std::int64_t, bool>;

  std::string_view name;
  Type type;
  std::string description;              ///< for clients; lists the accepted words and the default
  Value fallback = {};                  ///< the default; empty: none
  std::vector<std::string> words = {};  ///< all accepted words, if they are few
  bool isRequired = false;
  bool isListed = true;  ///< false: the tool accepts it, but `tools/list` omits it
};

/// The name of the type in JSON Schema.
std::string_view name(ToolArgument::Type type);

/// The arguments of a call, by name.
using GivenArguments = std::map<std::string, ToolArgument::Value, std::less<>>;

/// Reads any JSON value. Returns a string, a boolean or a whole number; numbers beyond 64 bits become the
/// nearest 64-bit number. Returns empty for any other value, such as 5.5, and on failure.
ToolArgument::Value readValue(JsonReader& reader);

/// What a call gives a tool.
class Arguments {
 public:
  /// Keeps the arguments in `given` that the tool accepts.
  Arguments(const std::vector<ToolArgument>& known, const GivenArguments& given);

  /// The text or its default; absent if there is neither.
  std::optional<std::string> text(std::string_view name) const;

  /// The number or flag, or its default. The catalogue must have a default.
  std::int64_t integer(std::string_view name) const {
    return std::get<std::int64_t>(values_.find(name)->second);
  }
  bool flag(std::string_view name) const { return std::get<bool>(values_.find(name)->second); }

 private:
  std::map<std::string_view, ToolArgument::Value> values_;
};

}  // namespace tallyfin
