#pragma once

// The charts of the page, as SVG inside HTML. Horizontal lengths are percentages, so charts follow the width
// of the page while text keeps its size. A lower bound is hatched and has an open end; an unknown amount is
// the word "unknown".

#include "TallyfinCore/Exports/PageMarkup.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

/// A step of the time axis.
struct Slot {
  std::string label;                   ///< "2026-11-02", "week of 2026-11-02", "November 2026"
  std::string tick;                    ///< a short label for the axis
  const TimeShares* shares = nullptr;  ///< null if there were no requests
};

/// English names of the weekdays, Monday first.
extern const char* const weekdays[7];

/// The text in place of a drawing or table that has no rows.
Markup nothingInRange();

/// The cost of a bucket as on the rest of the page, with the reason in a tooltip if requests are left out.
Markup amountMarkup(const Bucket& bucket);

/// One bar that compares the main session and the sub-agents over the whole range.
Markup splitBar(const TimeCuts& cuts);

/// One stacked bar per slot, oldest first.
Markup timeBars(const std::vector<Slot>& slots);

/// One cell per hour of each weekday; darker cells cost more.
Markup heatMap(const TimeCuts& cuts);

/// The bar in a table row, in the colour of "main" or "agents"; empty if the cost is unknown. `largest` is
/// the highest cost of any row, in dollars.
Markup rowBar(const Bucket& bucket, double largest, std::string_view colour);

}  // namespace tallyfin::Exporter
