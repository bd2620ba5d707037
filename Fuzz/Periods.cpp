// Input: a zone, a clock, then lines with period, from, to, agent, project, session and preset. Checks
// accepted periods against a simple implementation of the rules, that ranges are whole days in order, and
// that lookups find the same keys as a search through all keys.

#include "Fuzz/Target.hpp"
#include "Platform/Calendar.hpp"
#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "Support/MakeRecord.hpp"
#include "TallyfinCore/Answers/Lookup.hpp"
#include "TallyfinCore/Answers/Period.hpp"
#include "TallyfinCore/Figures/DateRange.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tallyfin::Fuzz {
namespace {

// The decoded input.
struct Question {
  const Calendar* calendar = nullptr;
  TimePoint now;
  std::array<std::string, 7> lines;

  const std::string& period() const { return lines[0]; }
  const std::string& from() const { return lines[1]; }
  const std::string& to() const { return lines[2]; }
};

const Calendar& calendarAt(std::size_t index) {
  static const std::array calendars = {Calendar::utc(), zone("America/Sao_Paulo"),
                                       zone("Australia/Lord_Howe"), zone("Asia/Kathmandu"),
                                       zone("Europe/Dublin")};
  return calendars[index % calendars.size()];
}

Question questionOf(std::string_view input) {
  Question question;
  const auto byte = static_cast<unsigned char>(input.empty() ? 0 : input[0]);
  question.calendar = &calendarAt(byte & 0x0F);
  input.remove_prefix(std::min<std::size_t>(1, input.size()));
  if ((byte & 0x80) != 0 && input.size() >= sizeof(double)) {  // any moment
    std::memcpy(&question.now.seconds, input.data(), sizeof(double));
    input.remove_prefix(sizeof(double));
  } else if (input.size() >= sizeof(std::uint32_t)) {
    std::uint32_t seconds = 0;
    std::memcpy(&seconds, input.data(), sizeof seconds);
    question.now.seconds = seconds;
    input.remove_prefix(sizeof seconds);
  }
  for (std::string& line : question.lines) {
    line = input.substr(0, input.find('\n'));
    input.remove_prefix(std::min(line.size() + 1, input.size()));
  }
  return question;
}

bool isAscii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Lower-cases a text and trims the characters in `white`. Uses the tested functions for text outside ASCII.
std::string plainlyFolded(std::string_view text, std::string_view white) {
  if (!isAscii(text)) return Text::canonical(Text::lowercased(Text::trimmedBlanks(text)));
  text.remove_prefix(std::min(text.find_first_not_of(white), text.size()));
  text = text.substr(0, text.find_last_not_of(white) + 1);
  std::string folded(text);
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return folded;
}

// Parses yyyy-MM-dd to days since 1970.
std::optional<std::int64_t> plainDay(std::string_view text) {
  constexpr std::string_view kShape = "####-##-##";
  if (text.size() != kShape.size()) return std::nullopt;
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    if (kShape[i] == '#' ? text[i] < '0' || text[i] > '9' : text[i] != '-') return std::nullopt;
  }
  const std::string copy(text);
  const std::chrono::year_month_day date(std::chrono::year(std::stoi(copy)) / std::stoi(copy.substr(5)) /
                                         std::stoi(copy.substr(8)));
  if (!date.ok() || date.year() < std::chrono::year(1)) return std::nullopt;
  return std::chrono::sys_days(date).time_since_epoch().count();
}

// Parses "7d" to 7; 0 for any other text and for numbers that exceed 64 bits.
std::int64_t plainDayCount(const std::string& text) {
  const std::size_t at = text.starts_with('+') ? 1 : 0;
  const std::size_t digits = text.find_first_not_of("0123456789", at);
  if (digits == at || digits == std::string::npos || text.substr(digits) != "d") return 0;
  std::string number = text.substr(at, digits - at);
  number.erase(0, number.find_first_not_of('0'));
  const std::string most = std::to_string(std::numeric_limits<std::int64_t>::max());
  const bool fits = number.size() < most.size() || (number.size() == most.size() && number <= most);
  return fits && !number.empty() ? std::stoll(number) : 0;
}

