#pragma once

// Text for transcripts: prose, code and tool output made of a vocabulary, already escaped for JSON.

#include "Random.hpp"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace tallyfin::corpus {

/// What a text looks like.
enum class TextKind { prose, code, output };

/// A stock of escaped text, made once, from which pieces are copied: a gigabyte of words drawn one by one
/// would take a minute, copied pieces take a second.
class Prose {
 public:
  explicit Prose(Random random);

  /// Appends about `length` bytes of text, whole sentences or lines, ready to stand inside a JSON string.
  void append(std::string& out, TextKind kind, std::size_t length, Random& random) const;

 private:
  struct Stock {
    std::string text;
    std::vector<std::size_t> starts;  // where each sentence or line begins, and the end of the text
  };

  std::array<Stock, 3> stocks_;
};

/// Appends `text` (UTF-8) as the inside of a JSON string.
void appendEscaped(std::string& out, std::string_view text);

}  // namespace tallyfin::corpus
