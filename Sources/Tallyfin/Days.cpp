#include "Tallyfin/Days.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "Tallyfin/WithTranscripts.hpp"
#include "TallyfinCore/Answers/Sessions.hpp"
#include "TallyfinCore/Figures/DateRange.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <variant>

namespace tallyfin::Command {
namespace {

// The days of the week that is `weeksLater` weeks after the current week; -1 is last week. Weeks begin on
// Monday. The range of the current week ends today.
DateRange week(std::int64_t weeksLater, TimePoint now, const Calendar& calendar) {
  const TimePoint monday = calendar.startOfDay(calendar.startOfWeek(now), weeksLater * 7);
  return {monday, std::min(calendar.startOfDay(monday, 6), calendar.startOfDay(now)), calendar};
}

// A period that users can name to the command but not to the tools of the server.
struct NamedRange {
  std::string word;
  std::string label;
  DateRange days;
};

std::vector<NamedRange> namedRanges(TimePoint now, const Calendar& calendar) {
  std::vector<NamedRange> ranges = {{"thisWeek", "This week", week(0, now, calendar)},
                                    {"lastWeek", "Last week", week(-1, now, calendar)}};
  for (const RangePreset preset : allRangePresets) {
    if (const auto days = range(preset, now, calendar)) {
      ranges.push_back({std::string(rawValue(preset)), std::string(label(preset)), *days});
    }
  }
  return ranges;
}

// The days of the options --from and --to. Parses both texts before it throws, so that one message reports
// the errors of both.
Days explicitDays(const std::optional<std::string>& from, const std::optional<std::string>& to,
                  const Environment& environment) {
  const Calendar& calendar = environment.calendar;
  std::vector<std::string> faults;
  const auto day = [&](const char* option,
                       const std::optional<std::string>& text) -> std::optional<TimePoint> {
    std::optional<TimePoint> start = text ? calendar.parseDay(*text) : std::nullopt;
    if (text && !start) {
      faults.push_back(concat(option, ": \"", *text, "\" is not a day"));
    }
    return start;
  };
  Days days{.period = {}, .from = day("--from", from), .through = day("--to", to), .label = {}};
  if (!faults.empty()) {
    throw UsageError(concat(absl::StrJoin(faults, "; "), " (the format is yyyy-MM-dd)"));
  }
  if (!to) {
    days.through = calendar.startOfDay(environment.now());
  }
  if (days.from && *days.from > *days.through) {
    throw UsageError(concat("--from ", *from, " is later than ", to ? concat("--to ", *to) : "today"));
  }
  return days;
}

// One line per key that the name matches. Each line ends with the cost of the key, unless the keys are agents
// whose name or id equals the given text.
std::string listed(const SeveralNames& names) {
  std::string text;
  for (const Candidate& one : names.candidates) {
    append(text, "\n  ", one.label,
           names.areEqual ? "" : concat(" — ", costInAnswer(one.cost, one.requests)));
  }
  return text;
}

std::string_view wordOf(NameKind kind) {
  return kind == NameKind::agent ? "agent" : kind == NameKind::project ? "project" : "session";
}

// The error message for a filter whose name matches no key or several keys. It also says how to find the
// right name.
std::string wordsOf(const Refusal& refusal) {
  if (const NoSuchName* const name = std::get_if<NoSuchName>(&refusal)) {
    const std::string_view kind = wordOf(name->kind);
    return concat("no ", kind, name->kind == NameKind::session ? " begins with \"" : " matches \"",
                  name->text, "\"; `tallyfin table --by ", kind, " all` lists the ", kind, "s",
                  name->kind == NameKind::agent ? ", `--by kind` their kinds" : "");
  }
  const auto& names = std::get<SeveralNames>(refusal);
  return concat("\"", names.text, "\" fits ", std::to_string(names.candidates.size()), " ",
                wordOf(names.kind), "s; give a longer name or id:", listed(names));
}

bool isLast(const std::string& session) {
  return Text::lowercased(session) == "last";
}

Filters filtersOf(const FilterWords& words, DataSource& data) {
  Answered<Filters> found = buildFilters(data, words);
  if (const Refusal* const refusal = std::get_if<Refusal>(&found)) {
    throw std::runtime_error(wordsOf(*refusal));
  }
  return std::get<Filters>(std::move(found));
}

}  // namespace

std::vector<Option> daysOptions(const std::string& fallback) {
  return {{.name = "period",
           .value = "PERIOD",
           .help = concat("A word such as thisWeek, or 7d for the last seven days (default ", fallback, ")"),
           .values = Values::days,
           .words = periodWords(),
           .isWord = true,
           .otherName = "preset"},
          {.name = "from", .value = "DAY", .help = "First day, yyyy-MM-dd"},
          {.name = "to", .value = "DAY", .help = "Last day, yyyy-MM-dd (default today)"}};
}

bool namesDays(const CallArguments& arguments) {
  return arguments.has("period") || arguments.has("from") || arguments.has("to");
}

const std::vector<std::string>& periodWords() {
  static const std::vector<std::string> words = [] {
    std::vector<std::string> all = {"today", "yesterday", "7d"};
    for (const NamedRange& one : namedRanges(TimePoint{0}, Calendar::utc())) {
      all.push_back(one.word);
    }
    all.emplace_back("all");
    return all;
  }();
  return words;
}

Days daysOf(const Call& call, const std::string& fallback) {
  const std::optional<std::string> given = call.arguments.text("period");
  const std::optional<std::string> from = call.arguments.text("from");
  const std::optional<std::string> to = call.arguments.text("to");
  if (from || to) {
    if (given) {
      throw UsageError("give either a period or --from and --to, not both");
    }
    return explicitDays(from, to, call.environment);
  }
  const std::string period = Text::lowercased(given.value_or(fallback));
  const TimePoint now = call.environment.now();
  const Calendar& calendar = call.environment.calendar;
  for (const NamedRange& one : namedRanges(now, calendar)) {
    if (Text::lowercased(one.word) == period) {
      return {.period = {}, .from = one.days.from(), .through = one.days.through(), .label = one.label};
    }
  }
  if (!Period::named(period, now, calendar)) {
    throw UsageError(concat("\"", *given,
                            "\" is not a period; accepted: ", absl::StrJoin(periodWords(), ", "),
                            " (7d: any number of days), or --from and --to"));
  }
  return {.period = period, .from = {}, .through = {}, .label = {}};
}

Period periodOf(const Days& days, DataSource& data) {
  const TimePoint now = data.now();
  if (days.period) {
    return *Period::named(*days.period, now, data.calendar());
  }
  TimePoint from = days.from.value_or(*days.through);
  if (!days.from) {
    data.ensureFresh();
    from = std::min(from, data.calendar().startOfDay(firstRequest(data).value_or(from)));
  }
  return Period::between(from, *days.through, now, data.calendar());
}

std::vector<Option> choosingOptions(const std::string& fallback) {
  std::vector<Option> options = daysOptions(fallback);
  options.push_back({.name = "agent",
                     .value = "AGENT",
                     .help =
                         "Narrow to one agent (`main`, an `agentId` or its beginning) or to all agents of a "
                         "kind (its name or a fragment).",
                     .values = Values::agent});
  options.push_back({.name = "project",
                     .value = "PROJECT",
                     .help = "Narrow to one project (canonical label or a fragment).",
                     .values = Values::project});
  options.push_back({.name = "session-id",
                     .value = "SESSION",
                     .help = "Narrow to one session: its id, the beginning of it, or last.",
                     .values = Values::session});
  return options;
}

InternedText sessionOf(const std::optional<std::string>& text, DataSource& data) {
  if (text && !isLast(*text)) {
    return *filtersOf(FilterWords{.agent = {}, .project = {}, .session = text}, data).session;
  }
  const std::optional<InternedText> last = Answers::lastSession(data);
  if (!last) {
    throw std::runtime_error("there is no session yet");
  }
  return *last;
}

Filters filtersOf(const CallArguments& arguments, DataSource& data) {
  FilterWords words{.agent = {},
                    .project = arguments.text("project"),
                    .session = arguments.text("session-id"),
                    .agentOrKind = arguments.text("agent")};
  if (words.session && isLast(*words.session)) {
    words.session = sessionOf(std::nullopt, data).text();
  }
  return filtersOf(words, data);
}

}  // namespace tallyfin::Command
