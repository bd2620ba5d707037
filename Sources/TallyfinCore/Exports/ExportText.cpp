#include "TallyfinCore/Exports/ExportText.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Exports/Exporter.hpp"
#include "absl/strings/str_format.h"

namespace tallyfin::Exporter {
namespace {

void appendQuoted(std::string& out, std::string_view text) {
  for (const char byte : text) {
    out.append(byte == '"' ? 2 : 1, byte);
  }
}

void appendTextField(std::string& out, std::string_view text) {
  if (!Text::isValidUtf8(text)) {
    appendTextField(out, Text::repaired(text));
    return;
  }
  // Bytes, not user-perceived characters: a spreadsheet takes "=" for a formula, and a CSV reader a comma for
  // the end of a cell, whatever combining mark follows.
  constexpr std::string_view kFormulaStarts = "=+-@\t\r";
  const bool isFormula = !text.empty() && kFormulaStarts.find(text.front()) != std::string_view::npos;
  const std::string_view guard = isFormula ? "'" : "";
  if (text.find_first_of(",\"\n\r") == std::string_view::npos) {
    append(out, guard, text);
    return;
  }
  append(out, "\"", guard);
  appendQuoted(out, text);
  out += '"';
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

void CSVWriter::beginCell() {
  if (!isFirstCell_) {
    out_ += ',';
  }
  isFirstCell_ = false;
}

void CSVWriter::text(std::string_view cell) {
  beginCell();
  appendTextField(out_, cell);
}

void CSVWriter::number(std::int64_t cell) {
  beginCell();
  out_ += std::to_string(cell);
}

void CSVWriter::endRow() {
  out_ += '\n';
  isFirstCell_ = true;
}

std::string textField(std::string_view text) {
  std::string field;
  appendTextField(field, text);
  return field;
}

std::string grouped(std::int64_t n) {
  return tallyfin::grouped(n);
}

std::string decimal(double value, int places) {
  return absl::StrFormat("%.*f", places, value == 0 ? 0.0 : value);  // -0.0 loses its sign
}

std::string plural(std::int64_t n, std::string_view one, std::string_view many) {
  return concat(std::to_string(n), " ", noun(n, one, many));
}

CostFields costFields(const Bucket& bucket) {
  if (bucket.requests < 1) {
    return {std::string(unknown), "unknown — no request in range"};
  }
  if (bucket.cost.isUnknown()) {
    return {std::string(unknown), "unknown — no known price for any request in this row"};
  }
  const bool isOwn = !bucket.cost.ownPricedModels.empty();
  return {decimal(bucket.cost.priced, moneyDecimalsCSV),
          bucket.cost.isComplete() ? (isOwn ? "complete, own prices" : "complete")
          : isOwn                  ? "lower bound — priced requests only, own prices"
                                   : "lower bound — priced requests only"};
}

}  // namespace tallyfin::Exporter
