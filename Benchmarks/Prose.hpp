#pragma once

// Generates text for transcripts: prose, code and tool output from a fixed vocabulary, escaped for JSON.

#include "Random.hpp"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace tallyfin::corpus {

/// The kinds of text.
enum class TextKind { prose, code, output };

/// A stock of escaped text, generated once, from which pieces are copied. Generating a gigabyte word by word
/// would take a minute; copying takes a second.
class Prose {
 public:
  explicit Prose(Random random);

  /// Appends about `length` bytes of whole sentences or lines, escaped for use inside a JSON string.
  void append(std::string& out, TextKind kind, std::size_t length, Random& random) const;

 private:
  struct Stock {
    std::string text;
    std::vector<std::size_t> starts;  // offsets of sentences or lines, then the size of the text
  };

  std::array<Stock, 3> stocks_;
};

/// Appends `text` (UTF-8), escaped for use inside a JSON string.
void appendEscaped(std::string& out, std::string_view text);

}  // namespace tallyfin::corpus
