#pragma once

// The page's own files, as the build found them, and how their gaps are filled.

#include "TallyfinCore/Exports/PageMarkup.hpp"

#include <span>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

/// Page/page.html with {{name}} where something is to be put in.
extern const std::string_view pageTemplate;

/// Page/page.css.
extern const std::string_view pageStyle;

/// The hash under which the page's policy lets that style in: "sha256-" and base64.
extern const std::string_view pageStyleHash;

/// A gap of the template, by its name, and what is put there.
struct Gap {
  std::string_view name;
  Markup content;
};

/// The template with each gap's content in its place, wherever its name stands. Content is not searched for
/// names again. A name without a gap is replaced by nothing.
std::string filled(std::string_view page, std::span<const Gap> gaps);

}  // namespace tallyfin::Exporter
