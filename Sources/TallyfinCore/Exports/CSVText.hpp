#pragma once

// How a CSV writes texts and numbers: RFC 4180, and no cell that a spreadsheet would take for a formula.

#include "Platform/Numbers.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tallyfin::Exporter {

/// A text as a CSV cell: never run as a formula by a spreadsheet, quoted where it must be.
std::string textField(std::string_view text);

using tallyfin::decimal;
using tallyfin::grouped;

/// Writes a CSV cell by cell: commas between cells, a line feed after each row, the last one too.
class CSVWriter {
 public:
  /// Begins with the byte order mark, if wanted, and the header.
  CSVWriter(bool byteOrderMark, std::span<const std::string_view> columns);

  void text(std::string_view cell);
  void number(std::int64_t cell) { add(std::to_string(cell)); }
  void endRow();

  /// The lines since the beginning, or since they were last dropped.
  const std::string& lines() const { return out_; }
  void dropLines() { out_.clear(); }

 private:
  void add(std::string_view field);

  std::string out_;
  bool isFirstCell_ = true;
};

}  // namespace tallyfin::Exporter
