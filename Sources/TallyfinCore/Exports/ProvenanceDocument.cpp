// A counter that was never filled is written as unknown, not 0. A list that the caller did not supply is
// noted as missing, because its absence proves nothing.

#include "TallyfinCore/Exports/ProvenanceDocument.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Exports/CSVText.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinCore/Figures/FileContributions.hpp"
#include "TallyfinCore/Figures/Money.hpp"

#include <algorithm>
#include <cstddef>
#include <map>

namespace tallyfin::Exporter {
namespace {

constexpr std::array<std::string_view, 9> kSections = {
    "report", "figure", "scan", "home", "source file", "unification", "loss", "assumption", "attribution"};

std::string requestsInRange(std::int64_t requests) {
  return concat(plainlyCounted(requests, "request", "requests"), " in range");
}

std::string daySpan(TimePoint first, TimePoint last, const Stamps& stamps) {
  return concat(stamps.day(first), " to ", stamps.day(last));
}

// Collects the lines section by section. Each function adds a section or a related part of one.
class ProvenanceWriter {
 public:
  ProvenanceWriter(const Report& report, const Options& options, const Stamps& stamps)
      : report_(report), seen_(report.diagnostics), options_(options), stamps_(stamps) {}

  std::vector<ProvenanceLine> lines() && {
    addReport();
    addFigure();
    addScan();
    addHomes();
    addSourceFiles();
    addLosses();
    addAssumptions();
    addAttribution();
    return std::move(lines_);
  }

 private:
  // Repairs paths that are not UTF-8, for all documents.
  void add(Section section, std::string_view item, std::string_view value, std::string_view note = {}) {
    lines_.push_back(
        {std::string(rawValue(section)), Text::repaired(item), Text::repaired(value), Text::repaired(note)});
  }

  bool hasScanned() const { return seen_.filesScanned > 0; }

  static constexpr std::string_view neverPopulated =
      "unknown — no source file was read, so this counter was never populated";

  template <typename Integer>
  std::string counter(Integer count) const {
    return hasScanned() ? std::to_string(count) : std::string(neverPopulated);
  }

  void addReport() {
    add(Section::report, "generated_at", stamps_.instant(options_.generatedAt));
    add(Section::report, "period", periodDescription(report_, options_, stamps_));
    add(Section::report, "currency", currencyCode, "Anthropic list API prices");
    add(Section::report, "disclaimer", Derived::disclaimer,
        "on a fixed subscription the figure is a reconstruction at list prices, not an amount that was paid");
  }

  void addFigure() {
    const Bucket& total = report_.total;
    const CostCells cost = costInTable(total);
    add(Section::figure, "total_cost", cost.amount, cost.basis);
    add(Section::figure, "requests",
        total.requests > 0 ? std::to_string(total.requests) : counter(total.requests),
        "one request = every transcript line sharing a message.id:requestId");
    add(Section::figure, "total_tokens", std::to_string(total.totalTokens()));
    add(Section::figure, "active_days", std::to_string(report_.activeDays()));
  }

  void addScan() {
    add(Section::scan, "files_scanned", counter(seen_.filesScanned));
    add(Section::scan, "bytes_read", counter(seen_.bytesRead));
    add(Section::scan, "usage_lines_seen", counter(seen_.usageLinesSeen));
    add(Section::scan, "unique_requests", counter(seen_.uniqueRequests));
    add(Section::scan, "scan_duration_seconds",
        hasScanned() ? decimal(seen_.duration, 3) : std::string(neverPopulated));
  }

  void addHomes() {
    std::map<InternedText, const Bucket*> homes;
    for (const auto& [home, bucket] : report_.bySource) {
      homes.emplace(home, &bucket);
    }
    for (const auto& [home, bucket] : homes) {
      const auto files = seen_.perHome.find(std::string(home.text()));
      add(Section::home, home.text(), costInTable(*bucket).amount,
          concat(files != seen_.perHome.end()
                     ? plainlyCounted(files->second, "transcript file", "transcript files")
                     : "unknown — the scan reported no file count for this home",
                 " · ", requestsInRange(bucket->requests)));
    }
  }

  void addSourceFiles() {
    if (options_.sourceFiles.empty()) {
      add(Section::sourceFile, "file_list", "unknown — the caller did not supply per-file provenance",
          "this is not a claim that no file produced the figure");
      return;
    }
    const FileContributions contributions =
        fileContributions(options_.sourceFiles, options_.calendar, options_.from, options_.to,
                          options_.recordFilter, options_.prices);
    const auto known = static_cast<std::int64_t>(options_.sourceFiles.size());
    add(Section::sourceFile, "files_contributing", std::to_string(contributions.files.size()),
        concat("out of ", plainlyCounted(known, "file", "files"), " known to the cache"));
    for (const auto& [file, bucket] : contributions.files) {
      add(Section::sourceFile, file.path, costInTable(bucket).amount,
          concat(requestsInRange(bucket.requests), " · ",
                 plainlyCounted(file.usageLines(), "usage line", "usage lines"), " in the whole file"));
    }
    add(Section::unification, "requests_seen_in_files", std::to_string(contributions.distinctRequests));
    add(Section::unification, "requests_in_report", std::to_string(report_.total.requests));
    add(Section::unification, "requests_in_more_than_one_file", std::to_string(contributions.sharedRequests),
        contributions.sharedRequests == 0
            ? "no request appears twice across files"
            : "a resumed or forked session; the per-file rows above count each copy, the total counts it "
              "once");
  }

