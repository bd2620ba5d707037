// The breakdown of a report along one axis as a table.

#include "Platform/Concat.hpp"
#include "TallyfinCore/Exports/ExportText.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <span>

namespace tallyfin::Exporter {
namespace {

// A row before it is written, with the cells that are not simply sums of its bucket.
struct Row : Attribution, CostCells {
  std::string_view axis;
  const Entry& entry;
  const Bucket& bucket;
  const Stamps& stamps;
  std::string_view currency = currencyCode;

  std::string_view key() const { return entry.key; }
  std::string_view label() const { return entry.label; }

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

std::int64_t unpricedRequests(const Bucket& bucket) {
  return bucket.cost.unpricedRequests;
}

template <auto Cell>
void text(CSVWriter& csv, const Row& row) {
  csv.text(std::invoke(Cell, row));
}

template <auto Count>
void count(CSVWriter& csv, const Row& row) {
  csv.number(std::invoke(Count, row.bucket));
}

struct Column {
  std::string_view header;
  void (*write)(CSVWriter& csv, const Row& row);
};

constexpr std::array<Column, breakdownColumns.size()> kColumns = {{
    {"axis", text<&Row::axis>},
    {"key", text<&Row::key>},
    {"label", text<&Row::label>},
    {"project", text<&Row::project>},
    {"session", text<&Row::session>},
    {"agent", text<&Row::agent>},
    {"agent_kind", text<&Row::agentKind>},
    {"models", text<&Row::models>},
    {"attribution_note", text<&Row::note>},
    {"first_activity", text<&Row::firstActivity>},
    {"last_activity", text<&Row::lastActivity>},
    {"requests", count<&Bucket::requests>},
    {"input_tokens", count<&Bucket::input>},
    {"output_tokens", count<&Bucket::output>},
    {"cache_write_5m_tokens", count<&Bucket::cacheWrite5m>},
    {"cache_write_1h_tokens", count<&Bucket::cacheWrite1h>},
    {"cache_read_tokens", count<&Bucket::cacheRead>},
    {"total_tokens", count<&Bucket::totalTokens>},
    {"web_search_requests", count<&Bucket::webSearch>},
    {"web_fetch_requests", count<&Bucket::webFetch>},
    {"currency", text<&Row::currency>},
    {"cost", text<&Row::amount>},
    {"cost_basis", text<&Row::basis>},
    {"unpriced_requests", count<&unpricedRequests>},
    {"unpriced_models", text<&Row::unpricedModels>},
    {"cache_write_assumed_requests", count<&Bucket::cacheWriteAssumedRequests>},
}};

std::string table(std::span<const Entry> entries, const Report& report, Axis axis, const Options& options) {
  const Stamps stamps(options.calendar);
  CSVWriter csv(options.byteOrderMark, breakdownColumns);
  const auto limit = static_cast<std::uint64_t>(std::max<std::int64_t>(options.limitPerAxis.value_or(0), 0));
  if (options.limitPerAxis && limit < entries.size()) {
    entries = entries.first(limit);
  }
  for (const Entry& entry : entries) {
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
  }
  return std::move(csv).document();
}

}  // namespace

const std::array<std::string_view, 26> breakdownColumns = [] {
  std::array<std::string_view, kColumns.size()> headers;
  std::transform(kColumns.begin(), kColumns.end(), headers.begin(),
                 [](const Column& column) { return column.header; });
  return headers;
}();

std::string breakdownCSV(const Report& report, Axis axis, const Options& options) {
  return table(rows(report, axis, options.calendar), report, axis, options);
}

std::vector<AxisCSV> allBreakdownCSVs(const Report& report, const Options& options) {
  std::vector<AxisCSV> tables;
  for (const Axis axis : allAxes) {
    const std::vector<Entry> entries = rows(report, axis, options.calendar);
    if (!entries.empty()) {
      tables.push_back({axis, table(entries, report, axis, options)});
    }
  }
  return tables;
}

}  // namespace tallyfin::Exporter
