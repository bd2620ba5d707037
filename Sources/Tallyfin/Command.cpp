#include "Tallyfin/Command.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Prices.hpp"
#include "TallyfinCore/Cache/ScanCache.hpp"
#include "TallyfinCore/Exports/Exporter.hpp"
#include "TallyfinCore/Figures/DateRange.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

#include <CLI/CLI.hpp>

namespace tallyfin::Command {
namespace {

constexpr const char* kVersion = TALLYFIN_VERSION;

// What the arguments say.
struct Request {
  std::optional<std::string> home;
  std::optional<std::string> cache;
  std::optional<std::string> axis;
  bool isAll = false;
  std::optional<std::string> directory;
  std::optional<std::int64_t> limit;
  bool byteOrderMark = false;
  std::vector<std::string> axes = {"project", "agent", "model"};
  std::int64_t rows = 10;
  std::optional<std::string> preset;
  std::optional<std::string> from;
  std::optional<std::string> to;
  std::optional<std::string> label;
  bool isSerial = false;
  std::optional<std::string> checkedFile;
};

// The days that a report covers, and the name of the period.
struct Selection {
  std::optional<DateRange> range;
  std::optional<std::string> label;
};

// The clock and zone of the environment are there before a day is read, so wrong dates are wrong usage.
Selection selectionOf(const Request& request, const Environment& environment) {
  Selection selection;
  if (request.preset) {
    const RangePreset preset = *rangePreset(*request.preset);
    selection.range = range(preset, environment.now(), environment.calendar);
    selection.label = std::string(label(preset));
  } else if (request.from) {
    const auto day = [&](const char* option, const std::string& text) {
      const std::optional<TimePoint> start = environment.calendar.parseDay(text);
      if (!start) {
        throw CLI::ValidationError(option, concat("no date: ", text, " (the format is yyyy-MM-dd)"));
      }
      return *start;
    };
    selection.range = DateRange(day("--from", *request.from), day("--to", *request.to), environment.calendar);
  }
  if (request.label) {
    selection.label = request.label;
  }
  return selection;
}

// One line on a terminal while the transcripts are read; gone when the work goes on.
class Progress {
 public:
  explicit Progress(const Console& console) : console_(console) {
    if (console_.isTerminal) {
      console_.message("reading transcripts ...");
    }
  }
  ~Progress() {
    if (console_.isTerminal) {
      console_.message("\r\033[K");
    }
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  const Console& console_;
};

// The prices in use; a file that cannot be used is told.
PriceList pricesFor(const Environment& environment, const Console& console) {
  PriceList prices = PriceList::of(environment);
  if (prices.problem) {
    console.message(concat("tallyfin: own prices are not used: ", prices.file, ": ", *prices.problem, "\n"));
  }
  return prices;
}

// A report with what its documents say beside it.
struct Account {
  Report report;
  Exporter::Options options;
};

Account accountOf(const Request& request, const Selection& selection, const Environment& environment,
                  bool includeHours, const Console& console) {
  ScanCache cache(cacheLocation(environment));
  ScanCache::Refreshed refreshed;
  {
    const Progress progress(console);
    cache.load();
    refreshed = cache.refresh(sourceHomes(environment), environment.now);
    try {
      cache.save();
    } catch (const std::system_error&) {  // the next run reads the transcripts again, no more
    }
  }
  Exporter::Options options{.generatedAt = environment.now(), .calendar = environment.calendar};
  options.periodLabel = selection.label;
  if (selection.range) {
    options.from = selection.range->from();
    options.to = selection.range->through();
  }
  options.limitPerAxis = request.limit;
  options.sourceFiles = cache.recordsPerFile();
  options.byteOrderMark = request.byteOrderMark;
  options.summaryRowLimit = request.rows;
  for (const std::string& axis : request.axes) {
    options.summaryAxes.push_back(*Exporter::axisNamed(axis));
  }
  options.prices = pricesFor(environment, console);
  const Aggregator aggregator(environment.calendar, ProjectResolver(environment.home, true), options.prices);
  return {aggregator.aggregate(refreshed.result.records, options.from, options.to,
                               refreshed.result.diagnostics, includeHours),
          std::move(options)};
}

int print(std::string_view document, const Console& console) {
  if (console.document(document)) {
    return done;
  }
  console.message("tallyfin: cannot write to standard output\n");
  return failed;
}

// Makes the folder that documents go to, before the transcripts are read: what cannot work fails at once.
void makeDirectory(const Request& request) {
  if (!request.directory) {
    return;
  }
  if (const std::error_code error = Files::createDirectories(*request.directory)) {
    throw std::system_error(error, concat("cannot make the folder \"", *request.directory, "\""));
  }
}

// Writes a document into a folder and prints its path.
int writeFile(const std::string& directory, const Exporter::Document& document,
              const Exporter::Options& options, std::string_view content, const Console& console) {
  constexpr unsigned kReadableByAll = 0666;  // less what the user's mask takes away, as for any report
  const std::string path =
      concat(directory, directory.ends_with('/') ? "" : "/", Exporter::suggestedFileName(document, options));
  Files::replaceAtomically(path, {content}, kReadableByAll);
  return print(concat(path, "\n"), console);
}

int csv(const Request& request, const Selection& selection, const Environment& environment,
        const Console& console) {
  makeDirectory(request);
  const bool hasHours = request.isAll || request.axis == rawValue(Exporter::Axis::hour);
  const Account account = accountOf(request, selection, environment, hasHours, console);
  if (request.axis) {
    return print(Exporter::breakdownCSV(account.report, *Exporter::axisNamed(*request.axis), account.options),
                 console);
  }
  for (const Exporter::AxisCSV& one : Exporter::allBreakdownCSVs(account.report, account.options)) {
    const int status = writeFile(*request.directory, Exporter::Document::breakdown(one.axis), account.options,
                                 one.csv, console);
    if (status != done) {
      return status;
    }
  }
  return done;
}

int provenance(const Request& request, const Selection& selection, const Environment& environment,
               const Console& console) {
  makeDirectory(request);
  const Account account = accountOf(request, selection, environment, false, console);
  const std::string document = Exporter::provenanceCSV(account.report, account.options);
  return request.directory ? writeFile(*request.directory, Exporter::Document::provenance(), account.options,
                                       document, console)
                           : print(document, console);
}

int summary(const Request& request, const Selection& selection, const Environment& environment,
            const Console& console) {
  const Account account = accountOf(request, selection, environment, false, console);
  return print(Exporter::clipboardSummary(account.report, account.options), console);
}

int verify(const Environment& environment, const Console& console) {
  ScanCache cache(cacheLocation(environment));
  const PriceList prices = pricesFor(environment, console);
  VerificationResult result;
  {
    const Progress progress(console);
    cache.load();
    result = cache.verifyAgainstFullScan(sourceHomes(environment), environment.calendar, environment.now,
                                         prices);
  }
  const int status = print(concat(result.summary(), "\n"), console);
  return result.isClean() ? status : failed;
}

int scan(const Request& request, const Environment& environment, const Console& console) {
  ScanDiagnostics seen;
  {
    const Progress progress(console);
    seen = Scanner::scan(sourceHomes(environment), !request.isSerial, environment.now).diagnostics;
  }
  const auto unreadable = static_cast<std::int64_t>(seen.filesUnreadable.size());
  std::string losses = concat(counted(seen.totalRejected(), "line", "lines"), " rejected · ",
                              counted(unreadable, "file", "files"), " unreadable");
  if (seen.filesScanned == 0) {
    losses = "unknown — no transcript was found";  // nothing was read, so nothing can have been lost or kept
  }
  return print(concat("files      ", grouped(seen.filesScanned), "\n", "requests   ",
                      seen.filesScanned == 0 ? losses : grouped(seen.uniqueRequests), "\n", "bytes      ",
                      grouped(static_cast<std::int64_t>(seen.bytesRead)), "\n", "losses     ", losses, "\n",
                      "time       ", absl::StrFormat("%.3f", seen.duration), " s\n"),
               console);
}

int prices(const Request& request, const Environment& environment, const Console& console) {
  if (request.checkedFile) {
    const PriceList checked = PriceList::ofFile(*request.checkedFile);
    const int status = print(checkedPrices(checked), console);
    return checked.problem ? failed : status;
  }
  ScanCache cache(cacheLocation(environment));
  ScanCache::Refreshed refreshed;
  {
    const Progress progress(console);
    cache.load();
    refreshed = cache.refresh(sourceHomes(environment), environment.now);
  }
  return print(
      priceTable(PriceList::of(environment), refreshed.result.records, environment.calendar), console);
}

// A number of rows: decimal digits. Leading zeros are dropped, which the parser would take for octal.
CLI::Validator rowCount() {
  const auto check = [](std::string& text) -> std::string {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
      return concat("no number of rows: ", text);
    }
    text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
    return {};
  };
  return {check, "N"};
}

// The arguments as the parser takes them, last one first. An empty value behind an equals sign becomes an
// argument of its own; the parser would take the next one instead.
std::vector<std::string> reversed(const std::vector<std::string>& arguments) {
  std::vector<std::string> result;
  for (const std::string& argument : arguments) {
    if (argument.starts_with("--") && argument.ends_with('=')) {
      result.push_back(argument.substr(0, argument.size() - 1));
      result.emplace_back();
    } else {
      result.push_back(argument);
    }
  }
  std::ranges::reverse(result);
  return result;
}

// The options of the commands that make reports.
void addRange(CLI::App& command, Request& request) {
  std::vector<std::string> presets;
  presets.reserve(allRangePresets.size());
  for (const RangePreset preset : allRangePresets) {
    if (preset != RangePreset::custom) {
      presets.emplace_back(rawValue(preset));
    }
  }
  auto* const preset =
      command.add_option("--preset", request.preset, "Days by name")->check(CLI::IsMember(presets));
  auto* const from = command.add_option("--from", request.from, "First day, yyyy-MM-dd")->excludes(preset);
  auto* const to = command.add_option("--to", request.to, "Last day, yyyy-MM-dd")->excludes(preset);
  from->needs(to);
  to->needs(from);
  command.add_option("--label", request.label, "Name of the period in the documents");
}

// The arguments of all commands, bound to a request.
class Arguments {
 public:
  explicit Arguments(Request& request) {
    app_.name("tallyfin");
    app_.set_version_flag("--version", concat("tallyfin ", kVersion));
    app_.require_subcommand(1);
    for (CLI::App* const command : app_.get_subcommands({})) {
      command->fallthrough();  // --home and --cache may stand behind the command as well
    }
    app_.add_option("--home", request.home, "Directory that holds the Claude homes (TALLYFIN_HOME)");
    app_.add_option("--cache", request.cache, "The cache file (TALLYFIN_CACHE_PATH)");
    std::vector<std::string> names;
    names.reserve(Exporter::allAxes.size());
    for (const Exporter::Axis axis : Exporter::allAxes) {
      names.emplace_back(Exporter::rawValue(axis));
    }
    addCsv(request, names);
    provenance_->add_flag("--bom", request.byteOrderMark, "Begin with a byte order mark");
    provenance_->add_option("--out", request.directory, "Write into this directory");
    addRange(*provenance_, request);
    summary_->add_option("--axes", request.axes, "Axes to show")->delimiter(',')->check(CLI::IsMember(names));
    summary_->add_option("--rows", request.rows, "Rows an axis")->transform(rowCount());
    addRange(*summary_, request);
    prices_->add_option("--check", request.checkedFile, "Only check a file of own prices");
    scan_->add_flag("--serial", request.isSerial, "On one processor");
  }

