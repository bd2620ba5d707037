#pragma once

// Builds a report in one pass over the records.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Attribution/ProjectPath.hpp"
#include "TallyfinCore/Figures/RecordSelection.hpp"
#include "TallyfinCore/Figures/Report.hpp"

#include <optional>
#include <span>
#include <utility>

namespace tallyfin {

/// Builds reports. Safe to use from several threads at once.
class Aggregator {
 public:
  /// `calendar` decides on which day and hour a request falls, `resolver` its project, `prices` its cost.
  Aggregator(const Calendar& calendar, ProjectResolver resolver, PriceList prices = {})
      : calendar_(calendar), resolver_(std::move(resolver)), prices_(std::move(prices)) {}

  const Calendar& calendar() const { return calendar_; }
  const ProjectResolver& resolver() const { return resolver_; }
  const PriceList& prices() const { return prices_; }

  /// The start of the day that contains `time`.
  TimePoint day(TimePoint time) const { return calendar_.startOfDay(time); }

  /// Sums, in list order, the records whose local day is in `from` to `to`, both included. Each bound is
  /// absent (no bound) or the start of a day. `filter`, if given, is called only for the records of these
  /// days, or for all records if `parts` requests blocks. `diagnostics` is copied into the report unchanged.
  /// `kinds`, which may read sidecars, is asked for the counted agents if `parts` requests kinds; without it,
  /// agents without a name are unnamed.
  Report aggregate(const RecordList& records, std::optional<TimePoint> from, std::optional<TimePoint> to,
                   const ScanDiagnostics& diagnostics, ReportParts parts, const RecordFilter& filter = {},
                   AgentKinds* kinds = nullptr) const;

 private:
  Calendar calendar_;
  ProjectResolver resolver_;
  PriceList prices_;
};

}  // namespace tallyfin
