#pragma once

// What the documents of Exporter share: the rows of a CSV, and the table of axes.

#include "TallyfinCore/Exports/Exporter.hpp"

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

  void text(std::string_view cell) { add(textField(cell)); }
  void number(std::int64_t cell) { add(std::to_string(cell)); }
  void endRow();

  std::string document() && { return std::move(out_); }

 private:
  void add(std::string_view field);

  std::string out_;
  bool isFirstCell_ = true;
};

/// The cells of a row that depend on its axis. The views live as long as entry and report.
struct Attribution {
  std::string_view project = notBrokenDown;
  std::string_view session = notBrokenDown;
  std::string_view agent = notBrokenDown;
  std::string_view agentKind = notBrokenDown;
  std::string note;  ///< why the row stands under its key
};
Attribution attribution(const Entry& entry, Axis axis, const Report& report);

}  // namespace tallyfin::Exporter