// Whether the words of the question are a valid period.
bool isPeriod(const Question& question) {
  if (!question.from().empty()) {
    const std::optional<std::int64_t> from = plainDay(question.from());
    if (!from) return false;
    if (question.to().empty()) {
      return *question.calendar->parseDay(question.from()) <= question.calendar->startOfDay(question.now);
    }
    const std::optional<std::int64_t> to = plainDay(question.to());
    return to && *from <= *to;
  }
  const std::string text = plainlyFolded(question.period(), " \t");
  return text.empty() || text == "today" || text == "yesterday" || text == "all" || plainDayCount(text) > 0;
}

void requireWholeDays(const Period& period, const Question& question) {
  const Calendar& calendar = *question.calendar;
  const TimePoint today = calendar.startOfDay(question.now);
  require(period.from.has_value() == period.through.has_value(), "both bounds or none");
  require(!period.label.empty(), "a period has a label");
  if (!period.from) return;
  require(*period.from <= *period.through, "the first day is not after the last");
  require(calendar.startOfDay(*period.from) == *period.from &&
              calendar.startOfDay(*period.through) == *period.through,
          "bounds are starts of days");
  require(!period.isSingleDay || period.from == period.through, "a single day is one");
  require(period.includesToday == (period.through >= today), "today is in the period or not");
  if (question.from().empty()) return;
  require(period.label.starts_with(question.from()), "the label names the first day");
  require(question.to().empty() || period.label.ends_with(question.to()), "the label names the last day");
  require(calendar.formatDay(*period.from) == question.from(), "a day reads back as it was written");
  if (!question.to().empty()) {
    require(calendar.daysBetween(*period.from, *period.through) ==
                *plainDay(question.to()) - *plainDay(question.from()),
            "so many days lie between");
  }
}

void checkPeriod(const Question& question) {
  for (const std::string& day : {question.from(), question.to()}) {
    require(question.calendar->parseDay(day).has_value() == plainDay(day).has_value(), "a date or none");
  }
  const Answered<Period> parsed = Period::parse({question.period(), question.from(), question.to()}, "today",
                                                question.now, *question.calendar);
  const Period* const period = std::get_if<Period>(&parsed);
  require((period != nullptr) == isPeriod(question), "a period is accepted, anything else refused");
  if (period == nullptr) return;
  requireWholeDays(*period, question);
  const std::int64_t days = plainDayCount(plainlyFolded(question.period(), " \t"));
  if (question.from().empty() && days > 0 && days < 365'000 && period->from != period->through) {
    require(question.calendar->daysBetween(*period->from, *period->through) == days - 1,
            "as many days as asked");
  }
}

void requireRange(const DateRange& range, const Question& question) {
  const Calendar& calendar = *question.calendar;
  require(range.from() <= range.through(), "a range is in order");
  require(calendar.startOfDay(range.from()) == range.from() &&
              calendar.startOfDay(range.through()) == range.through(),
          "a range is whole days");
  require(range.dayCount(calendar) >= 1 && (range.dayCount(calendar) == 1) == range.isSingleDay(),
          "a range has days");
  require(range.contains(range.from(), calendar) && range.contains(range.through(), calendar),
          "a range has its ends");
  require(range.caveat(question.now, calendar).has_value() == range.includesToday(question.now, calendar),
          "a running day has its caveat");
  require(!range.label(calendar).empty() && !range.title(calendar).empty(), "a range has a name");
}

void checkRanges(const Question& question) {
  const std::optional<TimePoint> from = question.calendar->parseDay(question.from());
  const std::optional<TimePoint> to = question.calendar->parseDay(question.to());
  if (from && to) requireRange(DateRange(*to, *from, *question.calendar), question);
  const std::optional<RangePreset> named = rangePreset(question.lines[6]);
  require(!named || rawValue(*named) == question.lines[6], "a preset is what its text says");
  for (const RangePreset preset : allRangePresets) {
    const RangeSelection selection(preset, from, to, question.now, *question.calendar);
    const DateRange days = selection.resolved(question.now, *question.calendar);
    requireRange(days, question);
    require(preset == RangePreset::lastMonth || preset == RangePreset::custom ||
                days.includesToday(question.now, *question.calendar),
            "the presets but last month run to today");
  }
}

