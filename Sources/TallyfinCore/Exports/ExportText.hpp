#pragma once

// What the documents of Exporter share: the rows of a CSV, the table of axes, and the counts of a row.

#include "TallyfinCore/Exports/Exporter.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

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

/// The cells of a row that depend on its axis. A cell is absent when it does not apply on that axis. The
/// views live as long as the report.
struct Attribution {
  std::optional<std::string_view> project = {};
  std::optional<std::string_view> session = {};
  std::optional<std::string> agent = {};
  std::optional<std::string_view> agentKind = {};
  std::string note;  ///< why the row stands under its key
};
Attribution attribution(const Entry& entry, Axis axis, const Report& report);

/// What a row counts beside its cost: the columns of counts of a breakdown, in their order.
std::vector<std::pair<std::string_view, std::int64_t>> counts(const Bucket& bucket);

}  // namespace tallyfin::Exporter
