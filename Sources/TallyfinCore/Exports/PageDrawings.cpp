#include "TallyfinCore/Exports/PageDrawings.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Numbers.hpp"
#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/Money.hpp"
#include "absl/strings/str_format.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace tallyfin::Exporter {

const char* const weekdays[7] = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                                 "Friday", "Saturday", "Sunday"};

namespace {

// The cost as a length that can be drawn. Transcripts may contain any counts, so a sum can be negative, huge
// or NaN.
double drawn(const Bucket& bucket) {
  constexpr double kMost = 1e15;
  const double dollars = bucket.cost.priced;
  return std::isnan(dollars) ? 0 : std::clamp(dollars, 0.0, kMost);
}

Markup titled(std::string_view tag, std::string_view id, const Markup& text) {
  return element(tag, {{"id", std::string(id)}}, text);
}

// Adds a title and description for screen readers. The figures are in the table after the drawing.
Markup described(std::string_view id, std::string_view title, std::string_view description) {
  Markup both = titled("title", concat(id, "-title"), title);
  return both += titled("desc", concat(id, "-desc"), description);
}

Markup beginDrawing(std::string_view id, std::string_view classes, double height) {
  return startTag("svg", {{"class", std::string(classes)},
                          {"role", "img"},
                          {"aria-labelledby", concat(id, "-title ", id, "-desc")},
                          {"width", "100%"},
                          {"height", number(height)}});
}

Markup box(std::string_view classes, double leftPercent, double top, double widthPercent, double height) {
  return element("rect", {{"class", std::string(classes)},
                          {"x", percentage(leftPercent)},
                          {"y", number(top)},
                          {"width", percentage(widthPercent)},
                          {"height", number(height)}});
}

// The distance of axis ticks: 1, 2, 2.5 or 5 times a power of ten, with at most five ticks up to `largest`.
double tickStep(double largest) {
  constexpr double kSteps = 5;
  const double power = std::pow(10, std::floor(std::log10(largest / kSteps)));
  for (const double factor : {1.0, 2.0, 2.5, 5.0}) {
    if (factor * power >= largest / kSteps) {
      return factor * power;
    }
  }
  return 10 * power;
}

// Geometry of the bar chart over time, in pixels.
constexpr double kPlotTop = 26;  // leaves room for the open end of the highest bar
constexpr double kPlotHeight = 190;
constexpr double kPlotBottom = kPlotTop + kPlotHeight;
constexpr double kOpenEnd = 16;  // height of the hatched open end of a lower bound
constexpr double kAxisHeight = 26;

std::string slotText(const Slot& slot) {
  const TimeShares& shares = *slot.shares;
  const auto part = [](const Bucket& bucket) { return bucket.requests > 0 ? amount(bucket) : "no request"; };
  return concat(slot.label, ": ", amount(shares.all), " — main session ", part(shares.main), ", sub-agents ",
                part(shares.subagents), " — ", counted(shares.all.requests, "request", "requests"));
}

// The two stacked parts of a slot's bar.
Markup stack(const Slot& slot, double left, double width, double dollarsToPixels) {
  const TimeShares& shares = *slot.shares;
  Markup all = startTag("g", {});
  all += element("title", {}, slotText(slot));
  all += box("hit", left, 0, width, kPlotBottom);
  if (shares.all.cost.isUnknown()) {
    // A nested element: a rotation needs its centre in pixels, but the slot's centre is in percent.
    all +=
        element("svg", {{"class", "word"}, {"x", percentage(left + width / 2)}, {"y", number(kPlotBottom)}},
                element("text", {{"class", "unknown"}, {"x", "6"}, {"y", "4"}, {"transform", "rotate(-90)"}},
                        UnknownReason::placeholder));
    return all += endTag("g");
  }
  double top = kPlotBottom;
  for (const auto& [classes, bucket] : {std::pair{"main", &shares.main}, {"agents", &shares.subagents}}) {
    const double height = drawn(*bucket) * dollarsToPixels;
    top -= height;
    if (height > 0) {
      all += box(classes, left, top, width, height);
    }
  }
  if (!shares.all.cost.isComplete()) {
    all += box("atleast", left, top - kOpenEnd, width, kOpenEnd);
  }
  return all += endTag("g");
}

// The opacity of an hour's cell, from 0.16 to 1.
double shade(const Bucket& bucket, double largest) {
  return largest > 0 ? 0.16 + 0.84 * drawn(bucket) / largest : 0.16;
}

constexpr double kCell = 24;  // height of an hour in the heat map, in pixels

Markup hourCell(const Bucket* bucket, int weekday, int hour, double largest) {
  const double left = hour / 24.0 * 100;
  const double top = weekday * kCell;
  constexpr double kWidth = 100 / 24.0;
  const std::string time = absl::StrFormat("%s %02d:00", weekdays[weekday], hour);
  if (bucket == nullptr) {
    return box("nothing", left, top, kWidth, kCell);
  }
  Markup cell = startTag("g", {});
  cell +=
      element("title", {},
              concat(time, ": ", amount(*bucket), " — ", counted(bucket->requests, "request", "requests")));
  if (bucket->cost.isUnknown()) {
    cell += box("nothing", left, top, kWidth, kCell);
    cell += element(
        "text",
        {{"class", "unknown cell"}, {"x", percentage(left + kWidth / 2)}, {"y", number(top + kCell / 2 + 3)}},
        UnknownReason::placeholder);
    return cell += endTag("g");
  }
  cell += element("rect", {{"class", "heat"},
                           {"x", percentage(left)},
                           {"y", number(top)},
                           {"width", percentage(kWidth)},
                           {"height", number(kCell)},
                           {"fill-opacity", number(shade(*bucket, largest))}});
  if (!bucket->cost.isComplete()) {
    cell += box("atleast", left, top, kWidth, kCell);
  }
  return cell += endTag("g");
}

}  // namespace

