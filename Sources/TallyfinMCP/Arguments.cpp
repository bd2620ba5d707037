#include "TallyfinMCP/Arguments.hpp"

namespace tallyfin::Tools {

std::optional<std::string> stringArgument(const JsonValue& arguments, std::string_view key) {
  const JsonValue* value = arguments.member(key);
  const std::string* text = value != nullptr ? value->string() : nullptr;
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<std::int64_t> integerArgument(const JsonValue& arguments, std::string_view key) {
  const JsonValue* value = arguments.member(key);
  return value != nullptr ? value->wholeNumber() : std::nullopt;
}

std::optional<bool> booleanArgument(const JsonValue& arguments, std::string_view key) {
  const JsonValue* value = arguments.member(key);
  const bool* boolean = value != nullptr ? value->boolean() : nullptr;
  return boolean != nullptr ? std::optional(*boolean) : std::nullopt;
}

}  // namespace tallyfin::Tools
