#include "TallyfinCore/Exports/CSVText.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"

namespace tallyfin::Exporter {

CSVWriter::CSVWriter(bool byteOrderMark, std::span<const std::string_view> columns) {
  if (byteOrderMark) {
    out_ = "\uFEFF";
  }
  for (const std::string_view column : columns) {
    text(column);
  }
  endRow();
}

void CSVWriter::add(std::string_view field) {
  append(out_, isFirstCell_ ? "" : ",", field);
  isFirstCell_ = false;
}

void CSVWriter::endRow() {
  out_ += '\n';
  isFirstCell_ = true;
}

std::string textField(std::string_view text) {
  // Bytes, not user-perceived characters: a spreadsheet takes "=" for a formula, and a CSV reader a comma for
  // the end of a cell, whatever combining mark follows.
  constexpr std::string_view kFormulaStarts = "=+-@\t\r";
  std::string field = Text::repaired(text);
  if (!field.empty() && kFormulaStarts.find(field.front()) != std::string_view::npos) {
    field.insert(0, 1, '\'');
  }
  if (field.find_first_of(",\"\n\r") == std::string::npos) {
    return field;
  }
  std::string quoted = "\"";
  for (const char byte : field) {
    quoted.append(byte == '"' ? 2 : 1, byte);
  }
  return quoted += '"';
}

}  // namespace tallyfin::Exporter
