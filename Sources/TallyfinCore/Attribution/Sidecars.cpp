#include "TallyfinCore/Attribution/Sidecars.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Json.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Transcripts/SessionDescription.hpp"

#include <cstddef>
#include <utility>

namespace tallyfin {
namespace {

constexpr std::uint64_t kLargestSidecar = std::uint64_t{64} << 10;  // bytes; real ones have a few hundred

// Consumes a value. Absent if it is not a text, or is empty.
std::optional<std::string> someText(JsonReader& reader) {
  std::optional<std::string> text = reader.optionalText();
  return text && !text->empty() ? std::move(text) : std::nullopt;
}

// Consumes a value. Absent unless it is a text that can name a kind of agents: not blank, and not long,
// because interned texts are never freed.
std::optional<std::string> kindText(JsonReader& reader) {
  constexpr std::size_t kLongestKind = 256;  // bytes
  std::optional<std::string> text = reader.optionalText();
  const bool isName = text && text->size() <= kLongestKind && !Text::trimmedWhitespace(*text).empty();
  return isName ? std::move(text) : std::nullopt;
}

// Consumes a value. Absent if it is not a whole number.
std::optional<std::int64_t> someNumber(JsonReader& reader) {
  if (reader.peek() != JsonReader::Kind::number) {
    reader.skipValue();
    return std::nullopt;
  }
  const std::string_view digits = reader.number();
  return reader.failed() ? std::nullopt : wholeJsonNumber(digits);
}

}  // namespace

std::string sidecarPathOf(std::string_view transcript) {
  return concat(Files::withoutLastComponent(transcript), "/",
                Files::withoutExtension(Files::lastComponent(transcript)), ".meta.json");
}

std::optional<Sidecar> readSidecar(const std::string& path) {
  const std::optional<Buffer> content = Files::contents(path, kLargestSidecar);
  if (!content) {
    return std::nullopt;
  }
  Sidecar sidecar;
  JsonReader reader(content->bytes());
  const bool isObject = reader.readObject([&](std::string_view key) {
    if (key == "agentType") {
      sidecar.agentType = kindText(reader);
    } else if (key == "description") {
      sidecar.description = oneLine(reader.optionalText());
    } else if (key == "toolUseId") {
      sidecar.toolUseId = someText(reader);
    } else if (key == "parentAgentId") {
      sidecar.parentAgentId = someText(reader);
    } else if (key == "spawnDepth") {
      sidecar.spawnDepth = someNumber(reader);
    } else {
      reader.skipValue();
    }
  });
  return reader.finish() && isObject ? std::optional(std::move(sidecar)) : std::nullopt;
}

}  // namespace tallyfin
