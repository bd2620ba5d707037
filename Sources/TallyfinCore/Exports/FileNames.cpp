#include "TallyfinCore/Exports/FileNames.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"

#include <cstddef>

namespace tallyfin::Exporter {
namespace {

// The lower-case letters and digits of a text, at most `room` bytes. Each run of other characters becomes one
// hyphen.
std::string slug(std::string_view text, std::size_t room) {
  const std::string lower = Text::lowercased(text);
  std::string result;
  bool hasGap = false;
  for (std::string_view rest = lower; !rest.empty();) {
    const std::string_view character = Text::prefix(rest, 1);
    rest.remove_prefix(character.size());
    if (Text::beginsWithLetterOrNumber(character)) {
      const std::string_view gap = hasGap && !result.empty() ? "-" : "";
      if (result.size() + gap.size() + character.size() > room) {
        break;
      }
      append(result, gap, character);
      hasGap = false;
    } else {
      hasGap = true;
    }
  }
  return result;
}

std::string periodTag(const Options& options, std::size_t room) {
  const Stamps stamps(options.calendar);
  if (options.periodLabel) {
    return slug(*options.periodLabel, room);
  }
  if (options.from && options.to) {
    return concat(stamps.day(*options.from), "_", stamps.day(*options.to));
  }
  return stamps.day(options.generatedAt);
}

}  // namespace

std::string suggestedFileName(const Document& document, const Options& options, std::string_view extension) {
  constexpr std::size_t kLongestName = 255;  // bytes; the limit of common file systems
  const std::optional<Axis> axis = document.axis();
  const std::string start = concat("tallyfin-", axis ? columnValue(*axis) : "provenance", "-");
  return concat(start, periodTag(options, kLongestName - start.size() - extension.size()), extension);
}

}  // namespace tallyfin::Exporter
