#include "TallyfinMCP/Arguments.hpp"

#include <utility>

namespace tallyfin {
namespace {

// The value when it is of that type, else empty.
ToolArgument::Value decoded(ToolArgument::Type type, const JsonValue& value) {
  switch (type) {
    case ToolArgument::Type::string: {
      const std::string* const text = value.string();
      return text != nullptr ? ToolArgument::Value(*text) : ToolArgument::Value();
    }
    case ToolArgument::Type::integer: {
      const std::optional<std::int64_t> number = value.wholeNumber();
      return number ? ToolArgument::Value(*number) : ToolArgument::Value();
    }
    case ToolArgument::Type::boolean:
      break;
  }
  const bool* const flag = value.boolean();
  return flag != nullptr ? ToolArgument::Value(*flag) : ToolArgument::Value();
}

}  // namespace

std::string_view name(ToolArgument::Type type) {
  switch (type) {
    case ToolArgument::Type::string:
      return "string";
    case ToolArgument::Type::integer:
      return "integer";
    case ToolArgument::Type::boolean:
      break;
  }
  return "boolean";
}

Arguments::Arguments(const std::vector<ToolArgument>& known, const JsonValue& given) {
  for (const ToolArgument& argument : known) {
    const JsonValue* const member = given.member(argument.name);
    ToolArgument::Value value = member != nullptr ? decoded(argument.type, *member) : ToolArgument::Value();
    if (std::holds_alternative<std::monostate>(value)) {
      value = argument.fallback;
    }
    values_.emplace(argument.name, std::move(value));
  }
}

std::optional<std::string> Arguments::text(std::string_view name) const {
  const auto found = values_.find(name);
  const std::string* const text = found == values_.end() ? nullptr : std::get_if<std::string>(&found->second);
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

}  // namespace tallyfin
