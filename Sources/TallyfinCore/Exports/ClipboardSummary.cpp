#include "TallyfinCore/Exports/ClipboardSummary.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinCore/Figures/Money.hpp"

#include <algorithm>
#include <cstddef>

namespace tallyfin::Exporter {
namespace {

constexpr std::string_view kSeparator = "  ·  ";
constexpr std::string_view kIndent = "           ";  // the width of "TOTAL      "
constexpr std::size_t kLabelWidth = 38;
constexpr std::size_t kItemWidth = 34;

std::string span(const Bucket& bucket, const Stamps& stamps) {
  if (!bucket.firstActivity || !bucket.lastActivity) {
    return "unknown — the report holds no dated request";
  }
  return concat(stamps.instant(*bucket.firstActivity), " to ", stamps.instant(*bucket.lastActivity));
}

// "1,204 requests  ·  18,230,114 tokens"
std::string volume(const Bucket& bucket) {
  return concat(counted(bucket.requests, "request", "requests"), kSeparator, grouped(bucket.totalTokens()),
                " tokens");
}

void appendTotal(std::string& out, const Report& report, const Stamps& stamps) {
  const Bucket& total = report.total;
  append(out, "TOTAL      ", costInSummary(total), "\n", kIndent);
  if (total.requests > 0) {
    append(out, volume(total), "  (in ", grouped(total.input), " · out ", grouped(total.output),
           " · cache write ", grouped(total.cacheWrite()), " · cache read ", grouped(total.cacheRead), ")\n",
           kIndent, "range ", span(total, stamps), "\n");
  } else {
    append(out,
           report.diagnostics.filesScanned > 0 ? "no request falls in the selected range"
                                               : "unknown — no source file was read",
           "\n");
  }
}

void appendAxis(std::string& out, const Report& report, Axis axis, const Options& options) {
  const std::int64_t count = rowCount(report, axis);
  if (count == 0) {
    return;
  }
  append(out, "\n", title(axis), "\n");
  const std::int64_t shown = std::clamp<std::int64_t>(options.summaryRowLimit, 0, count);
  for (const Entry& entry : rows(report, axis, options.calendar, shown)) {
    append(out, "  ", Text::fitted(entry.label(), kLabelWidth), "  ", costInSummary(*entry.bucket),
           kSeparator, volume(*entry.bucket), "\n");
  }
  if (count > shown) {
    append(out, "  (", counted(count - shown, "more row", "more rows"),
           " — the CSV export has all of them)\n");
  }
}

}  // namespace

std::string clipboardSummary(const Report& report, const Options& options) {
  const Stamps stamps(options.calendar);
  const std::optional<std::string> own = report.total.cost.ownPriced();
  std::string out =
      concat("Tallyfin — usage report\n", "Period:    ", periodDescription(report, options, stamps), "\n",
             "Generated: ", stamps.instant(options.generatedAt), "\n", "Currency:  ", currencyCode,
             " (Anthropic list API prices", own ? concat("; own prices for ", *own) : "", ")\n\n");
  appendTotal(out, report, stamps);
  for (const Axis axis : options.summaryAxes) {
    appendAxis(out, report, axis, options);
  }
  append(out, "\nPROVENANCE\n");
  for (const ProvenanceLine& line : provenanceLines(report, options, stamps)) {
    if (line.section == rawValue(Section::report)) {
      continue;  // printed above or below already
    }
    append(out, "  ", Text::fitted(line.item, kItemWidth), "  ", line.value, line.note.empty() ? "" : "   — ",
           line.note, "\n");
  }
  append(out, "\n— ", Derived::disclaimer, "\n");
  return out;
}

}  // namespace tallyfin::Exporter
