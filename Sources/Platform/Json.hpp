#pragma once

// A strict JSON reader (RFC 8259). A document is invalid if it has ill-formed UTF-8, a byte order mark, an
// escaped lone surrogate, a literal NaN or a trailing comma, or if it is cut off. Numbers have no size limit
// and are kept as written. Nesting may reach 1,024 levels; deeper nesting is invalid, which bounds recursion
// over a document. Members with equal keys are all reported, in their order; callers let the last one win.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// Reads a document value by value without copying it; fast for lines of which only a few members matter.
/// After the first error `failed()` is true, and every further call returns false or empty.
///
///   JsonReader reader(line);
///   reader.readObject([&](std::string_view key) {
///     if (key == "id") id = reader.rawValue(); else reader.skipValue();
///   });
///   const bool valid = reader.finish();
///
/// The text must outlive the reader and all views that it returns. The reader checks grammar, escapes and
/// numbers of everything it passes; only `finish` checks UTF-8.
class JsonReader {
 public:
  /// `invalid` means that no value begins here or that the text has ended.
  enum class Kind : std::uint8_t { object, array, string, number, boolean, null, invalid };

  /// A string as written in the text, without its quotation marks.
  struct String {
    std::string_view raw;
    bool escaped = false;  ///< `raw` contains backslash escapes

    /// The decoded text. This is `raw` if there are no escapes; otherwise it is built in `buffer`, which must
    /// then outlive the returned view.
    std::string_view text(std::string& buffer) const;
  };

  explicit JsonReader(std::string_view text) : begin_(text.data()), at_(begin_), end_(begin_ + text.size()) {}

  /// The kind of the next value, which is not consumed.
  Kind peek();

  /// Consumes "{" or "[". If something else comes next or nesting is too deep, returns false and the reader
  /// fails.
  bool beginObject() { return enter('{'); }
  bool beginArray() { return enter('['); }

  /// Moves to the next member and consumes its key. Returns false on failure, or after the last member, once
  /// "}" is consumed.
  bool nextKey(String& key);

  /// Moves to the next element. Returns false on failure, or after the last element, once "]" is consumed.
  bool nextElement();

  /// Consumes a whole object and calls `member` with each key; `member` must consume the value. A value of
  /// another kind is skipped, and false returned.
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

  /// Consume a value of this kind; a value of any other kind is an error.
  String string();
  std::string_view number();  ///< as written
  bool boolean();

  /// Consumes and checks a value of any kind.
  void skipValue() { takeValue(nullptr); }

  /// As `skipValue`, and returns the value as written. The result is meaningless after a failure.
  std::string_view rawValue();

  /// Consumes a value of any kind; absent if it is not a string.
  std::optional<std::string> optionalText();

  /// Consumes a value of any kind and appends it to `out` as compact JSON: no white space, slashes not
  /// escaped, numbers as written. Members with equal keys are all copied.
  void copyValue(std::string& out) { takeValue(&out); }

  /// Whether the whole text was one valid value in valid UTF-8, surrounded only by white space.
  bool finish();

  bool failed() const { return failed_; }

 private:
  void takeValue(std::string* copy);  // appends the value to `copy`, unless null
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
  bool first_ = false;  // at the first member or element, which no comma precedes
  bool failed_ = false;
};

/// Converts a JSON number to a signed 64-bit integer. Fractions are truncated towards 0; numbers out of range
/// become the nearest value in range. `digits` must be a valid JSON number.
std::int64_t integerOfJsonNumber(std::string_view digits);

/// As `integerOfJsonNumber` for numbers without a fractional part, however written (5, 5.0, 5e0); absent for
/// others.
std::optional<std::int64_t> wholeJsonNumber(std::string_view digits);

/// `text` as a JSON string with its quotation marks. Slashes are not escaped; ill-formed UTF-8 becomes
/// U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace tallyfin
