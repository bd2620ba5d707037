#pragma once

// What is shown in rows: typed cells below a title, with range, filters, total and notes. The tables of the
// command and the JSON document draw sheets.

#include "Platform/Calendar.hpp"
#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Figures/Report.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tallyfin {

/// A table that does not say yet how it is drawn. Cells are made when they are asked for, so what is not
/// drawn costs nothing. They refer to the report, which must outlive the sheet.
struct Sheet {
  /// In the column of amounts: nothing happened in the time of the row.
  struct Idle {};
  /// The cost of a bucket, and whether that is complete, a lower bound or unknown.
  struct Amount {
    const Bucket* bucket;
  };
  /// The models of a bucket with their requests.
  struct Models {
    const Bucket* bucket;
  };
  /// The cost of a bucket as a part of `whole`, in dollars.
  struct Share {
    const Bucket* bucket;
    double whole;
  };
  /// std::monostate: there is nothing to say. A text is a name from the transcripts or words of our own.
  using Cell =
      std::variant<std::monostate, std::string, std::int64_t, TimePoint, Amount, Idle, Models, Share>;

  enum class Unit : std::uint8_t { text, dollars, count, tokens, time, models, share };

  struct Column {
    std::string_view id;          ///< the name in documents; empty in a column that documents do not have
    std::string_view title = {};  ///< the heading that a person sees
    Unit unit = Unit::text;
    /// A person sees the columns in the order of their worth, highest first. When the width shrinks, those
    /// below `always` give way, lowest first. 0: for documents alone.
    int worth = 0;
    std::function<Cell(std::size_t row)> cell = {};
    std::optional<Cell> total = {};  ///< absent when the column has no total
  };

  /// The worth from which on a column is shown at any width.
  static constexpr int always = 10;

  struct Range {
    std::string label;
    std::optional<TimePoint> from = {};     ///< start of the first day; absent: from the beginning
    std::optional<TimePoint> through = {};  ///< start of the last day; absent: up to the end
  };

  Calendar calendar = Calendar::utc();  ///< of the times in cells
  std::string_view id;                  ///< what a row stands for, in documents: "project", "raw_cwd", ...
  std::string title;
  Range range = {};
  /// What a row counts must belong to: "agent", "project", "session". A filter without a value is not set.
  std::vector<std::pair<std::string_view, std::optional<std::string>>> filters = {};
  std::vector<Column> columns = {};
  std::size_t rowCount = 0;
  std::size_t rowsLeftOut = 0;          ///< rows that a limit left out; the total has them
  std::vector<std::string> notes = {};  ///< each a paragraph
};

}  // namespace tallyfin
