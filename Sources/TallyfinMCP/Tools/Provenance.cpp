// The sources of a figure: the unified report, and the records of each file. A request in two files counts in
// both.

#include "TallyfinCore/Answers/Provenance.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>

namespace tallyfin::Tools {
namespace {

std::string sourceFiles(const Answers::FigureProvenance& answer, std::int64_t limit,
                        const ProjectResolver& paths) {
  const std::vector<FileContribution>& rows = answer.files.files;
  const auto count = static_cast<std::int64_t>(rows.size());
  std::string text = concat("\nSOURCE FILES (", counted(count, "file", "files"), " produced the figure)\n");
  if (rows.empty()) {
    return text + "  unknown — no usage line falls inside the requested filter\n";
  }
  for (std::size_t i = 0; i < static_cast<std::size_t>(std::min(limit, count)); ++i) {
    const auto& [file, bucket] = rows[i];
    append(text, "  ", paths.tildify(file.path), "\n", "      home ", orUnknown(answer.homes[i]), " · ",
           R::requests(bucket.requests), " · ", costInAnswer(bucket), " · the file holds ",
           counted(file.usageLines(), "line", "lines"), " with usage in total\n");
  }
  if (count > limit) {
    append(text, "  (", counted(count - limit, "file", "files"), " more — raise `limit`)\n");
  }
  return text;
}

std::string unification(const FileContributions& files, const Report& report) {
  std::string text =
      concat("\nUNIFICATION\n", "  distinct requests in files    ", grouped(files.distinctRequests), "\n",
             "  requests in the report above  ", grouped(report.total.requests), "\n");
  if (files.sharedRequests != 0) {
    append(text, "  ", R::requests(files.sharedRequests),
           " appear in more than one file (a resumed or forked session). The lower-ranked file wins the "
           "attribution; the per-file costs above count each copy, the total does not.\n");
  } else if (files.distinctRequests != 0) {
    text += "  no request duplicated across files\n";
  }
  return text;
}

std::string losses(const ScanDiagnostics& seen, const ProjectResolver& paths) {
  std::string text = "\nWHAT WAS LOST WHILE PARSING (across the whole corpus, not just the filter)\n";
  for (const LineCounter& counter : lineCounters) {
    append(text, absl::StrFormat("  %-28s", counter.label), grouped(seen.*counter.member), "\n");
  }
  if (!seen.filesUnreadable.empty()) {
    append(text, "  UNREADABLE FILES            ",
           counted(static_cast<std::int64_t>(seen.filesUnreadable.size()), "file", "files"),
           " — the figure above leaves them out:\n", unreadable(seen, paths));
  }
  return text;
}

}  // namespace

std::string provenance(DataSource& data, const Arguments& given) {
  const Period period = periodOf(given, data);
  const std::int64_t limit = std::max<std::int64_t>(1, given.integer("limit"));
  const Answers::FigureProvenance answer = Answers::provenance(data, {period, filtersOf(given, data)});
  const Report& report = *answer.report;

  std::string text =
      concat(header("Provenance", period, answer.filters), R::rule, "\n", "THE FIGURE\n", "  cost   ",
             costInAnswer(report.total), "\n", "  from   ", R::requests(report.total.requests),
             " after unification (one request = every line sharing a `message.id:requestId`)\n");
  text += sourceFiles(answer, limit, data.resolver());
  text += unification(answer.files, report);
  append(text, "\nBY HOME (from the unified figure)\n",
         list(rowsOf(ranked(report.bySource)), "no home contributed"));
  text += losses(report.diagnostics, data.resolver());
  return text + footer(report, period);
}

}  // namespace tallyfin::Tools
