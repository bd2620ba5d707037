#pragma once

// The template and style of the page, which the build embeds, and the function that fills the template.

#include "TallyfinCore/Exports/PageMarkup.hpp"

#include <span>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

/// Page/page.html, with {{name}} where content is inserted.
extern const std::string_view pageTemplate;

/// Page/page.css.
extern const std::string_view pageStyle;

/// The hash of the style for the page's content security policy: "sha256-" and base64.
extern const std::string_view pageStyleHash;

/// The name of a placeholder in the template, and its content.
struct Gap {
  std::string_view name;
  Markup content;
};

/// The template with every {{name}} replaced by its content. Names inside inserted content are not replaced.
/// A name that `gaps` does not list is removed.
std::string filled(std::string_view page, std::span<const Gap> gaps);

}  // namespace tallyfin::Exporter
