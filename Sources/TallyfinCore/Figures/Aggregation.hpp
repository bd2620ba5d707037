#pragma once

// One pass from records to a report.

#include "Platform/Calendar.hpp"
#include "TallyfinCore/Attribution/PriceList.hpp"
#include "TallyfinCore/Attribution/ProjectPath.hpp"
#include "TallyfinCore/Figures/RecordSelection.hpp"
#include "TallyfinCore/Figures/Report.hpp"

#include <optional>
#include <span>
#include <utility>

namespace tallyfin {

/// Makes reports. Safe from any thread.
class Aggregator {
 public:
  /// `calendar` says which day and hour a request falls on, `resolver` which project, `prices` what it costs.
  Aggregator(const Calendar& calendar, ProjectResolver resolver, PriceList prices = {})
      : calendar_(calendar), resolver_(std::move(resolver)), prices_(std::move(prices)) {}

  const Calendar& calendar() const { return calendar_; }
  const ProjectResolver& resolver() const { return resolver_; }
  const PriceList& prices() const { return prices_; }

  /// The start of the day that `time` falls on.
  TimePoint day(TimePoint time) const { return calendar_.startOfDay(time); }

  /// Sums the records whose local day is not before `from` and not after `to`, both absent or starts of days,
  /// in the order of the list. `filter`, when given, is asked about the records of these days alone, or about
  /// all records when blocks are wanted. `diagnostics` goes into the report as it is.
  Report aggregate(const RecordList& records, std::optional<TimePoint> from, std::optional<TimePoint> to,
                   const ScanDiagnostics& diagnostics, ReportParts parts,
                   const RecordFilter& filter = {}) const;

 private:
  Calendar calendar_;
  ProjectResolver resolver_;
  PriceList prices_;
};

}  // namespace tallyfin
