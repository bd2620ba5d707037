#include "Platform/AtomicFile.hpp"
#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Exports/BreakdownCSV.hpp"
#include "TallyfinCore/Exports/BreakdownJSON.hpp"
#include "TallyfinCore/Exports/ClipboardSummary.hpp"
#include "TallyfinCore/Exports/FileNames.hpp"
#include "TallyfinCore/Exports/Page.hpp"
#include "TallyfinCore/Exports/ProvenanceDocument.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

namespace tallyfin::Command {
namespace {

// A report and the options of its documents.
struct Account {
  Report report;
  Exporter::Options options;
};

using AtomicFile::Output;

// Where --out writes documents: into a folder under default names, or to one file. Errors are reported before
// the transcripts are read.
class Destination {
 public:
  // A path is a folder if it ends in a slash, is an existing folder, or has no extension; a link without an
  // extension is a file if its target has one. The call must outlive the destination.
  Destination(const Call& call, bool isFolder) : call_(call), path_(call.arguments.text("out")) {
    if (!path_) {
      return;
    }
    if (path_->empty()) {
      throw UsageError("--out needs the path of a folder or a file");
    }
    const std::string location = locationOf(*path_);
    isFolder_ = isFolder || path_->ends_with('/') || Files::isDirectory(location) ||
                (!hasExtension(*path_) && !hasExtension(location));
    const std::string folder = isFolder_ ? location : std::string(Files::withoutLastComponent(location));
    if (const std::error_code error = Files::createDirectories(folder)) {
      throw std::system_error(error, concat("cannot create the folder \"", folder, "\""));
    }
  }

  // Writes to standard output if there is no path; otherwise writes the file and prints its path. `document`
  // writes pieces of whole lines.
  int write(const std::string& name, absl::FunctionRef<void(Output)> document) const {
    if (!path_) {
      int status = done;
      document(
          [&](std::string_view piece) { status = status == done ? print(piece, call_.console) : status; });
      return status;
    }
    const std::string path = isFolder_ ? concat(*path_, path_->ends_with('/') ? "" : "/", name) : *path_;
    AtomicFile::replace(
        locationOf(path), [&](AtomicFile::Output out) { document(out); }, AtomicFile::Access::usual);
    return print(concat(path, "\n"), call_.console);
  }

 private:
  static bool hasExtension(std::string_view path) {
    const std::string_view name = Files::lastComponent(path);
    return Files::withoutExtension(name) != name;
  }

  // The target of a path after links. Throws UsageError if writing there is not allowed.
  std::string locationOf(const std::string& path) const {
    std::string location = Files::target(path);
    if (const std::optional<std::string> reason = whyNotWritable(location, call_.environment)) {
      throw UsageError(concat("--out: ", *reason));
    }
    if (const auto found = Files::attributes(location);
        found && !found->isRegular && !Files::isDirectory(location)) {
      throw UsageError(concat("--out: \"", path, "\" is neither a folder nor a plain file"));
    }
    return location;
  }

