#include "TallyfinCore/Answers/Period.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"

#include <charconv>
#include <system_error>

namespace tallyfin {
namespace {

std::string arrow(TimePoint start, TimePoint end, const Calendar& calendar) {
  return concat(calendar.formatDay(start), " → ", calendar.formatDay(end));
}

std::string folded(std::string_view word) {
  return Text::lowercased(Text::trimmedBlanks(word));
}

// The number of days in a text such as "7d"; absent for any other text and for numbers below 1.
std::optional<std::int64_t> dayCount(std::string_view text) {
  if (text.empty() || text.back() != 'd') {
    return std::nullopt;
  }
  text.remove_suffix(1);
  if (!text.empty() && text.front() == '+') {  // std::from_chars accepts no plus sign
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

Period singleDay(TimePoint day, std::string_view word, bool isToday, const Calendar& calendar) {
  return {.from = day,
          .through = day,
          .label = concat(word, " (", calendar.formatDay(day), ")"),
          .includesToday = isToday,
          .isSingleDay = true};
}

Answered<Period> range(const std::string& from, const std::optional<std::string>& to, TimePoint now,
                       const Calendar& calendar) {
  const std::optional<TimePoint> start = calendar.parseDay(from);
  if (!start) {
    return NoSuchDay{from};
  }
  const bool hasEnd = to && !to->empty();
  const std::optional<TimePoint> end = hasEnd ? calendar.parseDay(*to) : calendar.startOfDay(now);
  if (!end) {
    return NoSuchDay{*to};
  }
  if (*start > *end) {
    return ReversedDays{from};
  }
  return Period::between(*start, *end, now, calendar);
}

}  // namespace

Period Period::all() {
  return {.from = {}, .through = {}, .label = "all history", .includesToday = true, .isSingleDay = false};
}

Period Period::between(TimePoint from, TimePoint through, TimePoint now, const Calendar& calendar) {
  return {.from = from,
          .through = through,
          .label = arrow(from, through, calendar),
          .includesToday = through >= calendar.startOfDay(now),
          .isSingleDay = from == through};
}

std::optional<Period> Period::named(std::string_view word, TimePoint now, const Calendar& calendar) {
  const std::string text = folded(word);
  const TimePoint today = calendar.startOfDay(now);
  if (text.empty() || text == "today") {
    return singleDay(today, "today", true, calendar);
  }
  if (text == "yesterday") {
    const TimePoint yesterday = calendar.startOfDay(now, -1);
    // At the calendar's first day, the day before today is today.
    return singleDay(yesterday, "yesterday", yesterday == today, calendar);
  }
  if (text == "all") {
    return all();
  }
  const std::optional<std::int64_t> days = dayCount(text);
  if (!days) {
    return std::nullopt;
  }
  const TimePoint start = calendar.startOfDay(now, 1 - *days);
  return Period{
      .from = start,
      .through = today,
      .label = concat("last ", std::to_string(*days), " days (", arrow(start, today, calendar), ")"),
      .includesToday = true,
      .isSingleDay = *days == 1};
}

Answered<Period> Period::parse(const DayWords& words, std::string_view fallback, TimePoint now,
                               const Calendar& calendar) {
  if (words.from && !words.from->empty()) {
    return range(*words.from, words.to, now, calendar);
  }
  const std::string_view word = words.period ? *words.period : fallback;
  if (std::optional<Period> period = named(word, now, calendar)) {
    return *std::move(period);
  }
  return UnknownPeriod{folded(word)};
}

}  // namespace tallyfin
