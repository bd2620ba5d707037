// Where a figure comes from: the unified report beside the files' own records, in which a request that stands
// in two files counts in both.

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "TallyfinCore/Figures/CostText.hpp"
#include "TallyfinCore/Figures/FileContributions.hpp"
#include "TallyfinMCP/Filters.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>

namespace tallyfin::Tools {
namespace {

std::string homeName(const std::vector<SourceHome>& homes, const std::string& path) {
  for (const SourceHome& home : homes) {
    if (path.starts_with(home.projectsPath)) {
      return home.name;
    }
  }
  return UnknownReason::placeholder;
}

std::string sourceFiles(const std::vector<FileContribution>& rows, std::int64_t limit,
                        const DataSource& data) {
  const auto count = static_cast<std::int64_t>(rows.size());
  std::string text = concat("\nSOURCE FILES (", counted(count, "file", "files"), " produced the figure)\n");
  if (rows.empty()) {
    return text + "  unknown — no usage line falls inside the requested filter\n";
  }
  for (std::int64_t i = 0; i < std::min(limit, count); ++i) {
    const auto& [file, bucket] = rows[static_cast<std::size_t>(i)];
    append(text, "  ", data.resolver().tildify(file.path), "\n", "      home ",
           homeName(data.homes(), file.path), " · ", R::requests(bucket.requests), " · ",
           costInAnswer(bucket), " · the file holds ", counted(file.usageLines(), "line", "lines"),
           " with usage in total\n");
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

std::string provenance(DataSource& data, const JsonValue& arguments) {
  const Period period = Period::parse(arguments, "today", data.now(), data.calendar());
  const std::int64_t limit = std::max<std::int64_t>(1, integerArgument(arguments, "limit").value_or(20));
  const Filters filters = buildFilters(data, arguments);
  const Report report = data.report(period, filters.predicate);
  const FileContributions files =
      fileContributions(data.cache().recordsPerFile(), data.calendar(), period.from, period.through,
                        filters.predicate, data.prices());

  std::string text =
      concat(header("Provenance", period, filters), R::rule, "\n", "THE FIGURE\n", "  cost   ",
             costInAnswer(report.total), "\n", "  from   ", R::requests(report.total.requests),
             " after unification (one request = every line sharing a `message.id:requestId`)\n");
  text += sourceFiles(files.files, limit, data);
  text += unification(files, report);
  append(text, "\nBY HOME (from the unified figure)\n",
         list(rowsOf(ranked(report.bySource)), "no home contributed"));
  text += losses(report.diagnostics, data.resolver());
  return text + footer(report, period);
}

}  // namespace tallyfin::Tools
