#include "Platform/Concat.hpp"
#include "Platform/Json.hpp"
#include "Tallyfin/Days.hpp"
#include "Tallyfin/Subcommands.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <optional>

namespace tallyfin::Command {
namespace {

// The format if the option --format is absent.
constexpr const char* kFormat = "{today} today · {rate} · {subagents} sub-agents";

// Computes the figures of the status line as text. The report of a period is built when a placeholder first
// needs it.
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

  // The cost of the session whose id the client writes to standard input. "unknown" if the input is not valid
  // JSON or contains no id.
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
  // The report of the period with this name. Builds it on the first call, and keeps it for later calls.
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
  std::string input_;                      // what standard input contained; empty before the first read
  std::map<std::string, Report> reports_;  // by name of the period
};

// A name that the format may contain in braces, and the function that computes the figure.
struct Placeholder {
  std::string_view name;
  std::string (Figures::*text)();
};

constexpr std::array kPlaceholders = {
    Placeholder{"today", &Figures::today},         Placeholder{"rate", &Figures::rate},
    Placeholder{"subagents", &Figures::subagents}, Placeholder{"week", &Figures::week},
    Placeholder{"month", &Figures::month},         Placeholder{"session", &Figures::session}};

// All placeholders with their braces, for messages and help.
std::string placeholderNames() {
  return absl::StrJoin(kPlaceholders, ", ",
                       [](std::string* out, const Placeholder& one) { append(*out, "{", one.name, "}"); });
}

// Splits the format, from left to right. Calls `text` with each part outside placeholders, and `placeholder`
// with each placeholder. Throws UsageError if a brace is not closed or a placeholder does not exist.
template <typename OnText, typename OnPlaceholder>
void readFormat(std::string_view format, OnText&& text, OnPlaceholder&& placeholder) {
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
    const auto* const found = std::ranges::find(kPlaceholders, name, &Placeholder::name);
    if (found == kPlaceholders.end()) {
      throw UsageError(concat("--format: \"{", name, "}\" is not a figure; accepted: ", placeholderNames()));
    }
    placeholder(*found);
    format.remove_prefix(end + 1);
  }
}

int runStatus(const Call& call) {
  const std::string format = call.arguments.text("format").value_or(kFormat);
  // Check the format before reading transcripts.
  readFormat(
      format, [](std::string_view) {}, [](const Placeholder&) {});
  return withTranscripts(call, [&](DataSource& data) {
    Figures figures(data, call);
    std::string line;
    readFormat(
        format, [&](std::string_view text) { line += text; },
        [&](const Placeholder& one) { line += (figures.*one.text)(); });
    return print(concat(line, "\n"), call.console);
  });
}

}  // namespace

Subcommand status() {
  return {.name = "status",
          .summary = "One line for a status bar",
          .options = {{.name = "format",
                       .value = "TEXT",
                       .help = concat("The line to print, with the figures ", placeholderNames(),
                                      " (default \"", kFormat,
                                      "\"). {session} is the cost of the session that the client names on "
                                      "standard input")}},
          .examples = {"tallyfin status --format '{session} here, {today} today'"},
          .run = runStatus};
}

}  // namespace tallyfin::Command
