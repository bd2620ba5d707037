#include "TallyfinCore/Exports/BreakdownCSV.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinCore/Exports/Attribution.hpp"
#include "TallyfinCore/Exports/CSVText.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <cstddef>
#include <functional>

namespace tallyfin::Exporter {
namespace {

// The cells of a row that are not plain sums of its bucket.
struct Row : Attribution, CostCells {
  std::string_view axis;
  const Entry& entry;
  const Bucket& bucket;
  const Stamps& stamps;
  std::string_view currency = currencyCode;

  std::string_view key() const { return entry.key.text(); }
  std::string label() const { return entry.label(); }

  std::string models() const {
    if (bucket.modelCounts.empty()) {
      return "unknown — no model recorded on this row";
    }
    return absl::StrJoin(bucket.modelsByUse(), "; ", [](std::string* out, const auto& model) {
      append(*out, model.first.text(), " (", std::to_string(model.second), ")");
    });
  }

  std::string firstActivity() const { return instant(bucket.firstActivity); }
  std::string lastActivity() const { return instant(bucket.lastActivity); }
  std::string instant(std::optional<TimePoint> time) const {
    return time ? stamps.instant(*time) : "unknown — the row holds no dated request";
  }

  std::string unpricedModels() const {
    return bucket.cost.unpricedModels.empty() ? "(none)" : bucket.cost.unpricedNames("; ");
  }
};

struct Column {
  std::string_view header;
  void (*write)(CSVWriter& csv, const Row& row);
  std::int64_t (*count)(const Bucket& bucket) = nullptr;  // set only in count columns
};

template <auto Cell>
void text(CSVWriter& csv, const Row& row) {
  csv.text(std::invoke(Cell, row));
}

template <auto Cell>
void attributed(CSVWriter& csv, const Row& row) {
  const auto& cell = std::invoke(Cell, row);
  csv.text(cell ? std::string_view(*cell) : notBrokenDown);
}

void unpricedRequests(CSVWriter& csv, const Row& row) {
  csv.number(row.bucket.cost.unpricedRequests);
}

template <auto Count>
constexpr Column count(std::string_view header) {
  return {header, [](CSVWriter& csv, const Row& row) { csv.number(std::invoke(Count, row.bucket)); },
          [](const Bucket& bucket) { return std::invoke(Count, bucket); }};
}

constexpr std::array<Column, breakdownColumns.size()> kColumns = {{
    {"axis", text<&Row::axis>},
    {"key", text<&Row::key>},
    {"label", text<&Row::label>},
    {"project", attributed<&Row::project>},
    {"session", attributed<&Row::session>},
    {"agent", attributed<&Row::agent>},
    {"agent_kind", attributed<&Row::agentKind>},
    {"models", text<&Row::models>},
    {"attribution_note", text<&Row::note>},
    {"first_activity", text<&Row::firstActivity>},
    {"last_activity", text<&Row::lastActivity>},
    count<&Bucket::requests>("requests"),
    count<&Bucket::input>("input_tokens"),
    count<&Bucket::output>("output_tokens"),
    count<&Bucket::cacheWrite5m>("cache_write_5m_tokens"),
    count<&Bucket::cacheWrite1h>("cache_write_1h_tokens"),
    count<&Bucket::cacheRead>("cache_read_tokens"),
    count<&Bucket::totalTokens>("total_tokens"),
    count<&Bucket::webSearch>("web_search_requests"),
    count<&Bucket::webFetch>("web_fetch_requests"),
    {"currency", text<&Row::currency>},
    {"cost", text<&Row::amount>},
    {"cost_basis", text<&Row::basis>},
    {"unpriced_requests", unpricedRequests},
    {"unpriced_models", text<&Row::unpricedModels>},
    count<&Bucket::cacheWriteAssumedRequests>("cache_write_assumed_requests"),
}};

}  // namespace

const std::array<std::string_view, 26> breakdownColumns = [] {
  std::array<std::string_view, kColumns.size()> headers;
  std::transform(kColumns.begin(), kColumns.end(), headers.begin(),
                 [](const Column& column) { return column.header; });
  return headers;
}();

std::vector<CountColumn> countColumns() {
  std::vector<CountColumn> all;
  for (const Column& column : kColumns) {
    if (column.count != nullptr) {
      all.push_back({column.header, column.count});
    }
  }
  return all;
}

std::string breakdownCSV(const Report& report, Axis axis, const Options& options) {
  std::string table;
  writeBreakdownCSV(report, axis, options, [&](std::string_view lines) { table += lines; });
  return table;
}

void writeBreakdownCSV(const Report& report, Axis axis, const Options& options,
                       absl::FunctionRef<void(std::string_view)> out) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  const Stamps stamps(options.calendar);
  CSVWriter csv(options.byteOrderMark, breakdownColumns);
  for (const Entry& entry : rows(report, axis, options.calendar, options.limitPerAxis)) {
    const Row row{{attribution(entry, axis, report)},
                  {costInTable(*entry.bucket)},
                  columnValue(axis),
                  entry,
                  *entry.bucket,
                  stamps};
    for (const Column& column : kColumns) {
      column.write(csv, row);
    }
    csv.endRow();
    if (csv.lines().size() > kPiece) {
      out(csv.lines());
      csv.dropLines();
    }
  }
  out(csv.lines());
}

std::vector<AxisCSV> allBreakdownCSVs(const Report& report, const Options& options) {
  std::vector<AxisCSV> tables;
  for (const Axis axis : transcriptAxes) {
    if (rowCount(report, axis) > 0) {
      tables.push_back({axis, breakdownCSV(report, axis, options)});
    }
  }
  return tables;
}

}  // namespace tallyfin::Exporter
