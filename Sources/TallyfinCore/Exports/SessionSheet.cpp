#include "TallyfinCore/Exports/SessionSheet.hpp"

#include "Platform/Text.hpp"
#include "TallyfinCore/Exports/AxisSheet.hpp"

#include <cstddef>
#include <utility>

namespace tallyfin {
namespace {

using Unit = Sheet::Unit;

// What tables show of the columns of the session axis.
void setWorth(Sheet::Column& column) {
  if (column.id == "last_activity") {
    column.title = "last request";
    column.worth = Sheet::always + 2;
  } else if (column.id == "cost") {
    column.worth = Sheet::always + 1;
  } else if (column.id == "project") {
    column.title = "project";
    column.worth = 8;
  } else if (column.id == "requests") {
    column.worth = 3;
  } else {
    column.worth = 0;
  }
}

Sheet::Cell textOrNothing(const std::optional<std::string>& text) {
  return text ? Sheet::Cell(*text) : Sheet::Cell();
}

// The beginning of an id, which identifies a session on the command line.
std::string shortId(InternedText id) {
  constexpr std::size_t kShort = 8;
  return std::string(Text::prefix(id.text(), kShort));
}

}  // namespace

Sheet sessionSheet(const Answers::Sessions& sessions, const Calendar& calendar) {
  std::vector<Entry> entries;
  entries.reserve(sessions.rows.size());
  for (const Answers::SessionRow& row : sessions.rows) {
    entries.push_back({.key = row.id, .bucket = row.bucket});
  }
  Sheet sheet = axisSheet(*sessions.report, Axis::session, std::move(entries), calendar);
  sheet.title = "sessions";
  for (Sheet::Column& column : sheet.columns) {
    setWorth(column);
  }
  const auto add = [&](Sheet::Column column, auto cellOf) {
    column.cell = [&rows = sessions.rows, cellOf](std::size_t row) { return Sheet::Cell(cellOf(rows[row])); };
    sheet.columns.push_back(std::move(column));
  };
  using Row = Answers::SessionRow;
  const double whole = sessions.report->total.cost.priced;
  add({.id = "", .title = "session", .worth = 7}, [](const Row& row) { return shortId(row.id); });
  add({.id = "title", .title = "title", .unit = Unit::phrase, .worth = 9},
      [](const Row& row) { return textOrNothing(row.description.title); });
  add({.id = "branch", .title = "branch", .worth = 4},
      [](const Row& row) { return textOrNothing(row.description.branch); });
  add({.id = "agents", .title = "agents", .unit = Unit::count, .worth = 6},
      [](const Row& row) { return row.agents; });
  add({.id = "share", .title = "share", .unit = Unit::percent, .worth = 5}, [whole](const Row& row) {
    return Sheet::Share{row.bucket, whole};
  });
  sheet.rowsLeftOut = static_cast<std::size_t>(sessions.leftOut);
  return sheet;
}

}  // namespace tallyfin