  CLI::App& app() { return app_; }

  int dispatch(const Request& request, const Environment& environment, const Console& console) const {
    const Selection selection = selectionOf(request, environment);
    if (csv_->parsed()) {
      return csv(request, selection, environment, console);
    }
    if (provenance_->parsed()) {
      return provenance(request, selection, environment, console);
    }
    if (summary_->parsed()) {
      return summary(request, selection, environment, console);
    }
    if (prices_->parsed()) {
      return prices(request, environment, console);
    }
    return verify_->parsed() ? verify(environment, console) : scan(request, environment, console);
  }

 private:
  void addCsv(Request& request, const std::vector<std::string>& names) {
    auto* const axis =
        csv_->add_option("--axis", request.axis, "The axis of one table")->check(CLI::IsMember(names));
    auto* const all = csv_->add_flag("--all", request.isAll, "Every axis that has rows")->excludes(axis);
    auto* const out = csv_->add_option("--out", request.directory, "Write into this directory")->needs(all);
    all->needs(out);
    csv_->add_option("--limit", request.limit, "At most so many rows a table")->transform(rowCount());
    csv_->add_flag("--bom", request.byteOrderMark, "Begin with a byte order mark");
    addRange(*csv_, request);
    csv_->callback([axis, all] {
      if (axis->count() + all->count() == 0) {
        throw CLI::RequiredError("--axis or --all");
      }
    });
  }

