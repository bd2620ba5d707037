#pragma once

// HTML that is safe by construction: text becomes Markup only by escaping, and elements consist only of
// Markup. Names from transcripts therefore stay text on the page.
//
//   element("td", {{"class", "name"}}, name(project.text()), " and more")

#include <initializer_list>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

class Markup {
 public:
  Markup() = default;

  /// Escapes a text and repairs ill-formed bytes.
  Markup(std::string_view text);
  Markup(const std::string& text) : Markup(std::string_view(text)) {}
  Markup(const char* text) : Markup(std::string_view(text)) {}

  /// Text that is already HTML. Only for the template's own files.
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
  std::string value;  ///< escaped when written; an attribute with an empty value is left out
};

/// The tag of an element with its attributes: `<td class="name">`.
Markup startTag(std::string_view tag, std::initializer_list<Attribute> attributes);

Markup endTag(std::string_view tag);

/// An element with its children in order: Markup or text.
template <typename... Children>
Markup element(std::string_view tag, std::initializer_list<Attribute> attributes,
               const Children&... children) {
  Markup all = startTag(tag, attributes);
  ((all += Markup(children)), ...);
  return all += endTag(tag);
}

/// A text from a transcript as a name on the page: spelled out and shortened like Text::visible, inside a
/// `bdi` element so that its writing direction does not affect the text around it. A shortened name has a
/// tooltip with up to 400 code points of it.
Markup name(std::string_view text, std::size_t limit = 60);

/// A length for SVG: "12.5", and the same with a percent sign: "12.5%".
std::string number(double value);
std::string percentage(double value);

}  // namespace tallyfin::Exporter
