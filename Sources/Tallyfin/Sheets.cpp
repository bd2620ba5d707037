#include "Tallyfin/Sheets.hpp"

#include "Platform/Concat.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/SheetDrawing.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Exports/SheetJSON.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinCore/Figures/Money.hpp"

#include <optional>
#include <utility>

namespace tallyfin::Command {

Option jsonOption() {
  return {.name = "json", .value = "", .help = "Print a JSON document (docs/export.schema.json)"};
}

Option limitOption(std::string help) {
  return {.name = "limit", .value = "N", .help = std::move(help), .values = Values::number};
}

void setQuestion(Sheet& sheet, const Days& days, const Period& period, const Filters& filters) {
  sheet.range = {days.label ? concat(*days.label, " (", period.label, ")") : period.label, period.from,
                 period.through};
  sheet.filters = {{"agent", std::nullopt}, {"project", std::nullopt}, {"session", std::nullopt}};
  for (const auto& [name, value] : filters.named()) {
    for (auto& [id, set] : sheet.filters) {
      if (id == name) {
        set = value;
      }
    }
  }
}

std::vector<std::string> notesOn(const Report& report, const DataSource& data) {
  std::vector<std::string> notes;
  if (report.total.requests < 1) {
    notes.emplace_back("There are no requests in this range.");
  }
  for (const auto& note : {unpricedNote(report.total, mostNames), ownPricesNote(report.total.cost, mostNames),
                           assumedNote(report.total), unreadableNote(data)}) {
    if (note) {
      notes.push_back(*note);
    }
  }
  return notes;
}

void disclaim(std::vector<std::string>& notes) {
  notes.emplace_back(Derived::disclaimer);
}

int show(const Sheet& sheet, const DataSource& data, const Call& call) {
  if (call.arguments.has("json")) {
    return print(Exporter::sheetJSON(sheet, data.diagnostics(), data.now()), call.console);
  }
  return draw(sheet, call.console);
}

}  // namespace tallyfin::Command
