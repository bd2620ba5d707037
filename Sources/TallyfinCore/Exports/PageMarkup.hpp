#pragma once

// HTML that is safe by construction: a text that becomes Markup is escaped, and elements are made of nothing
// else. Whatever a transcript calls a project or an agent stays a text on the page.
//
//   element("td", {{"class", "name"}}, name(project.text()), " and more")

#include <initializer_list>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

class Markup {
 public:
  Markup() = default;

  /// A text, escaped; ill-formed bytes are repaired.
  Markup(std::string_view text);
  Markup(const std::string& text) : Markup(std::string_view(text)) {}
  Markup(const char* text) : Markup(std::string_view(text)) {}

  /// What is HTML already: the template's own files and nothing else.
  static Markup verbatim(std::string html);

  Markup& operator+=(const Markup& more) {
    html_ += more.html_;
    return *this;
  }

  const std::string& html() const { return html_; }

 private:
  std::string html_;
};

struct Attribute {
  std::string_view name;
  std::string value;  ///< escaped when it is written; an attribute with an empty value is left out
};

/// The tag of an element with its attributes: `<td class="name">`.
Markup startTag(std::string_view tag, std::initializer_list<Attribute> attributes);

Markup endTag(std::string_view tag);

/// An element with its children, one after the other: Markup, or texts.
template <typename... Children>
Markup element(std::string_view tag, std::initializer_list<Attribute> attributes,
               const Children&... children) {
  Markup all = startTag(tag, attributes);
  ((all += Markup(children)), ...);
  return all += endTag(tag);
}

/// A text out of a transcript as a name on the page: spelled out and shortened as Text::visible does, in an
/// element of its own (bdi), so that its direction of writing does not change the text around it. A shortened
/// one has a tooltip with all of it, or with as much as 400 code points show.
Markup name(std::string_view text, std::size_t limit = 60);

/// A length for SVG: "12.5", and with the sign "12.5%".
std::string number(double value);
std::string percentage(double value);

}  // namespace tallyfin::Exporter
