// The breakdown of a report along one axis for programs. docs/export.schema.json tells its form; a change
// that could break a reader gets a new version number.

#include "Platform/Text.hpp"
#include "TallyfinCore/Exports/ExportText.hpp"

#include <iterator>

#include <nlohmann/json.hpp>

namespace tallyfin::Exporter {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;
constexpr int kIndentation = 2;

Json textOf(std::string_view text) {
  return Text::repaired(text);
}

template <typename Text>
Json textOrNull(const std::optional<Text>& text) {
  return text ? textOf(*text) : Json();
}

Json dayOrNull(const std::optional<TimePoint>& time, const Stamps& stamps) {
  return time ? Json(stamps.day(*time)) : Json();
}

Json instantOrNull(const std::optional<TimePoint>& time, const Stamps& stamps) {
  return time ? Json(stamps.instant(*time)) : Json();
}

Json namesOf(const ModelSet& names) {
  Json all = Json::array();
  for (const InternedText name : names) {
    all.push_back(textOf(name.text()));
  }
  return all;
}

Json costOf(const Bucket& bucket) {
  const CostFigure figure = costAsFigure(bucket);
  Json cost;
  cost["usd"] = figure.usd ? Json(*figure.usd) : Json();
  cost["basis"] = figure.basis;
  cost["reason"] = textOrNull(figure.reason);
  cost["unpriced_requests"] = bucket.cost.unpricedRequests;
  cost["unpriced_models"] = namesOf(bucket.cost.unpricedModels);
  cost["own_priced_models"] = namesOf(bucket.cost.ownPricedModels);
  return cost;
}

// What rows and total have in common.
void addSums(Json& json, const Bucket& bucket, const Stamps& stamps) {
  json["models"] = Json::array();
  for (const auto& [model, requests] : bucket.modelsByUse()) {
    Json use;
    use["model"] = textOf(model.text());
    use["requests"] = requests;
    json["models"].push_back(std::move(use));
  }
  json["first_activity"] = instantOrNull(bucket.firstActivity, stamps);
  json["last_activity"] = instantOrNull(bucket.lastActivity, stamps);
  for (const auto& [column, count] : counts(bucket)) {
    json[std::string(column)] = count;
  }
  json["cost"] = costOf(bucket);
}

Json rowOf(const Entry& entry, Axis axis, const Report& report, const Stamps& stamps) {
  const Attribution cells = attribution(entry, axis, report);
  Json row;
  row["key"] = textOf(entry.key.text());
  row["label"] = textOf(entry.label());
  row["project"] = textOrNull(cells.project);
  row["session"] = textOrNull(cells.session);
  row["agent"] = textOrNull(cells.agent);
  row["agent_kind"] = textOrNull(cells.agentKind);
  row["attribution_note"] = textOf(cells.note);
  addSums(row, *entry.bucket, stamps);
  return row;
}

// When no file was read the counters are unknown, which is not 0. Folders that could not be listed are known
// even then.
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

std::string breakdownJSON(const Report& report, Axis axis, const Options& options) {
  const Stamps stamps(options.calendar);
  const std::vector<Entry> shown = rows(report, axis, options.calendar, options.limitPerAxis);
  Json document;
  document["format"] = "tallyfin-export";
  document["version"] = kVersion;
  document["generated"] = stamps.instant(options.generatedAt);
  document["range"]["label"] = periodDescription(report, options, stamps);
  document["range"]["from"] = dayOrNull(options.from, stamps);
  document["range"]["to"] = dayOrNull(options.to, stamps);
  document["filters"]["agent"] = textOrNull(options.narrowing.agent);
  document["filters"]["project"] = textOrNull(options.narrowing.project);
  document["filters"]["session"] = textOrNull(options.narrowing.session);
  document["currency"] = currencyCode;
  document["losses"] = lossesOf(report.diagnostics);
  document["total"] = Json::object();
  addSums(document["total"], report.total, stamps);
  document["axis"] = columnValue(axis);
  document["rows_left_out"] = rowCount(report, axis) - std::ssize(shown);
  document["rows"] = Json::array();
  for (const Entry& entry : shown) {
    document["rows"].push_back(rowOf(entry, axis, report, stamps));
  }
  return document.dump(kIndentation) + "\n";
}

}  // namespace tallyfin::Exporter
