#pragma once

// Why a question cannot be answered, as values. Each program words them for its own readers.

#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Estimate.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tallyfin {

/// What a name in a question stands for.
enum class NameKind : std::uint8_t { agent, project, session };

/// One of several keys that a name may mean, with what it cost in the whole history.
struct Candidate {
  std::string label;  ///< as people see it; an agent's holds its id
  CostEstimate cost;
  std::int64_t requests = 0;
  std::optional<TimePoint> lastActivity = {};
};

/// The text is no day of the form yyyy-MM-dd.
struct NoSuchDay {
  std::string text;
};

/// The text names no period.
struct UnknownPeriod {
  std::string text;  ///< in lower case, without blanks around it
};

/// The first day is later than the last.
struct ReversedDays {
  std::string from;
};

/// No agent, project or session answers to the text.
struct NoSuchName {
  NameKind kind;
  std::string text;
};

/// Several do; nothing is guessed.
struct SeveralNames {
  NameKind kind;
  std::string text;
  std::vector<Candidate> candidates;
  /// Whether they are agents whose name or id equals the text. These stand in text order and are all listed;
  /// other candidates stand by cost, at most 25 of them.
  bool areEqual = false;
};

using Refusal = std::variant<NoSuchDay, UnknownPeriod, ReversedDays, NoSuchName, SeveralNames>;

/// An answer, or why there is none.
template <typename T>
using Answered = std::variant<T, Refusal>;

}  // namespace tallyfin
