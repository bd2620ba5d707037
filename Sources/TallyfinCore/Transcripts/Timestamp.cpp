#include "TallyfinCore/Transcripts/Timestamp.hpp"

#include "Platform/Numbers.hpp"

#include <cstddef>
#include <cstdint>

namespace tallyfin::Timestamp {
namespace {

// Days since 1970-01-01 in the proleptic Gregorian calendar, computed from eras of 400 years that begin in
// March. `day` may exceed the length of the month.
std::int64_t dayNumber(int year, int month, int day) {
  const std::int64_t marchYear = month <= 2 ? year - 1 : year;
  const std::int64_t monthFromMarch = month <= 2 ? month + 9 : month - 3;
  const std::int64_t era = (marchYear >= 0 ? marchYear : marchYear - 399) / 400;
  const std::int64_t yearOfEra = marchYear - era * 400;
  const std::int64_t dayOfYear = (153 * monthFromMarch + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146'097 + dayOfEra - 719'468;
}

// Parses the zone at `at` and returns seconds east of UTC: 0 for "Z" and for anything that is not a sign;
// absent if a sign is not followed by two digits.
std::optional<std::int64_t> offset(std::string_view text, std::size_t at) {
  if (text[at] != '+' && text[at] != '-') {
    return 0;
  }
  if (text.size() < at + 3) {
    return std::nullopt;
  }
  const int hours = digitsAt(text, at + 1, 2);
  if (hours < 0) {
    return std::nullopt;
  }
  std::size_t minutesAt = at + 3;
  if (text.size() > minutesAt && text[minutesAt] == ':') {
    ++minutesAt;
  }
  int minutes = text.size() >= minutesAt + 2 ? digitsAt(text, minutesAt, 2) : 0;
  if (minutes < 0) {
    minutes = 0;
  }
  const std::int64_t seconds = std::int64_t{hours} * 3600 + std::int64_t{minutes} * 60;
  return text[at] == '-' ? -seconds : seconds;
}

}  // namespace

std::optional<TimePoint> parse(std::string_view text) {
  constexpr std::size_t kShortest = 19;
  if (text.size() < kShortest || text[4] != '-' || text[7] != '-' || (text[10] != 'T' && text[10] != ' ') ||
      text[13] != ':' || text[16] != ':') {
    return std::nullopt;
  }
  const int year = digitsAt(text, 0, 4);
  const int month = digitsAt(text, 5, 2);
  const int day = digitsAt(text, 8, 2);
  const int hour = digitsAt(text, 11, 2);
  const int minute = digitsAt(text, 14, 2);
  const int second = digitsAt(text, 17, 2);
  if (year < 0 || month < 1 || month > 12 || day < 1 || day > 31 || hour < 0 || hour > 23 || minute < 0 ||
      minute > 59 || second < 0 || second > 61) {
    return std::nullopt;
  }

  double fraction = 0;
  std::size_t at = kShortest;
  if (at < text.size() && text[at] == '.') {
    double weight = 0.1;
    for (++at; at < text.size() && isDigit(text[at]); ++at) {
      fraction += weight * (text[at] - '0');
      weight /= 10;
    }
  }
  std::int64_t zone = 0;
  if (at < text.size()) {
    const std::optional<std::int64_t> found = offset(text, at);
    if (!found) {
      return std::nullopt;
    }
    zone = *found;
  }
  const std::int64_t seconds = dayNumber(year, month, day) * 86'400 + std::int64_t{hour} * 3600 +
                               std::int64_t{minute} * 60 + second - zone;
  return TimePoint{static_cast<double>(seconds) + fraction};
}

}  // namespace tallyfin::Timestamp