Markup nothingInRange() {
  return element("p", {{"class", "none"}}, "unknown — no request in range");
}

Markup amountMarkup(const Bucket& bucket) {
  constexpr std::size_t kTooltip = 200;
  const std::string text = amount(bucket);
  if (const std::optional<std::string> caveat = bucket.cost.caveat()) {
    return element("span",
                   {{"class", bucket.cost.isUnknown() ? "amount unknown" : "amount"},
                    {"title", Text::visible(*caveat, kTooltip)}},
                   text);
  }
  return element("span", {{"class", "amount"}}, text);
}

Markup splitBar(const TimeCuts& cuts) {
  const double main = drawn(cuts.main);
  const double sum = main + drawn(cuts.subagents);
  if (sum <= 0) {
    return {};
  }
  constexpr double kHeight = 14;
  constexpr double kRoom = 4;  // percent, for the open end of a lower bound
  const bool isComplete = cuts.main.cost.isComplete() && cuts.subagents.cost.isComplete();
  const double whole = isComplete ? 100 : 100 - kRoom;
  const double split = main / sum * whole;
  Markup bar = startTag(
      "svg", {{"class", "split"}, {"aria-hidden", "true"}, {"width", "100%"}, {"height", number(kHeight)}});
  bar += box("main", 0, 0, split, kHeight);
  bar += box("agents", split, 0, whole - split, kHeight);
  if (!isComplete) {
    bar += box("atleast", whole, 0, kRoom, kHeight);
  }
  return bar += endTag("svg");
}