  CLI::App app_{"Reports of what coding agents cost, from the transcripts on this machine."};
  CLI::App* csv_ = app_.add_subcommand("csv", "A breakdown as CSV");
  CLI::App* provenance_ = app_.add_subcommand("provenance", "Where the figures come from, as CSV");
  CLI::App* summary_ = app_.add_subcommand("summary", "A report to paste");
  CLI::App* prices_ = app_.add_subcommand("prices", "The prices in use, and the models without one");
  CLI::App* verify_ = app_.add_subcommand("verify", "Compare the cache with a fresh read");
  CLI::App* scan_ = app_.add_subcommand("scan", "Read every transcript from scratch");
};

int usage(const CLI::App& app, const CLI::ParseError& error, const Console& console) {
  std::ostringstream out;
  std::ostringstream message;
  const int status = app.exit(error, out, message);
  if (status == 0) {  // help and version are no errors
    return print(out.str(), console);
  }
  console.message(message.str());
  return wrongUsage;
}

}  // namespace

int run(const std::vector<std::string>& arguments, Environment environment, const Console& console) {
  Request request;
  Arguments parser(request);
  try {
    parser.app().parse(reversed(arguments));
    if (request.home) {
      environment.tallyfinHome = request.home;
    }
    if (request.cache) {
      environment.tallyfinCachePath = request.cache;
    }
    return parser.dispatch(request, environment, console);
  } catch (const CLI::ParseError& error) {
    return usage(parser.app(), error, console);
  } catch (const std::exception& error) {
    console.message(concat("tallyfin: ", error.what(), "\n"));
    return failed;
  }
}

}  // namespace tallyfin::Command
