#include "TallyfinCore/Transcripts/ModelId.hpp"

#include "Platform/Text.hpp"
#include "absl/strings/str_replace.h"

#include <cstddef>

namespace tallyfin::Pricing {

std::string normalizeModel(std::string_view id) {
  constexpr std::size_t kSuffix = 9;  // "-20" and six more digits
  std::string model = Text::lowercased(Text::trimmedWhitespace(id));
  if (model.find("[1m]") != std::string::npos) {
    model = absl::StrReplaceAll(model, {{"[1m]", ""}});
  }
  if (Text::characterCount(model) <= kSuffix) {
    return model;
  }
  const std::string_view suffix = Text::suffix(model, kSuffix);
  if (Text::hasPrefix(suffix, "-20") && Text::isAllNumbers(suffix.substr(1))) {
    model.resize(model.size() - suffix.size());
  }
  return model;
}

}  // namespace tallyfin::Pricing