  void addLosses() {
    addLineCounters(true);
    addLineCounters(false);
    add(Section::loss, "lines_rejected_total", counter(seen_.totalRejected()),
        "the figure above is missing whatever these lines were worth");
    addUnreadableFiles();
    add(Section::loss, "longest_line_bytes", counter(seen_.longestLineBytes),
        seen_.longestLinePath.empty() ? "no line measured" : seen_.longestLinePath);
  }

  // Adds the counters of lost lines, or all other counters except the number of lines seen.
  void addLineCounters(bool areLosses) {
    for (const LineCounter& counted : lineCounters) {
      if (counted.isLoss == areLosses && !counted.note.empty()) {
        add(Section::loss, counted.item, counter(seen_.*counted.member), counted.note);
      }
    }
  }

  void addUnreadableFiles() {
    std::vector<std::string> unreadable = seen_.filesUnreadable;
    std::sort(unreadable.begin(), unreadable.end(), Text::isBefore);
    add(Section::loss, "unreadable_files", counter(unreadable.size()),
        unreadable.empty() ? "every file the scan listed could be opened" : "listed below");
    for (const std::string& path : unreadable) {
      add(Section::loss, "unreadable_file", path, "the requests in this file are missing from the figure");
    }
  }

  void addAssumptions() {
    const Bucket& total = report_.total;
    add(Section::assumption, "cache_write_assumed_requests", std::to_string(total.cacheWriteAssumedRequests),
        "the cache_creation breakdown was missing or did not add up; 5m was assumed, at 1.25x instead of "
        "2.00x");
    add(Section::assumption, "web_fetch_cost", unknown,
        "web fetch is not metered by the provider, so no cost is added for it and none is claimed to be "
        "zero");
    add(Section::assumption, "web_fetch_requests", std::to_string(total.webFetch), "counted, but not priced");
    add(Section::assumption, "unpriced_requests", std::to_string(total.cost.unpricedRequests),
        total.cost.unpricedModels.empty() ? "every model in range had a known price"
                                          : concat("no known price for: ", total.cost.unpricedNames("; ")));
    if (const std::optional<std::string> own = total.cost.ownPriced()) {
      add(Section::assumption, "own_prices", *own,
          "priced by a file of one's own; their costs are not at list prices");
    }
  }

  void addAttribution() {
    if (report_.projectProvenance.empty()) {
      add(Section::attribution, "project_labels", "unknown — the report carries no label provenance",
          "this is not a claim that no folding happened");
      return;
    }
    std::map<std::string_view, std::int64_t> projects;  // projects by the way their label was found
    for (const auto& [project, provenances] : report_.projectProvenance) {
      for (const Provenance provenance : allProvenances) {
        if (provenances.contains(provenance)) {
          ++projects[text(provenance)];
        }
      }
    }
    for (const auto& [provenance, count] : projects) {
      add(Section::attribution, concat("project_labels_", provenance), std::to_string(count),
          "project labels obtained this way; a folded label changes which line of the invoice a cost lands "
          "on");
    }
  }

  const Report& report_;
  const ScanDiagnostics& seen_;
  const Options& options_;
  const Stamps& stamps_;
  std::vector<ProvenanceLine> lines_;
};

}  // namespace

std::string_view rawValue(Section section) {
  return kSections.at(static_cast<std::size_t>(section));
}

std::string periodDescription(const Report& report, const Options& options, const Stamps& stamps) {
  if (options.periodLabel && !options.periodLabel->empty()) {
    return Text::repaired(*options.periodLabel);
  }
  if (options.from && options.to) {
    return daySpan(*options.from, *options.to, stamps);
  }
  if (report.total.firstActivity && report.total.lastActivity) {
    return concat(daySpan(*report.total.firstActivity, *report.total.lastActivity, stamps),
                  " (derived from the data, not from a selected period)");
  }
  return "unknown — the caller named no period and the report holds no dated request";
}

std::vector<ProvenanceLine> provenanceLines(const Report& report, const Options& options,
                                            const Stamps& stamps) {
  return ProvenanceWriter(report, options, stamps).lines();
}

std::string provenanceCSV(const Report& report, const Options& options) {
  CSVWriter csv(options.byteOrderMark, provenanceColumns);
  for (const ProvenanceLine& line : provenanceLines(report, options, Stamps(options.calendar))) {
    csv.text(line.section);
    csv.text(line.item);
    csv.text(line.value);
    csv.text(line.note);
    csv.endRow();
  }
  return csv.lines();
}

}  // namespace tallyfin::Exporter
