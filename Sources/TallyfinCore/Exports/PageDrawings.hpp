#pragma once

// The page's drawings, as SVG inside HTML: lengths across are percentages, so that they follow the width of
// the page while texts keep their size. A lower bound is hatched and has an open end; in place of an unknown
// amount stands the word "unknown".

#include "TallyfinCore/Exports/PageMarkup.hpp"
#include "TallyfinCore/Figures/TimeCuts.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace tallyfin::Exporter {

/// A step of the time axis.
struct Slot {
  std::string label;                   ///< "2026-11-02", "week of 2026-11-02", "November 2026"
  std::string tick;                    ///< the same in short, for the axis
  const TimeShares* shares = nullptr;  ///< null without requests
};

/// English names of the weekdays, Monday first.
extern const char* const weekdays[7];

/// What stands in the place of a drawing or table without rows.
Markup nothingInRange();

/// `amount` as a word or figure on the page, the reason in a tooltip when something is left out.
Markup amountMarkup(const Bucket& bucket);

/// The main session and the sub-agents of the whole range as one bar.
Markup splitBar(const TimeCuts& cuts);

/// A stacked bar for each slot, oldest first.
Markup timeBars(const std::vector<Slot>& slots);

/// A cell for each hour of each weekday, the more it cost the darker.
Markup heatMap(const TimeCuts& cuts);

/// The bar of a row in a table, in the colour of "main" or "agents"; nothing when the cost is unknown.
/// `largest` is the highest cost of a row, in dollars.
Markup rowBar(const Bucket& bucket, double largest, std::string_view colour);

}  // namespace tallyfin::Exporter
