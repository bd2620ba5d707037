#include "TallyfinCore/Transcripts/ContentBlocks.hpp"

#include "Platform/Json.hpp"

#include <utility>

namespace tallyfin {
namespace {

ContentBlock readBlock(JsonReader& reader) {
  ContentBlock block;
  reader.readObject([&](std::string_view key) {
    if (key == "type") {
      block.type = reader.optionalText();
    } else if (key == "id") {
      block.id = reader.optionalText();
    } else if (key == "text") {
      block.text = reader.optionalText();
    } else {
      reader.skipValue();
    }
  });
  return block;
}

}  // namespace

void forEachBlock(std::string_view message, absl::FunctionRef<void(ContentBlock&&)> use) {
  JsonReader reader(message);
  reader.readObject([&](std::string_view key) {
    if (key != "content") {
      reader.skipValue();
    } else if (reader.peek() == JsonReader::Kind::array) {
      for (reader.beginArray(); reader.nextElement();) {
        use(readBlock(reader));
      }
    } else {
      use({.type = "text", .id = {}, .text = reader.optionalText()});
    }
  });
}

}  // namespace tallyfin
