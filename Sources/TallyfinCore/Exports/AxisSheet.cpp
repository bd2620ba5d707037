#include "TallyfinCore/Exports/AxisSheet.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinCore/Exports/Attribution.hpp"
#include "TallyfinCore/Exports/BreakdownCSV.hpp"

#include <algorithm>
#include <memory>
#include <utility>

namespace tallyfin {
namespace {

using Unit = Sheet::Unit;

template <typename Value>
Sheet::Cell orNothing(const std::optional<Value>& value) {
  return value ? Sheet::Cell(*value) : Sheet::Cell();
}
Sheet::Cell orNothing(const std::optional<std::string_view>& text) {
  return text ? Sheet::Cell(std::string(*text)) : Sheet::Cell();
}

// Adds the columns of an axis in the order that documents use.
class AxisColumns {
 public:
  AxisColumns(const Report& report, Axis axis, std::vector<Entry> entries, const Calendar& calendar)
      : report_(report),
        axis_(axis),
        calendar_(calendar),
        entries_(std::make_shared<const std::vector<Entry>>(std::move(entries))) {}

  std::vector<Sheet::Column> all() {
    addNames();
    addAttribution();
    sums({.id = "models", .title = "models", .unit = Unit::models, .worth = axis_ == Axis::model ? 0 : 2},
         [](const Bucket& bucket) { return Sheet::Models{&bucket}; });
    sums({.id = "first_activity", .unit = Unit::time},
         [](const Bucket& bucket) { return orNothing(bucket.firstActivity); });
    sums({.id = "last_activity", .unit = Unit::time},
         [](const Bucket& bucket) { return orNothing(bucket.lastActivity); });
    addCounts();
    sums(
        {.id = "cost", .title = "cost", .unit = Unit::dollars, .worth = Sheet::always + 1},
        [](const Bucket& bucket) { return Sheet::Amount{&bucket}; }, Sheet::Idle());
    if (axis_ == Axis::kind) {
      addRuns();
    }
    addBar();
    return std::move(columns_);
  }

 private:
  // Adds a column that identifies the row; it has no total.
  template <typename OfEntry>
  void words(Sheet::Column column, OfEntry ofEntry) {
    column.cell = [entries = entries_, ofEntry](std::size_t row) {
      return Sheet::Cell(ofEntry((*entries)[row]));
    };
    columns_.push_back(std::move(column));
  }

  // Adds a column computed from a bucket. Rows without a bucket show `idle`.
  template <typename OfBucket>
  void sums(Sheet::Column column, OfBucket ofBucket, const Sheet::Cell& idle = {}) {
    column.cell = [entries = entries_, ofBucket, idle](std::size_t row) {
      const Bucket* const bucket = (*entries)[row].bucket;
      return bucket == nullptr ? idle : Sheet::Cell(ofBucket(*bucket));
    };
    column.total = ofBucket(report_.total);
    columns_.push_back(std::move(column));
  }

  void addNames() {
    words({.id = "key"}, [](const Entry& entry) { return std::string(entry.key.text()); });
    words({.id = "label", .title = rawValue(axis_), .worth = Sheet::always + 2},
          [](const Entry& entry) { return entry.label(); });
  }

  void addAttribution() {
    const auto add = [this](std::string_view id, auto field) {
      words({.id = id}, [&report = report_, axis = axis_, field](const Entry& entry) {
        return orNothing(Exporter::attribution(entry, axis, report).*field);
      });
    };
    add("project", &Exporter::Attribution::project);
    add("session", &Exporter::Attribution::session);
    add("agent", &Exporter::Attribution::agent);
    add("agent_kind", &Exporter::Attribution::agentKind);
    words({.id = "attribution_note"}, [&report = report_, axis = axis_](const Entry& entry) {
      return Exporter::attribution(entry, axis, report).note;
    });
  }

  void addCounts() {
    for (const Exporter::CountColumn& count : Exporter::countColumns()) {
      Sheet::Column column{.id = count.id, .unit = Unit::count};
      if (count.id == "requests") {
        column.title = "requests";
        column.worth = axis_ == Axis::kind ? 7 : Sheet::always;  // leaves room for the runs
      } else if (count.id == "total_tokens") {
        column.title = "tokens";
        column.unit = Unit::tokens;
        column.worth = 3;
      }
      sums(std::move(column), count.of);
    }
  }

  // Adds the runs of each kind, the cost of one on average, the share of the cost, and the last day.
  void addRuns() {
    std::int64_t all = 0;
    for (const auto& [kind, runs] : report_.runsByKind) {
      all += runs;
    }
    words({.id = "runs", .title = "runs", .unit = Unit::count, .worth = Sheet::always},
          [](const Entry& entry) { return entry.runs; });
    columns_.back().total = all;

    const auto averages = std::make_shared<std::vector<Bucket>>();
    averages->reserve(entries_->size() + 1);
    for (const Entry& entry : *entries_) {
      averages->push_back(average(*entry.bucket, entry.runs));
    }
    averages->push_back(average(report_.total, all));
    Sheet::Column perRun{.id = "cost_per_run", .title = "per run", .unit = Unit::dollars, .worth = 9};
    perRun.cell = [averages](std::size_t row) { return Sheet::Cell(Sheet::Amount{&(*averages)[row]}); };
    perRun.total = Sheet::Amount{&averages->back()};
    columns_.push_back(std::move(perRun));

    words({.id = "share", .title = "share", .unit = Unit::percent, .worth = 8},
          [whole = report_.total.cost.priced](const Entry& entry) {
            return Sheet::Share{entry.bucket, whole};
          });
    sums({.id = "", .title = "last day", .worth = 6}, [calendar = calendar_](const Bucket& bucket) {
      return bucket.lastActivity ? Sheet::Cell(calendar.formatDay(*bucket.lastActivity)) : Sheet::Cell();
    });
  }

  // A bucket that has only the requests, and their cost divided by the number of runs.
  static Bucket average(const Bucket& sum, std::int64_t runs) {
    Bucket bucket;
    bucket.requests = sum.requests;
    bucket.cost = sum.cost.scaled(1.0 / static_cast<double>(std::max<std::int64_t>(runs, 1)));
    return bucket;
  }

  // Adds a bar for people: the cost of a row relative to the most expensive row.
  void addBar() {
    double largest = 0;
    for (const Entry& entry : *entries_) {
      largest = std::max(largest, entry.bucket == nullptr ? 0 : entry.bucket->cost.priced);
    }
    sums({.id = "", .unit = Unit::share, .worth = 1}, [largest](const Bucket& bucket) {
      return Sheet::Share{&bucket, largest};
    });
    columns_.back().total = std::nullopt;
  }

  const Report& report_;
  Axis axis_;
  Calendar calendar_;
  std::shared_ptr<const std::vector<Entry>> entries_;
  std::vector<Sheet::Column> columns_;
};

}  // namespace

Sheet axisSheet(const Report& report, Axis axis, std::vector<Entry> entries, const Calendar& calendar) {
  const std::size_t count = entries.size();
  return {.calendar = calendar,
          .id = columnValue(axis),
          .title = concat("by ", rawValue(axis)),
          .columns = AxisColumns(report, axis, std::move(entries), calendar).all(),
          .rowCount = count};
}

}  // namespace tallyfin
