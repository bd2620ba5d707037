#include "TallyfinCore/Exports/CSVText.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"

#include <algorithm>

namespace tallyfin::Exporter {
namespace {

// Compares bytes, not user-perceived characters: a spreadsheet reads "=" as a formula even if a combining
// mark follows.
bool startsFormula(std::string_view field) {
  constexpr std::string_view kStarts = "=+-@\t\r";
  return !field.empty() && kStarts.find(field.front()) != std::string_view::npos;
}

}  // namespace

CSVWriter::CSVWriter(bool byteOrderMark, std::span<const std::string_view> columns) {
  if (byteOrderMark) {
    out_ = "\uFEFF";
  }
  for (const std::string_view column : columns) {
    text(column);
  }
  endRow();
}

void CSVWriter::text(std::string_view cell) {
  // Most cells need no change; return them without a copy.
  const auto isPlain = [](char byte) { return byte >= 0x20 && byte < 0x7F && byte != ',' && byte != '"'; };
  if (!startsFormula(cell) && std::ranges::all_of(cell, isPlain)) {
    add(cell);
  } else {
    add(textField(cell));
  }
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
  std::string field = Text::repaired(text);
  if (startsFormula(field)) {
    field.insert(0, 1, '\'');
  }
  // Compares bytes too: a comma ends a cell even if a combining mark follows.
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
