#include "Tallyfin/Status.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Json.hpp"
#include "Platform/Numbers.hpp"
#include "Tallyfin/Command.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Transcripts.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <map>
#include <optional>
#include <system_error>

namespace tallyfin::Command {
namespace {

constexpr const char* kFormat = "{today} today · {rate} · {subagents} sub-agents";

// What a line can be made of; reports are made when a place asks for them.
class Figures {
 public:
  Figures(DataSource& data, const Call& call) : data_(data), call_(call) {}

  std::string today() { return amount(reportOf("today").total); }
  std::string week() { return amount(reportOf("thisWeek").total); }
  std::string month() { return amount(reportOf("thisMonth").total); }

  std::string rate() {
    return rateInLine(Derived::currentHourlyRate(reportOf("today"), data_.now(), data_.calendar()));
  }

  std::string subagents() {
    const Report::Split split = reportOf("today").subagentSplit();
    return percent(split.share(split.subagent));
  }

  // Of the session that the client names on standard input.
  std::string session() {
    JsonReader reader(input_.empty() ? input_ = call_.console.input() : input_);
    std::optional<std::string> id;
    reader.readObject([&](std::string_view key) {
      if (key == "session_id") {
        id = reader.optionalText();
      } else {
        reader.skipValue();
      }
    });
    if (!reader.finish() || !id || id->empty()) {
      return UnknownReason::placeholder;
    }
    const InternedText session(*id);
    return amount(data_
                      .report(
                          Period::all(),
                          [session](const UsageRecord& record) { return record.sessionId == session; },
                          ReportParts::only())
                      .total);
  }

 private:
  const Report& reportOf(const std::string& name) {
    const auto made = reports_.find(name);
    if (made != reports_.end()) {
      return made->second;
    }
    const Call none{.arguments = {}, .environment = call_.environment, .console = call_.console};
    const Period period = periodOf(daysOf(none, name), data_);
    ReportParts parts = ReportParts::only(&ReportParts::agents);
    parts.hours = period.isSingleDay;
    return reports_.emplace(name, data_.report(period, {}, parts)).first->second;
  }

  DataSource& data_;
  const Call& call_;
  std::string input_;
  std::map<std::string, Report> reports_;
};

struct Place {
  std::string_view name;
  std::string (Figures::*text)();
};

constexpr std::array kPlaces = {Place{"today", &Figures::today},         Place{"rate", &Figures::rate},
                                Place{"subagents", &Figures::subagents}, Place{"week", &Figures::week},
                                Place{"month", &Figures::month},         Place{"session", &Figures::session}};

std::string placeNames() {
  return absl::StrJoin(kPlaces, ", ",
                       [](std::string* out, const Place& place) { append(*out, "{", place.name, "}"); });
}

// Calls `text` for what stands between places and `place` for each of these.
template <typename OnText, typename OnPlace>
void readFormat(std::string_view format, OnText&& text, OnPlace&& place) {
  while (!format.empty()) {
    const std::size_t begin = format.find('{');
    text(format.substr(0, begin));
    if (begin == std::string_view::npos) {
      return;
    }
    const std::size_t end = std::min(format.find_first_of("{}", begin + 1), format.size());
    if (!format.substr(end).starts_with('}')) {
      throw UsageError(concat("--format: \"", format.substr(begin, end - begin), "\" has no closing brace"));
    }
    const std::string_view name = format.substr(begin + 1, end - begin - 1);
    const auto* const found = std::ranges::find(kPlaces, name, &Place::name);
    if (found == kPlaces.end()) {
      throw UsageError(concat("--format: \"{", name, "}\" names no place; there are ", placeNames()));
    }
    place(*found);
    format.remove_prefix(end + 1);
  }
}

int runStatus(const Call& call) {
  const std::string format = call.arguments.text("format").value_or(kFormat);
  readFormat(
      format, [](std::string_view) {}, [](const Place&) {});
  return withTranscripts(call, [&](DataSource& data) {
    Figures figures(data, call);
    std::string line;
    readFormat(
        format, [&](std::string_view text) { line += text; },
        [&](const Place& place) { line += (figures.*place.text)(); });
    return print(concat(line, "\n"), call.console);
  });
}

double dollars(const std::string& text) {
  const std::string_view digits = text.starts_with('$') ? std::string_view(text).substr(1) : text;
  double value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed);
  if (error != std::errc() || end != digits.data() + digits.size() || !std::isfinite(value) ||
      std::signbit(value)) {
    throw UsageError(concat("\"", text, "\" is no amount of dollars such as 20 or 12.50"));
  }
  return value;
}

// The amount as it is printed with four decimals. Sums of binary fractions differ from the decimal amount in
// their last bits, and three times 0.1 is to be within 0.3.
double toCentOfCent(double amount) {
  const std::string text = decimal(amount, 4);
  std::from_chars(text.data(), text.data() + text.size(), amount);
  return amount;
}

int runBudget(const Call& call) {
  const double limit = dollars(*call.arguments.text("amount"));
  const Days days = daysOf(call, "today");
  return withTranscripts(call, [&](DataSource& data) {
    const Period period = periodOf(days, data);
    const Filters filters = filtersOf(call.arguments, data);
    const Bucket spent = data.report(period, filters.predicate, ReportParts::only()).total;
    const std::optional<std::string> unread = unreadableNote(data);
    const std::int64_t rejected = data.diagnostics().totalRejected();
    const bool isEmpty = data.diagnostics().filesScanned == 0;
    int status = done;
    std::string_view verdict = "within budget";
    if (toCentOfCent(spent.cost.priced) > toCentOfCent(limit)) {
      status = overBudget;
      verdict = "over budget";
    } else if (!spent.cost.isComplete() || unread || rejected > 0 || isEmpty) {
      status = unknownBudget;
      verdict = "cannot be told";
    }
    const std::string amount = isEmpty              ? "no transcript was found"
                               : spent.requests < 1 ? "nothing was spent"
                                                    : costInAnswer(spent, mostNames);
    std::string text =
        concat(verdict, " (", CostEstimate::money(limit), "): ", amount, " — ", period.label, "\n");
    for (const std::string& filter : filters.described()) {
      append(text, "only ", filter, "\n");
    }
    if (unread) {
      append(text, *unread, "\n");
    }
    if (rejected > 0) {
      append(text, counted(rejected, "line was", "lines were"), " rejected; see `tallyfin sources`\n");
    }
    const int printed = print(text, call.console);
    return printed == done ? status : printed;
  });
}

}  // namespace

Subcommand statusLine() {
  return {.name = "status",
          .summary = "One line for a status bar",
          .options = {{.name = "format",
                       .value = "TEXT",
                       .help = concat(
                           "The line, in which ", placeNames(), " stand for figures (default \"", kFormat,
                           "\"). {session} is the cost of the session that a client's hook names on "
                           "standard input")}},
          .examples = {"tallyfin status --format '{session} here, {today} today'"},
          .run = runStatus};
}

Subcommand budget() {
  std::vector<Option> options = {{.name = "amount",
                                  .value = "DOLLARS",
                                  .help = "The budget, such as 20 or 12.50",
                                  .isWord = true,
                                  .isRequired = true}};
  std::ranges::move(choosingOptions("today"), std::back_inserter(options));
  return {.name = "budget",
          .summary = "Whether a period stayed within an amount: status 0 within, 3 over, 4 cannot be told",
          .options = std::move(options),
          .examples = {"tallyfin budget 20 today || notify-send \"$(tallyfin status)\""},
          .run = runBudget};
}

}  // namespace tallyfin::Command