Markup timeBars(const std::vector<Slot>& slots) {
  if (std::ranges::none_of(slots, [](const Slot& slot) { return slot.shares != nullptr; })) {
    return nothingInRange();
  }
  double largest = 0;
  for (const Slot& slot : slots) {
    largest = slot.shares == nullptr
                  ? largest
                  : std::max(largest, drawn(slot.shares->main) + drawn(slot.shares->subagents));
  }
  const double step = largest > 0 ? tickStep(largest) : 0;
  const double top = largest > 0 ? std::ceil(largest / step - 1e-9) * step : 1;
  const double height = kPlotBottom + kAxisHeight;
  Markup scale = startTag(
      "svg", {{"class", "scale"}, {"aria-hidden", "true"}, {"width", "64"}, {"height", number(height)}});
  Markup plot = beginDrawing("time", "plot", height);
  plot += described("time", "Cost over time",
                    concat("A bar for each of ", std::to_string(slots.size()),
                           " steps of time: the main session below, its sub-agents on top. Hatched above: at "
                           "least that much. The table below has every figure."));
  for (int i = 0; i * step <= top * 1.001 && (step > 0 || i == 0); ++i) {
    const std::string level = number(kPlotBottom - i * step / top * kPlotHeight);
    scale += element("text", {{"x", "56"}, {"y", level}, {"dy", "4"}}, CostEstimate::money(i * step));
    plot += element(
        "line",
        {{"class", i == 0 ? "base" : "grid"}, {"x1", "0"}, {"x2", "100%"}, {"y1", level}, {"y2", level}});
  }
  constexpr std::size_t kFewest = 7;  // slots; keeps a single bar from filling the whole width
  constexpr std::size_t kTicks = 10;
  const auto count = static_cast<double>(std::max(slots.size(), kFewest));
  const double width = 100 / count;
  const double barWidth = width * 0.72;
  double centre = 50 - width * (static_cast<double>(slots.size()) - 1) / 2;
  const std::size_t every = (slots.size() + kTicks - 1) / kTicks;
  for (std::size_t i = 0; i < slots.size(); ++i, centre += width) {
    if (slots[i].shares != nullptr) {
      plot += stack(slots[i], centre - barWidth / 2, barWidth, kPlotHeight / top);
    }
    const std::size_t toEnd = slots.size() - 1 - i;
    if (toEnd % every == 0) {
      plot += element("text",
                      {{"class", toEnd / every % 2 == 0 ? "tick" : "tick wide"},
                       {"x", percentage(centre)},
                       {"y", number(kPlotBottom + 18)}},
                      slots[i].tick);
    }
  }
  return element("div", {{"class", "chart"}}, scale += endTag("svg"), plot += endTag("svg"));
}

Markup heatMap(const TimeCuts& cuts) {
  if (cuts.byWeekHour.empty()) {
    return nothingInRange();
  }
  double largest = 0;
  for (const auto& [hour, bucket] : cuts.byWeekHour) {
    largest = std::max(largest, drawn(bucket));
  }
  constexpr double kHeight = 7 * kCell + 22;
  Markup scale = startTag(
      "svg", {{"class", "scale"}, {"aria-hidden", "true"}, {"width", "40"}, {"height", number(kHeight)}});
  Markup plot = beginDrawing("hours", "plot", kHeight);
  plot += described(
      "hours", "Cost by weekday and hour",
      "A cell for each hour of the local day on each weekday, stronger for a higher cost. Hatched: at "
      "least that much. The table below has every figure.");
  for (int day = 0; day < 7; ++day) {
    scale += element("text", {{"x", "32"}, {"y", number(day * kCell + kCell / 2)}, {"dy", "4"}},
                     std::string_view(weekdays[day]).substr(0, 3));
    for (int hour = 0; hour < 24; ++hour) {
      plot += hourCell(cuts.byWeekHour.find(weekHour(day, hour)), day, hour, largest);
    }
  }
  for (int hour = 0; hour < 24; hour += 3) {
    plot += element("text",
                    {{"class", hour % 6 == 0 ? "hour" : "hour wide"},
                     {"x", percentage(hour / 24.0 * 100)},
                     {"y", number(7 * kCell + 16)}},
                    absl::StrFormat("%02d:00", hour));
  }
  return element("div", {{"class", "chart"}}, scale += endTag("svg"), plot += endTag("svg"));
}

Markup rowBar(const Bucket& bucket, double largest, std::string_view colour) {
  if (bucket.requests < 1 || bucket.cost.isUnknown()) {
    return {};
  }
  constexpr double kHeight = 8;
  constexpr double kRoom = 12;    // percent, for the open end of a lower bound
  constexpr double kLeast = 1.5;  // percent, so that any cost above 0 is visible
  const double share = largest > 0 ? drawn(bucket) / largest * (100 - kRoom) : 0;
  const double width = share > 0 ? std::max(share, kLeast) : 0;
  Markup bar = startTag(
      "svg", {{"class", "bar"}, {"aria-hidden", "true"}, {"width", "100%"}, {"height", number(kHeight)}});
  bar += box(colour, 0, 0, width, kHeight);
  if (!bucket.cost.isComplete()) {
    bar += element(
        "rect",
        {{"class", "atleast"}, {"x", percentage(width)}, {"width", "14"}, {"height", number(kHeight)}});
  }
  return bar += endTag("svg");
}

}  // namespace tallyfin::Exporter
