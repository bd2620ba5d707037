#pragma once

// Data in rows: typed cells with a title, range, filters, total and notes. The command's tables and the JSON
// document are made from sheets.

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

/// A table without a layout. Cells are computed only when a reader asks for them, so cells that are not drawn
/// cost nothing. Cells refer to the report, which must outlive the sheet.
struct Sheet {
  /// In the cost column: there were no requests in the row's time.
  struct Idle {};
  /// The cost of a bucket: complete, a lower bound, or unknown.
  struct Amount {
    const Bucket* bucket;
  };
  /// The models of a bucket, each with its number of requests.
  struct Models {
    const Bucket* bucket;
  };
  /// The cost of a bucket as a share of `whole` dollars.
  struct Share {
    const Bucket* bucket;
    double whole;
  };
  /// std::monostate: an empty cell. A text is a name from the transcripts or our own words.
  using Cell =
      std::variant<std::monostate, std::string, std::int64_t, TimePoint, Amount, Idle, Models, Share>;

  /// A `phrase` is a text whose beginning is enough, such as a title. A `share` is drawn as a bar, a
  /// `percent` as a number.
  enum class Unit : std::uint8_t { text, phrase, dollars, count, tokens, time, models, share, percent };

  struct Column {
    std::string_view id;          ///< the name in documents; empty if documents do not have the column
    std::string_view title = {};  ///< the heading for people
    Unit unit = Unit::text;
    /// Tables for people sort columns by worth, highest first. If the width is too small, columns below
    /// `always` are dropped, lowest worth first. 0: only in documents.
    int worth = 0;
    std::function<Cell(std::size_t row)> cell = {};
    std::optional<Cell> total = {};  ///< absent when the column has no total
  };

  /// Columns of at least this worth are shown at any width.
  static constexpr int always = 10;

  struct Range {
    std::string label;
    std::optional<TimePoint> from = {};     ///< start of the first day; absent: no lower bound
    std::optional<TimePoint> through = {};  ///< start of the last day; absent: no upper bound
  };

  Calendar calendar = Calendar::utc();  ///< of the times in cells
  std::string_view id;                  ///< the kind of row, in documents: "project", "raw_cwd", ...
  std::string title;
  Range range = {};
  /// The agent, project or session to which the requests are narrowed, by "agent", "project", "session". No
  /// value: not narrowed.
  std::vector<std::pair<std::string_view, std::optional<std::string>>> filters = {};
  std::vector<Column> columns = {};
  std::size_t rowCount = 0;
  std::size_t rowsLeftOut = 0;          ///< rows cut by a limit; the total includes them
  std::vector<std::string> notes = {};  ///< each a paragraph
};

}  // namespace tallyfin
