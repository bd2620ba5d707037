#pragma once

// Text and numbers in CSV (RFC 4180). No cell can be taken for a formula by a spreadsheet.

#include "Platform/Numbers.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

/// A text as a CSV cell, quoted if necessary and protected from being run as a formula.
std::string textField(std::string_view text);

using tallyfin::decimal;
using tallyfin::grouped;

/// Writes a CSV cell by cell. Puts commas between cells and a line feed after every row, including the last.
class CSVWriter {
 public:
  /// Starts with the byte order mark, if requested, and the header.
  CSVWriter(bool byteOrderMark, std::span<const std::string_view> columns);

  void text(std::string_view cell);
  void number(std::int64_t cell) { add(std::to_string(cell)); }
  void endRow();

  /// The lines written since the start or since they were last dropped.
  const std::string& lines() const { return out_; }
  void dropLines() { out_.clear(); }

 private:
  void add(std::string_view field);

  std::string out_;
  bool isFirstCell_ = true;
};

}  // namespace tallyfin::Exporter
