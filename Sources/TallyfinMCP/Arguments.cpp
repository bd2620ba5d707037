#include "TallyfinMCP/Arguments.hpp"

#include <array>

namespace tallyfin {
std::string_view name(ToolArgument::Type type) {
  constexpr std::array<std::string_view, 4> kNames = {"", "string", "integer", "boolean"};
  return kNames.at(static_cast<std::size_t>(type));
}

ToolArgument::Value readValue(JsonReader& reader) {
  switch (reader.peek()) {
    case JsonReader::Kind::string:
      return reader.optionalText().value_or("");
    case JsonReader::Kind::boolean:
      return reader.boolean();
    case JsonReader::Kind::number:
      if (const std::string_view digits = reader.number(); !reader.failed()) {
        const std::optional<std::int64_t> whole = wholeJsonNumber(digits);
        return whole ? ToolArgument::Value(*whole) : ToolArgument::Value();
      }
      return {};
    default:
      reader.skipValue();
      return {};
  }
}

Arguments::Arguments(const std::vector<ToolArgument>& known, const GivenArguments& given) {
  for (const ToolArgument& argument : known) {
    const auto found = given.find(argument.name);
    const bool isUsable =
        found != given.end() && found->second.index() == static_cast<std::size_t>(argument.type);
    values_.emplace(argument.name, isUsable ? found->second : argument.fallback);
  }
}

std::optional<std::string> Arguments::text(std::string_view name) const {
  const auto found = values_.find(name);
  const std::string* const text = found == values_.end() ? nullptr : std::get_if<std::string>(&found->second);
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

}  // namespace tallyfin