  const Call& call_;
  std::optional<std::string> path_;
  bool isFolder_ = false;
};

// The axes in an option, whose words the parser has checked.
std::vector<Axis> axesOf(const CallArguments& arguments, const std::string& option) {
  std::vector<Axis> axes;
  for (const std::string& name : arguments.list(option)) {
    axes.push_back(*axisNamed(name));
  }
  return axes;
}

// The name of a period in documents: its label, followed by the filters.
std::optional<std::string> periodLabel(const Call& call, const Days& days, const Period& period,
                                       const Filters& filters) {
  const std::optional<std::string> given = call.arguments.text("label");
  std::optional<std::string> label = given ? given : days.label;
  if (filters.described().empty()) {
    return label;
  }
  return concat(label.value_or(period.label), " · ", absl::StrJoin(filters.described(), " · "));
}

std::optional<std::string> textOf(const std::optional<InternedText>& key) {
  return key ? std::optional(std::string(key->text())) : std::nullopt;
}

// The key of the row that a filter keeps, on the axis `agent` or `kind`.
std::optional<std::string> agentIn(const Filters& filters) {
  return filters.kind    ? textOf(filters.kind->key())
         : filters.agent ? std::optional(std::string(filters.agent->description()))
                         : std::nullopt;
}

// Builds the report with these parts and the options for documents with these axes.
Account accountOf(const Call& call, const Days& days, DataSource& data, std::vector<Axis> axes,
                  const ReportParts& parts) {
  const Period period = periodOf(days, data);
  const Filters filters = filtersOf(call.arguments, data);
  Exporter::Options options{.generatedAt = data.now(), .calendar = data.calendar()};
  options.periodLabel = periodLabel(call, days, period, filters);
  options.from = period.from;
  options.to = period.through;
  options.recordFilter = filters.predicate;
  options.narrowing = {
      .agent = agentIn(filters), .project = textOf(filters.project), .session = textOf(filters.session)};
  options.prices = data.prices();
  options.limitPerAxis = call.arguments.number("limit");
  options.byteOrderMark = call.arguments.has("bom");
  options.summaryRowLimit = call.arguments.number("rows").value_or(10);
  Report report = data.report(period, filters.predicate, parts);
  options.summaryAxes = std::move(axes);
  options.sourceFiles = data.cache().recordsPerFile();
  return {std::move(report), std::move(options)};
}

void tellLimit(const Account& account, Axis axis, const Console& console) {
  const std::int64_t count = rowCount(account.report, axis);
  const std::int64_t limit = account.options.limitPerAxis.value_or(count);
  if (count > limit) {
    tell(concat("--limit ", std::to_string(limit), " left out ", counted(count - limit, "row", "rows"),
                " of ", grouped(count), " by ", rawValue(axis)),
         console);
  }
}

// A kind of document that covers one axis.
struct AxisKind {
  std::string_view name;
  std::string_view extension;
  void (*write)(const Report& report, Axis axis, const Exporter::Options& options, Output out);
};

int exportAxes(const Call& call, const AxisKind& kind, const std::vector<Axis>& axes) {
  const bool isAll = call.arguments.has("all");
  if (axes.empty() != isAll) {
    throw UsageError(concat("`export ", kind.name, "` needs either --axis AXIS (one of ",
                            absl::StrJoin(axisNames(), ", "), ") or --all with --out FOLDER"));
  }
  if (isAll && !call.arguments.has("out")) {
    throw UsageError("--all writes several files, so it needs --out FOLDER");
  }
  const Days days = daysOf(call, "all");
  const Destination destination(call, isAll);
  return withTranscripts(call, [&](DataSource& data) {
    const std::vector<Axis> wanted = isAll ? std::vector(transcriptAxes.begin(), transcriptAxes.end()) : axes;
    const Account account = accountOf(call, days, data, wanted, neededFor(wanted));
    const auto write = [&](Axis one) {
      tellLimit(account, one, call.console);
      return destination.write(
          Exporter::suggestedFileName(Exporter::Document::breakdown(one), account.options, kind.extension),
          [&](Output out) { kind.write(account.report, one, account.options, out); });
    };
    if (!isAll) {
      return write(axes.front());
    }
    int status = done;
    for (const Axis one : wanted) {
      const bool hasRows = rowCount(account.report, one) > 0;
      status = status == done && hasRows ? write(one) : status;
    }
    return status;
  });
}

// The file name of a document that is not a table: "tallyfin-summary-last-7-days.txt".
std::string fileName(std::string_view kind, std::string_view extension, const Exporter::Options& options) {
  constexpr std::string_view kHead = "tallyfin-provenance";
  const std::string name = Exporter::suggestedFileName(Exporter::Document::provenance(), options, extension);
  return concat("tallyfin-", kind, name.substr(kHead.size()));
}

// A kind of document that covers the whole report.
struct Kind {
  std::string_view name;
  std::string_view extension;
  std::string_view summary;
  std::string_view example;
  std::string (*make)(const Account& account, const DataSource& data);
  std::vector<Axis> axes = {};  // used unless the call names others
  bool hasLabels = true;        // whether it says how project labels were found
};

int exportWhole(const Call& call, const Kind& kind) {
  const Days days = daysOf(call, "all");
  const Destination destination(call, false);
  return withTranscripts(call, [&](DataSource& data) {
    std::vector<Axis> axes = axesOf(call.arguments, "axes");
    if (axes.empty()) {
      axes = kind.axes;
    }
    ReportParts parts = neededFor(axes);
    parts.projects |= kind.hasLabels;
    const Account account = accountOf(call, days, data, std::move(axes), parts);
    return destination.write(fileName(kind.name, kind.extension, account.options),
                             [&](Output out) { out(kind.make(account, data)); });
  });
}

const Option kBom = {
    .name = "bom", .value = "", .help = "Begin with a byte order mark, which some spreadsheets need"};

// The options of one kind, followed by those of all kinds.
std::vector<Option> withCommon(std::vector<Option> options) {
  std::ranges::move(choosingOptions("all"), std::back_inserter(options));
  options.push_back(
      {.name = "label", .value = "TEXT", .help = "Name of the period in the document and in its file name"});
  options.push_back({.name = "out",
                     .value = "PATH",
                     .help = "Write into this folder or to this file, and print the path",
                     .values = Values::file});
  return options;
}

// The options of a kind that covers one axis.
std::vector<Option> axisOptions(const std::string& axisHelp, const std::vector<Option>& own) {
  std::vector<Option> options = {
      {.name = "axis", .value = "AXIS", .help = axisHelp, .values = Values::word, .words = axisNames()},
      {.name = "all",
       .value = "",
       .help = "Write a file for each axis but kind that has rows; needs --out FOLDER"},
      {.name = "limit",
       .value = "N",
       .help = "Write at most this many rows of an axis",
       .values = Values::number}};
  options.insert(options.end(), own.begin(), own.end());
  return withCommon(std::move(options));
}

Subcommand csv() {
  return {
      .name = "export csv",
      .summary = "A table of one axis, or one file for each, for spreadsheets",
      .options = axisOptions("The axis of one table", {kBom}),
      .examples = {"tallyfin export csv thisMonth --axis agent > agents.csv",
                   "tallyfin export csv --all --out reports --from 2026-07-01 --to 2026-09-30"},
      .run = [](const Call& call) {
        return exportAxes(call, {"csv", ".csv", Exporter::writeBreakdownCSV}, axesOf(call.arguments, "axis"));
      }};
}

Subcommand json() {
  return {.name = "export json",
          .summary = "The figures of the CSV for programs, with the total, losses and reasons",
          .options = axisOptions("The axis of the rows (default project)", {}),
          .examples = {"tallyfin export json thisMonth --axis day | jq .total.cost.usd"},
          .run = [](const Call& call) {
            std::vector<Axis> axes = axesOf(call.arguments, "axis");
            if (axes.empty() && !call.arguments.has("all")) {
              axes.push_back(Axis::project);
            }
            const auto write = [](const Report& report, Axis axis, const Exporter::Options& options,
                                  Output out) { out(Exporter::breakdownJSON(report, axis, options)); };
            return exportAxes(call, {"json", ".json", write}, axes);
          }};
}

Subcommand whole(const Kind& kind, std::vector<Option> options) {
  return {.name = concat("export ", kind.name),
          .summary = std::string(kind.summary),
          .options = withCommon(std::move(options)),
          .examples = {std::string(kind.example)},
          .run = [kind](const Call& call) { return exportWhole(call, kind); }};
}

}  // namespace

std::vector<std::string> axisNames() {
  std::vector<std::string> names;
  names.reserve(allAxes.size());
  for (const Axis axis : allAxes) {
    names.emplace_back(rawValue(axis));
  }
  return names;
}

std::vector<Subcommand> exports() {
  return {
      csv(), json(),
      whole({.name = "summary",
             .extension = ".txt",
             .summary = "A report to read and paste",
             .example = "tallyfin export summary last7Days --axes project,agent",
             .make =
                 [](const Account& account, const DataSource&) {
                   return Exporter::clipboardSummary(account.report, account.options);
                 },
             .axes = {Axis::project, Axis::agent, Axis::model}},
            {{.name = "axes",
              .value = "AXIS,...",
              .help = "Axes to show (default project,agent,model)",
              .values = Values::words,
              .words = axisNames()},
             {.name = "rows", .value = "N", .help = "Rows per axis (default 10)", .values = Values::number}}),
      whole({.name = "provenance",
             .extension = ".csv",
             .summary = "Where the figures come from: totals, losses, files, assumptions",
             .example = "tallyfin export provenance yesterday --out reports",
             .make =
                 [](const Account& account, const DataSource&) {
                   return Exporter::provenanceCSV(account.report, account.options);
                 }},
            {kBom}),
      whole({.name = "html",
             .extension = ".html",
             .summary = "A page to look at, in one file",
             .example = "tallyfin export html thisMonth --out report.html",
             .make =
                 [](const Account& account, const DataSource& data) {
                   return Exporter::page(account.report,
                                         Aggregator(data.calendar(), data.resolver(), data.prices()),
                                         data.records(), account.options);
                 },
             .hasLabels = false},
            {})};
}

}  // namespace tallyfin::Command
