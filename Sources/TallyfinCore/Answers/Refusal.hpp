#pragma once

// The reasons why a question cannot be answered, as values. Each program words them for its own users.

#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Estimate.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tallyfin {

/// The kind of key that a name in a question identifies.
enum class NameKind : std::uint8_t { agent, project, session };

/// One of several keys that a name matches, with its figures in the whole history.
struct Candidate {
  std::string label;  ///< as shown to people; for an agent it includes the id
  CostEstimate cost;
  std::int64_t requests = 0;
  std::optional<TimePoint> lastActivity = {};
};

/// The text is not a day of the form yyyy-MM-dd.
struct NoSuchDay {
  std::string text;
};

/// The text is not the name of a period.
struct UnknownPeriod {
  std::string text;  ///< in lower case, without blanks around it
};

/// The first day is after the last.
struct ReversedDays {
  std::string from;
};

/// No agent, project or session matches the text.
struct NoSuchName {
  NameKind kind;
  std::string text;
};

/// Several keys match the text.
struct SeveralNames {
  NameKind kind;
  std::string text;
  std::vector<Candidate> candidates;
  /// Whether all candidates are agents whose name or id equals the text. Equal agents are all listed, in text
  /// order; other candidates are sorted by cost and at most 25 are listed.
  bool areEqual = false;
};

using Refusal = std::variant<NoSuchDay, UnknownPeriod, ReversedDays, NoSuchName, SeveralNames>;

/// An answer, or the reason why there is none.
template <typename T>
using Answered = std::variant<T, Refusal>;

}  // namespace tallyfin
