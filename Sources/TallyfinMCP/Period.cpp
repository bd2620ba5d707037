#include "TallyfinMCP/Period.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "TallyfinMCP/Arguments.hpp"
#include "TallyfinMCP/MCPError.hpp"

#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace tallyfin {
namespace {

TimePoint startOfNamedDay(const std::string& text, const Calendar& calendar) {
  if (const std::optional<TimePoint> start = calendar.parseDay(text)) {
    return *start;
  }
  throw MCPError(concat("invalid date “", text, "” — the format is yyyy-MM-dd"));
}

std::string arrow(TimePoint start, TimePoint end, const Calendar& calendar) {
  return concat(calendar.formatDay(start), " → ", calendar.formatDay(end));
}

/// The number of days of a text such as "7d"; absent for any other text and for numbers below 1.
std::optional<std::int64_t> dayCount(std::string_view text) {
  if (text.empty() || text.back() != 'd') {
    return std::nullopt;
  }
  text.remove_suffix(1);
  if (!text.empty() && text.front() == '+') {  // from_chars knows only the minus
    text.remove_prefix(1);
  }
  std::int64_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || rest != end || count < 1) {
    return std::nullopt;
  }
  return count;
}

Period range(const std::string& from, const std::optional<std::string>& to, TimePoint today,
             const Calendar& calendar) {
  const TimePoint start = startOfNamedDay(from, calendar);
  const TimePoint end = to && !to->empty() ? startOfNamedDay(*to, calendar) : today;
  if (start > end) {
    throw MCPError(concat("reversed range: from=", from, " is later than to"));
  }
  return {.from = start,
          .through = end,
          .label = arrow(start, end, calendar),
          .includesToday = end >= today,
          .isSingleDay = start == end};
}

}  // namespace

Period Period::all() {
  return {.from = {}, .through = {}, .label = "all history", .includesToday = true, .isSingleDay = false};
}

Period Period::parse(const JsonValue& arguments, const std::string& fallback, TimePoint now,
                     const Calendar& calendar) {
  const TimePoint today = calendar.startOfDay(now);
  if (const auto from = Tools::stringArgument(arguments, "from"); from && !from->empty()) {
    return range(*from, Tools::stringArgument(arguments, "to"), today, calendar);
  }

  const std::string given = Tools::stringArgument(arguments, "period").value_or(fallback);
  const std::string text = Text::lowercased(Text::trimmedBlanks(given));
  if (text.empty() || text == "today") {
    return {.from = today,
            .through = today,
            .label = concat("today (", calendar.formatDay(today), ")"),
            .includesToday = true,
            .isSingleDay = true};
  }
  if (text == "yesterday") {
    const TimePoint yesterday = calendar.startOfDay(now, -1);
    return {.from = yesterday,
            .through = yesterday,
            .label = concat("yesterday (", calendar.formatDay(yesterday), ")"),
            .includesToday = yesterday == today,  // at the calendar's limit there is no day before today
            .isSingleDay = true};
  }
  if (text == "all") {
    return all();
  }
  if (const std::optional<std::int64_t> days = dayCount(text)) {
    const TimePoint start = calendar.startOfDay(now, 1 - *days);
    return {.from = start,
            .through = today,
            .label = concat("last ", std::to_string(*days), " days (", arrow(start, today, calendar), ")"),
            .includesToday = true,
            .isSingleDay = *days == 1};
  }
  throw MCPError(concat("unknown period “", text,
                        "” — accepted: today, yesterday, NNd (e.g. 7d), all, or from/to in "
                        "yyyy-MM-dd"));
}

}  // namespace tallyfin
