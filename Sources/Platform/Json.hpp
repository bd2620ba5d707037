#pragma once

// JSON, read strictly by RFC 8259. Invalid UTF-8, a byte order mark, an escaped lone surrogate, a literal
// NaN, a trailing comma or cut text make a document invalid. A number is never too large and is kept as it
// was written. Nesting up to 1,024 levels is accepted and deeper refused, so that recursion over a document
// is bounded. Members with equal keys are all handed out, in their order; the caller lets the last one win.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// Reads a document piece by piece without copying it: the fast way for lines of which a few members matter.
/// The first fault makes it `failed()`, after which every call answers false or empty.
///
///   JsonReader reader(line);
///   reader.readObject([&](std::string_view key) {
///     if (key == "id") id = reader.rawValue(); else reader.skipValue();
///   });
///   const bool valid = reader.finish();
///
/// The text must outlive the reader and all views that it hands out. The reader checks grammar, escapes and
/// numbers of all that it passes over; UTF-8 is checked by `finish`.
class JsonReader {
 public:
  /// `invalid`: no value begins here, or the text has ended.
  enum class Kind : std::uint8_t { object, array, string, number, boolean, null, invalid };

  /// A string as it stands in the text, between the quotation marks.
  struct String {
    std::string_view raw;
    bool escaped = false;  ///< `raw` holds backslash escapes

    /// The text meant. Without escapes it is `raw`; otherwise it is built in `buffer`, which must outlive the
    /// view.
    std::string_view text(std::string& buffer) const;
  };

  explicit JsonReader(std::string_view text) : begin_(text.data()), at_(begin_), end_(begin_ + text.size()) {}

  /// The kind of the value that comes next; it is not consumed.
  Kind peek();

  /// Consumes "{" or "["; false, and a failure, when something else comes next or nesting gets too deep.
  bool beginObject() { return enter('{'); }
  bool beginArray() { return enter('['); }

  /// Moves to the next member and consumes its key; false behind the last, when "}" has been consumed, or on
  /// failure.
  bool nextKey(String& key);

  /// Moves to the next element; false behind the last, when "]" has been consumed, or on failure.
  bool nextElement();

  /// Consumes a whole object: calls `member` with each key, which must consume the value. A value of another
  /// kind is passed over and gives false.
  template <typename F>
  bool readObject(F&& member) {
    if (peek() != Kind::object) {
      skipValue();
      return false;
    }
    std::string unescaped;
    String key;
    for (beginObject(); nextKey(key);) {
      member(key.text(unescaped));
    }
    return true;
  }

  /// Each consumes a value of its kind; any other kind is a failure.
  String string();
  std::string_view number();  ///< the digits as written
  bool boolean();

  /// Consumes a value of any kind, checking it.
  void skipValue() { takeValue(nullptr); }

  /// The same; gives the value as it stands in the text. On failure that means nothing.
  std::string_view rawValue();

  /// Consumes a value of any kind; absent when it is no string.
  std::optional<std::string> optionalText();

  /// Consumes a value of any kind and appends it to `out` as compact JSON: no white space, no escaped
  /// slashes, numbers as they were written. Members with equal keys are all copied.
  void copyValue(std::string& out) { takeValue(&out); }

  /// True when the whole text was one valid value, with nothing but white space around it, and valid UTF-8.
  bool finish();

  bool failed() const { return failed_; }

 private:
  void takeValue(std::string* copy);  // appended to `copy`, unless null
  void fail();
  void skipWhitespace();
  bool consume(char expected);
  bool literal(std::string_view word);
  bool enter(char bracket);
  bool leave();

  const char* begin_;
  const char* at_;
  const char* end_;
  int depth_ = 0;
  bool first_ = false;  // just behind an opening bracket: no comma is due
  bool failed_ = false;
};

/// A JSON number to a signed 64-bit integer: a fraction is cut off towards 0, what does not fit becomes the
/// nearest that does. `digits` must be a valid JSON number.
std::int64_t integerOfJsonNumber(std::string_view digits);

/// The same of a number without a fractional part, however it is written (5, 5.0, 5e0); absent for any other.
std::optional<std::int64_t> wholeJsonNumber(std::string_view digits);

/// `text` as a JSON string with its quotation marks: slashes not escaped, bytes that are no UTF-8 as U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace tallyfin
