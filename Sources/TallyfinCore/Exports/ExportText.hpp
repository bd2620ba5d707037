#pragma once

// What the documents of Exporter share: CSV rows and the words for counts and costs.

#include "TallyfinCore/Figures/Aggregation.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tallyfin::Exporter {

/// Writes a CSV cell by cell: commas between cells, a line feed after each row, the last one too.
class CSVWriter {
 public:
  /// Begins with the mark, if wanted, and the header.
  CSVWriter(bool byteOrderMark, std::span<const std::string_view> columns);

  void text(std::string_view cell);
  void number(std::int64_t cell);
  void endRow();

  std::string document() && { return std::move(out_); }

 private:
  void beginCell();

  std::string out_;
  bool isFirstCell_ = true;
};

/// A plain count with its noun, without commas: "1204 requests".
std::string plural(std::int64_t n, std::string_view one, std::string_view many);

/// The cost of a bucket as a cell, and in words what kind of amount that is.
struct CostFields {
  std::string value;
  std::string_view basis;
};
CostFields costFields(const Bucket& bucket);

}  // namespace tallyfin::Exporter