// Keys of all kinds: with hyphens, prefixes of others, in two spellings, equal except for case.
const Report& history() {
  static const Report report = [] {
    std::vector<UsageRecord> records;
    for (const char* agent :
         {"", "areviewer-0123456789abcdef", "areviewer-fedcba9876543210", "aRE-0123456789abcdef",
          "areviewer-2-0123456789abcdef", "f00d", "f00d2", "acaf\u00e9-0123456789abcdef"}) {
      for (const char* cwd : {"/src/alpha", "/src/alpha-2", "/src/Beta", "/src/caf\u00e9", ""}) {
        records.push_back(
            make({.session = concat("5e55-", cwd), .cwd = cwd, .agentId = agent, .output = 1000}));
      }
    }
    const Aggregator aggregator(Calendar::utc(), ProjectResolver("/home/ada", false));
    return aggregator.aggregate(records, {}, {}, {}, false);
  }();
  return report;
}

bool plainlyHolds(const std::string& text, const std::string& part, bool atStart) {
  if (!isAscii(text) || !isAscii(part)) {
    return atStart ? Text::hasPrefix(text, part) : Text::contains(text, part);
  }
  const std::size_t at = text.find(part);
  return atStart ? at == 0 : at != std::string::npos;
}

template <typename Key>
void requireFound(const Answered<Key>& found, const std::vector<Key>& exact, const std::vector<Key>& hits) {
  constexpr std::size_t kMostCandidates = 25;
  const std::vector<Key>& expected = exact.empty() ? hits : exact;
  const Refusal* const refusal = std::get_if<Refusal>(&found);
  if (expected.size() == 1) {
    require(refusal == nullptr && std::get<Key>(found) == expected[0], "the one key that matches");
  } else if (expected.empty()) {
    require(refusal != nullptr && std::holds_alternative<NoSuchName>(*refusal), "nothing matches");
  } else {
    require(refusal != nullptr && std::get<SeveralNames>(*refusal).candidates.size() ==
                                      std::min(expected.size(), kMostCandidates),
            "all that match, to choose from");
  }
}

void checkTextLookup(const Answered<InternedText>& found, const BucketsBy<InternedText>& axis,
                     const std::string& wanted, bool atStart) {
  std::vector<InternedText> exact;
  std::vector<InternedText> hits;
  for (const auto& [key, bucket] : axis) {
    const std::string known = plainlyFolded(key.text(), "");
    if (wanted.empty()) continue;
    if (known == wanted) exact.push_back(key);
    if (plainlyHolds(known, wanted, atStart)) hits.push_back(key);
  }
  requireFound(found, exact, hits);
}

void checkLookups(const Question& question) {
  const Report& report = history();
  std::array<std::string, 3> wanted;
  for (std::size_t i = 0; i < wanted.size(); ++i) wanted[i] = plainlyFolded(question.lines[3 + i], " \t");
  checkTextLookup(resolveProject(question.lines[4], report), report.byProject, wanted[1], false);
  checkTextLookup(resolveSession(question.lines[5], report), report.bySession, wanted[2], true);

  std::vector<AgentIdentity> exact;
  std::vector<AgentIdentity> hits;
  const bool isMain = wanted[0] == "main" || wanted[0] == "main session" || wanted[0] == "main-session";
  for (const auto& [agent, bucket] : report.byAgent) {
    const std::string name = plainlyFolded(agent.name().text(), "");
    const std::string id = plainlyFolded(agent.rawId().text(), "");
    if (wanted[0].empty()) continue;
    if (isMain ? !agent.isSubagent() : agent.isSubagent() && (name == wanted[0] || id == wanted[0])) {
      exact.push_back(agent);
    }
    if (!isMain && agent.isSubagent() &&
        (plainlyHolds(name, wanted[0], false) || plainlyHolds(id, wanted[0], true))) {
      hits.push_back(agent);
    }
  }
  requireFound(resolveAgent(question.lines[3], report), exact, hits);
}

}  // namespace
}  // namespace tallyfin::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tallyfin;
  const Fuzz::Question question = Fuzz::questionOf(Fuzz::textOf(data, size));
  Fuzz::checkPeriod(question);
  Fuzz::checkRanges(question);
  Fuzz::checkLookups(question);
  return 0;
}
