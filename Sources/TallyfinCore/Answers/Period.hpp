#pragma once

// The range of whole days that a question covers.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Answers/Refusal.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// Days as the user typed them. An empty text counts as absent, but an empty `period` means today.
struct DayWords {
  std::optional<std::string> period;  ///< "today", "yesterday", "7d", "all"; in any letter case
  std::optional<std::string> from;    ///< the first day as yyyy-MM-dd; takes precedence over `period`
  std::optional<std::string> to;      ///< the last day, ignored without `from`; absent: today
};

struct Period {
  std::optional<TimePoint> from;     ///< start of the first day; absent: no lower bound
  std::optional<TimePoint> through;  ///< start of the last day, not its end; absent: no upper bound
  std::string label;                 ///< the range in words: "today (2026-03-10)"
  bool includesToday = false;
  bool isSingleDay = false;

  static Period all();

  /// A range from the start of one day to the start of the same or a later day, which is included.
  static Period between(TimePoint from, TimePoint through, TimePoint now, const Calendar& calendar);

  /// The period of a word: "today", "yesterday", "7d" (any number of days above 0, ending today), "all". An
  /// empty text means today. Ignores letter case and blanks around the word. Absent for any other text.
  static std::optional<Period> named(std::string_view word, TimePoint now, const Calendar& calendar);

  /// The period that the words describe. If they contain none, `fallback` is used as the word.
  static Answered<Period> parse(const DayWords& words, std::string_view fallback, TimePoint now,
                                const Calendar& calendar);
};

}  // namespace tallyfin
