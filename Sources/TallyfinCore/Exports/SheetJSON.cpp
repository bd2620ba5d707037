#include "TallyfinCore/Exports/SheetJSON.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Exports/Options.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/strings/str_replace.h"

#include <cstddef>

#include <nlohmann/json.hpp>

namespace tallyfin::Exporter {
namespace {

using Json = nlohmann::ordered_json;

// Increase this when a change of the format could break a reader.
constexpr int kVersion = 1;
constexpr int kIndentation = 2;

Json textOf(std::string_view text) {
  return Text::repaired(text);
}

Json textOrNull(const std::optional<std::string>& text) {
  return text ? textOf(*text) : Json();
}

Json dayOrNull(const std::optional<TimePoint>& time, const Stamps& stamps) {
  return time ? Json(stamps.day(*time)) : Json();
}

Json namesOf(const ModelSet& names) {
  Json all = Json::array();
  for (const InternedText name : names) {
    all.push_back(textOf(name.text()));
  }
  return all;
}

class CellValue {
 public:
  explicit CellValue(const Stamps& stamps) : stamps_(stamps) {}

  Json operator()(std::monostate) const { return {}; }
  Json operator()(Sheet::Idle) const { return {}; }
  Json operator()(const std::string& text) const { return textOf(text); }
  Json operator()(std::int64_t count) const { return count; }
  Json operator()(TimePoint time) const { return stamps_.instant(time); }

  Json operator()(const Sheet::Amount& amount) const {
    const CostFigure figure = costAsFigure(*amount.bucket);
    const CostEstimate& estimate = amount.bucket->cost;
    Json cost;
    cost["usd"] = figure.usd ? Json(*figure.usd) : Json();
    cost["basis"] = figure.basis;
    cost["reason"] = textOrNull(figure.reason);
    cost["unpriced_requests"] = estimate.unpricedRequests;
    cost["unpriced_models"] = namesOf(estimate.unpricedModels);
    cost["own_priced_models"] = namesOf(estimate.ownPricedModels);
    return cost;
  }

  Json operator()(const Sheet::Models& models) const {
    Json uses = Json::array();
    for (const auto& [model, requests] : models.bucket->modelsByUse()) {
      Json use;
      use["model"] = textOf(model.text());
      use["requests"] = requests;
      uses.push_back(std::move(use));
    }
    return uses;
  }

  Json operator()(const Sheet::Share& share) const {
    return share.whole > 0 && !share.bucket->cost.isUnknown() ? Json(share.bucket->cost.priced / share.whole)
                                                              : Json();
  }

 private:
  const Stamps& stamps_;
};

Json totalOf(const Sheet& sheet, const CellValue& values) {
  Json total = Json::object();
  for (const Sheet::Column& column : sheet.columns) {
    if (column.total && !column.id.empty()) {
      total[std::string(column.id)] = std::visit(values, *column.total);
    }
  }
  return total;
}

Json rowOf(const Sheet& sheet, std::size_t row, const CellValue& values) {
  Json json;
  for (const Sheet::Column& column : sheet.columns) {
    if (!column.id.empty()) {
      json[std::string(column.id)] = std::visit(values, column.cell(row));
    }
  }
  return json;
}

// The document with its rows. Rows are serialized one by one, because the JSON values of all rows need many
// times the memory of their text.
std::string withRows(const Json& document, const Sheet& sheet, const CellValue& values) {
  constexpr std::string_view kEnd = "]\n}";
  const std::string margin(std::size_t{2} * kIndentation, ' ');
  std::string text = document.dump(kIndentation);
  if (sheet.rowCount > 0) {
    text.resize(text.size() - kEnd.size());
    for (std::size_t row = 0; row < sheet.rowCount; ++row) {
      const std::string lines = rowOf(sheet, row, values).dump(kIndentation);
      append(text, row == 0 ? "\n" : ",\n", margin, absl::StrReplaceAll(lines, {{"\n", "\n" + margin}}));
    }
    append(text, "\n", std::string(kIndentation, ' '), kEnd);
  }
  return text += '\n';
}

// If no file was read, the counters are unknown, not 0. The folders that could not be listed are known even
// then.
Json lossesOf(const ScanDiagnostics& seen) {
  const bool hasScanned = seen.filesScanned > 0;
  Json losses;
  losses["files_unreadable"] = hasScanned ? Json(seen.filesUnreadable.size()) : Json();
  losses["folders_unreadable"] =
      hasScanned || !seen.foldersUnreadable.empty() ? Json(seen.foldersUnreadable.size()) : Json();
  losses["lines_rejected"] = hasScanned ? Json(seen.totalRejected()) : Json();
  return losses;
}

}  // namespace

std::string sheetJSON(const Sheet& sheet, const ScanDiagnostics& seen, TimePoint generatedAt) {
  const Stamps stamps(sheet.calendar);
  const CellValue values(stamps);
  Json document;
  document["format"] = "tallyfin-export";
  document["version"] = kVersion;
  document["generated"] = stamps.instant(generatedAt);
  document["range"]["label"] = sheet.range.label;
  document["range"]["from"] = dayOrNull(sheet.range.from, stamps);
  document["range"]["to"] = dayOrNull(sheet.range.through, stamps);
  for (const auto& [id, value] : sheet.filters) {
    document["filters"][std::string(id)] = textOrNull(value);
  }
  document["currency"] = currencyCode;
  document["losses"] = lossesOf(seen);
  document["total"] = totalOf(sheet, values);
  document["axis"] = sheet.id;
  document["rows_left_out"] = sheet.rowsLeftOut;
  document["rows"] = Json::array();
  return withRows(document, sheet, values);
}

}  // namespace tallyfin::Exporter
