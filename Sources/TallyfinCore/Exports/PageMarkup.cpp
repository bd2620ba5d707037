#include "TallyfinCore/Exports/PageMarkup.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <utility>

namespace tallyfin::Exporter {
namespace {

void appendEscaped(std::string& out, std::string_view text) {
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t at = std::min(text.find_first_of("&<>\"'", from), text.size());
    out.append(text.substr(from, at - from));
    if (at < text.size()) {
      constexpr std::string_view kSpecial = "&<>\"'";
      constexpr std::string_view kEntities[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&#39;"};
      out += kEntities[kSpecial.find(text[at])];
    }
    from = at + 1;
  }
}

}  // namespace

Markup::Markup(std::string_view text) {
  appendEscaped(html_, Text::isValidUtf8(text) ? text : Text::repaired(text));
}

Markup Markup::verbatim(std::string html) {
  Markup markup;
  markup.html_ = std::move(html);
  return markup;
}

Markup startTag(std::string_view tag, std::initializer_list<Attribute> attributes) {
  std::string html = concat("<", tag);
  for (const Attribute& attribute : attributes) {
    if (!attribute.value.empty()) {
      append(html, " ", attribute.name, "=\"", Markup(attribute.value).html(), "\"");
    }
  }
  return Markup::verbatim(html += '>');
}

Markup endTag(std::string_view tag) {
  return Markup::verbatim(concat("</", tag, ">"));
}

Markup name(std::string_view text, std::size_t limit) {
  constexpr std::size_t kTooltip = 400;
  if (text.empty()) {
    return element("bdi", {{"class", "none"}}, "(no name)");
  }
  const std::string shown = Text::visible(text, limit);
  const std::string whole = Text::visible(text, kTooltip);
  return shown == whole ? element("bdi", {}, shown) : element("bdi", {{"title", whole}}, shown);
}

std::string number(double value) {
  return absl::StrFormat("%.4g", value);
}

std::string percentage(double value) {
  return number(value) + "%";
}

}  // namespace tallyfin::Exporter
