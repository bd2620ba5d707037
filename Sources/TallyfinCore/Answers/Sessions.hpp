#pragma once

// The sessions of a period, with what people recognize them by: time, project, title, branch, cost.

#include "TallyfinCore/Answers/Filters.hpp"
#include "TallyfinCore/Transcripts/SessionDescription.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tallyfin::Answers {

struct SessionsQuestion {
  Period period;
  Filters filters;
  /// The most sessions, not negative: the latest, or the most expensive. Descriptions are read for these
  /// only. Absent: all.
  std::optional<std::int64_t> limit;
  bool byCost = false;  ///< the most expensive first; otherwise the latest last
};

struct SessionRow {
  InternedText id;
  const Bucket* bucket = nullptr;            ///< valid while the answer's report exists
  std::optional<InternedText> project = {};  ///< of its last request in the period
  std::int64_t agents = 0;  ///< sub-agents whose first request in the period is in this session
  SessionDescription description = {};
};

struct Sessions {
  std::shared_ptr<const Report> report;
  std::vector<SessionRow> rows = {};
  std::int64_t leftOut = 0;  ///< sessions that the limit left out
};

/// Reads the descriptions from the transcripts of the main sessions.
Sessions sessions(DataSource& data, const SessionsQuestion& question);

/// The session of the last request in the whole history; of several at the same time, the one listed last.
/// Absent if there are no requests.
std::optional<InternedText> lastSession(DataSource& data);

}  // namespace tallyfin::Answers
