#include "TallyfinCore/Exports/AxisSheet.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinCore/Exports/Attribution.hpp"
#include "TallyfinCore/Exports/BreakdownCSV.hpp"

#include <algorithm>
#include <memory>
#include <utility>

namespace tallyfin {
namespace {

using Entries = std::shared_ptr<const std::vector<Entry>>;
using Unit = Sheet::Unit;

// A column of what a bucket sums up. Rows without a bucket have `idle` in it.
template <typename OfBucket>
Sheet::Column sums(Sheet::Column column, const Entries& entries, const Bucket& total, OfBucket ofBucket,
                   const Sheet::Cell& idle = {}) {
  column.cell = [entries, ofBucket, idle](std::size_t row) {
    const Bucket* const bucket = (*entries)[row].bucket;
    return bucket == nullptr ? idle : Sheet::Cell(ofBucket(*bucket));
  };
  column.total = ofBucket(total);
  return column;
}

// A column of what tells rows apart; it has no total.
template <typename OfEntry>
Sheet::Column words(Sheet::Column column, const Entries& entries, OfEntry ofEntry) {
  column.cell = [entries, ofEntry](std::size_t row) { return Sheet::Cell(ofEntry((*entries)[row])); };
  return column;
}

template <typename Text>
Sheet::Cell orNothing(const std::optional<Text>& text) {
  return text ? Sheet::Cell(std::string(*text)) : Sheet::Cell();
}

Sheet::Cell orNothing(const std::optional<TimePoint>& time) {
  return time ? Sheet::Cell(*time) : Sheet::Cell();
}

void addAttribution(std::vector<Sheet::Column>& columns, const Entries& entries, Axis axis,
                    const Report& report) {
  const auto add = [&](std::string_view id, auto field) {
    columns.push_back(words({.id = id}, entries, [&report, axis, field](const Entry& entry) {
      return orNothing(Exporter::attribution(entry, axis, report).*field);
    }));
  };
  add("project", &Exporter::Attribution::project);
  add("session", &Exporter::Attribution::session);
  add("agent", &Exporter::Attribution::agent);
  add("agent_kind", &Exporter::Attribution::agentKind);
  columns.push_back(words({.id = "attribution_note"}, entries, [&report, axis](const Entry& entry) {
    return Exporter::attribution(entry, axis, report).note;
  }));
}

void addCounts(std::vector<Sheet::Column>& columns, const Entries& entries, const Bucket& total) {
  for (const Exporter::CountColumn& count : Exporter::countColumns()) {
    Sheet::Column column{.id = count.id, .unit = Unit::count};
    if (count.id == "requests") {
      column.title = "requests";
      column.worth = Sheet::always;
    } else if (count.id == "total_tokens") {
      column.title = "tokens";
      column.unit = Unit::tokens;
      column.worth = 3;
    }
    columns.push_back(sums(std::move(column), entries, total, count.of));
  }
}

}  // namespace

Sheet axisSheet(const Report& report, Axis axis, std::vector<Entry> given) {
  const Entries entries = std::make_shared<const std::vector<Entry>>(std::move(given));
  const Bucket& total = report.total;
  double largest = 0;
  for (const Entry& entry : *entries) {
    largest = std::max(largest, entry.bucket == nullptr ? 0 : entry.bucket->cost.priced);
  }
  Sheet sheet{.id = columnValue(axis), .title = concat("by ", rawValue(axis)), .rowCount = entries->size()};
  std::vector<Sheet::Column>& columns = sheet.columns;
  columns.push_back(
      words({.id = "key"}, entries, [](const Entry& entry) { return std::string(entry.key.text()); }));
  columns.push_back(words({.id = "label", .title = rawValue(axis), .worth = Sheet::always + 2}, entries,
                          [](const Entry& entry) { return entry.label(); }));
  addAttribution(columns, entries, axis, report);
  columns.push_back(
      sums({.id = "models", .title = "models", .unit = Unit::models, .worth = axis == Axis::model ? 0 : 2},
           entries, total, [](const Bucket& bucket) { return Sheet::Models{&bucket}; }));
  columns.push_back(sums({.id = "first_activity", .unit = Unit::time}, entries, total,
                         [](const Bucket& bucket) { return orNothing(bucket.firstActivity); }));
  columns.push_back(sums({.id = "last_activity", .unit = Unit::time}, entries, total,
                         [](const Bucket& bucket) { return orNothing(bucket.lastActivity); }));
  addCounts(columns, entries, total);
  columns.push_back(sums(
      {.id = "cost", .title = "cost", .unit = Unit::dollars, .worth = Sheet::always + 1}, entries, total,
      [](const Bucket& bucket) { return Sheet::Amount{&bucket}; }, Sheet::Idle()));
  columns.push_back(sums({.id = "", .title = "", .unit = Unit::share, .worth = 1}, entries, total,
                         [largest](const Bucket& bucket) {
                           return Sheet::Share{&bucket, largest};
                         }));
  columns.back().total = std::nullopt;
  return sheet;
}

}  // namespace tallyfin
