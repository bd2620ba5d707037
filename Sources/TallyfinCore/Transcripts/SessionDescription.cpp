#include "TallyfinCore/Transcripts/SessionDescription.hpp"

#include "Platform/Buffer.hpp"
#include "Platform/Concat.hpp"
#include "Platform/Descriptor.hpp"
#include "Platform/Json.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Transcripts/ContentBlocks.hpp"
#include "absl/strings/str_join.h"
#include "absl/strings/str_split.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace tallyfin {
namespace {

constexpr std::uint64_t kFirstBytes = std::uint64_t{256} << 10;
constexpr std::uint64_t kLastBytes = std::uint64_t{1} << 20;

// The members of a transcript line that may describe its session.
struct DescribingLine {
  std::optional<std::string> type;
  std::optional<std::string> customTitle;
  std::optional<std::string> aiTitle;
  std::optional<std::string> summary;
  std::optional<std::string> branch;
  std::string_view message;  // as written; empty if absent
  bool isByClient = false;   // `isMeta` or `isSidechain`: nothing that a person typed
};

// Consumes a value. Returns whether it is `true`.
bool readsTrue(JsonReader& reader) {
  if (reader.peek() != JsonReader::Kind::boolean) {
    reader.skipValue();
    return false;
  }
  return reader.boolean();
}

// Absent if the line is not a valid JSON object.
std::optional<DescribingLine> parseDescribing(std::string_view text) {
  DescribingLine line;
  JsonReader reader(text);
  const bool isObject = reader.readObject([&](std::string_view key) {
    if (key == "type") {
      line.type = reader.optionalText();
    } else if (key == "customTitle") {
      line.customTitle = reader.optionalText();
    } else if (key == "aiTitle") {
      line.aiTitle = reader.optionalText();
    } else if (key == "summary") {
      line.summary = reader.optionalText();
    } else if (key == "gitBranch") {
      line.branch = reader.optionalText();
    } else if (key == "message") {
      line.message = reader.rawValue();
    } else if (key == "isMeta" || key == "isSidechain") {
      line.isByClient |= readsTrue(reader);
    } else {
      reader.skipValue();
    }
  });
  return reader.finish() && isObject ? std::optional(std::move(line)) : std::nullopt;
}

// The first text of a valid message.
std::optional<std::string> textOfMessage(std::string_view message) {
  std::optional<std::string> first;
  forEachBlock(message, [&](ContentBlock&& block) {
    if (!first && block.type == "text") {
      first = std::move(block.text);
    }
  });
  return first;
}

// Collects the description from lines in their order.
class Descriptions {
 public:
  // Takes all complete lines of `text`; what follows the last line feed is a line if `isEnd`.
  void takeLines(std::string_view text, bool isEnd) {
    while (!text.empty()) {
      const std::size_t end = text.find('\n');
      if (end == std::string_view::npos && !isEnd) {
        return;
      }
      take(text.substr(0, end));
      text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
  }

  SessionDescription result() && {
    for (std::optional<std::string>* const title : {&custom_, &made_, &summary_, &typed_}) {
      if (*title) {
        return {.title = std::move(*title), .branch = std::move(branch_)};
      }
    }
    return {.title = {}, .branch = std::move(branch_)};
  }

 private:
  void take(std::string_view text) {
    const std::optional<DescribingLine> line = parseDescribing(text);
    if (!line) {
      return;
    }
    keepLast(branch_, line->branch);
    if (line->type == "custom-title") {
      keepLast(custom_, line->customTitle);
    } else if (line->type == "ai-title") {
      keepLast(made_, line->aiTitle);
    } else if (line->type == "summary") {
      keepLast(summary_, line->summary);
    } else if (line->type == "user" && !typed_ && !line->isByClient && !line->message.empty()) {
      std::optional<std::string> title = oneLine(textOfMessage(line->message));
      if (title && !title->starts_with('<')) {  // the client writes "<" before its own notifications
        typed_ = std::move(title);
      }
    }
  }

  static void keepLast(std::optional<std::string>& kept, const std::optional<std::string>& text) {
    if (std::optional<std::string> title = oneLine(text)) {
      kept = std::move(title);
    }
  }

  std::optional<std::string> custom_;
  std::optional<std::string> made_;
  std::optional<std::string> summary_;
  std::optional<std::string> typed_;
  std::optional<std::string> branch_;
};

// Reads `count` bytes at `offset`, or fewer if the file ends or fails before.
Buffer bytesAt(const PlainFile& file, std::uint64_t offset, std::uint64_t count) {
  Buffer bytes;
  while (bytes.size() < count) {
    const auto missing = static_cast<std::size_t>(count - bytes.size());
    const std::ptrdiff_t got = file.read(bytes.room(missing), missing, offset + bytes.size());
    if (got <= 0) {
      break;
    }
    bytes.grow(static_cast<std::size_t>(got));
  }
  return bytes;
}

}  // namespace

std::optional<std::string> oneLine(const std::optional<std::string>& text) {
  constexpr std::size_t kMostBytes = 4096;  // counting the characters of a long text would take time
  constexpr std::size_t kMostCharacters = 200;
  if (!text) {
    return std::nullopt;
  }
  const std::vector<std::string> words =
      absl::StrSplit(text->substr(0, kMostBytes), absl::ByAnyChar(" \t\r\n\v\f"), absl::SkipEmpty());
  const std::string line = Text::repaired(absl::StrJoin(words, " "));
  const std::string_view start = Text::prefix(line, kMostCharacters);
  if (start.empty()) {
    return std::nullopt;
  }
  return start.size() < line.size() || text->size() > kMostBytes ? concat(start, "…") : line;
}

SessionDescription describeSession(const std::string& transcript) {
  const PlainFile file(transcript);
  if (!file.isOpen()) {
    return {};
  }
  Descriptions descriptions;
  const std::uint64_t size = file.attributes().size;
  if (size <= kFirstBytes + kLastBytes) {
    descriptions.takeLines(bytesAt(file, 0, size).bytes(), true);
  } else {
    descriptions.takeLines(bytesAt(file, 0, kFirstBytes).bytes(), false);
    const Buffer last = bytesAt(file, size - kLastBytes, kLastBytes);
    const std::size_t cut = last.bytes().find('\n');  // a line may have begun before these bytes
    if (cut != std::string_view::npos) {
      descriptions.takeLines(last.bytes().substr(cut + 1), true);
    }
  }
  return std::move(descriptions).result();
}

}  // namespace tallyfin
