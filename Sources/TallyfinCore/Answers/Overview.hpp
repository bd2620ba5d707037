#pragma once

// Today's cost, the current rate and the spenders, compared with yesterday and the days before.

#include "TallyfinCore/Answers/DataSource.hpp"

#include <cstdint>
#include <memory>

namespace tallyfin::Answers {

struct OverviewQuestion {
  std::int64_t top = 5;  ///< rows of each ranking; not negative
};

struct Overview {
  TimePoint now;
  Period day;                             ///< today, labelled "today"
  std::shared_ptr<const Report> today;    ///< with hours, agents and projects; owns the rankings' buckets
  Estimate<CostEstimate> rate;            ///< dollars per hour (Derived::currentHourlyRate)
  Estimate<CostEstimate> yesterdaySoFar;  ///< up to the present time of day
  Estimate<double> change;                ///< from `yesterdaySoFar` to today, in percent
  Estimate<CostEstimate> yesterday;       ///< the whole day
  Estimate<CostEstimate> usualDay;        ///< median of the last seven days with activity before today
  Ranking<AgentIdentity> agents;          ///< of today
  Ranking<InternedText> projects;         ///< of today
  Bucket history;                         ///< the whole history
  std::int64_t activeDays = 0;            ///< in the whole history
};

Overview overview(DataSource& data, const OverviewQuestion& question);

}  // namespace tallyfin::Answers
