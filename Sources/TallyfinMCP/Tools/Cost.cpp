#include "TallyfinCore/Answers/Cost.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/ascii.h"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <array>

namespace tallyfin::Tools {
namespace {

constexpr std::int64_t kMostRows = 50;  // on all axes except days and hours

struct Breakdown {
  Axis axis;
  std::string_view remark;  // follows the axis in the catalogue
  std::string_view empty;
};

constexpr std::array kBreakdowns{
    Breakdown{Axis::day, " (default)", "no day with activity in range"},
    Breakdown{Axis::hour, " (single day only)", "no hour with activity on this day"},
    Breakdown{Axis::agent, "", "no agent in range"},
    Breakdown{Axis::project, "", "no project in range"},
    Breakdown{Axis::model, "", "no model in range"},
    Breakdown{Axis::session, "", "no session in range"},
};

const Breakdown& breakdownBy(const std::string& axis) {
  const auto* const found =
      std::ranges::find(kBreakdowns, axis, [](const Breakdown& one) { return rawValue(one.axis); });
  if (found == kBreakdowns.end()) {
    throw MCPError(concat("unknown axis “", axis, "” — accepted: ", absl::StrJoin(breakdownNames(), ", ")));
  }
  return *found;
}

// The rows with this tool's labels: days newest first, sessions by the beginning of their id.
Rows labelled(const std::vector<Entry>& entries, Axis axis) {
  constexpr std::size_t kSessionLetters = 12;
  Rows rows;
  for (const Entry& entry : entries) {
    rows.emplace_back(entry.agent             ? R::shortAgent(*entry.agent)
                      : axis == Axis::session ? std::string(Text::prefix(entry.key.text(), kSessionLetters))
                                              : entry.label(),
                      entry.bucket);
  }
  if (axis == Axis::day) {
    std::ranges::reverse(rows);
  }
  return rows;
}

// The parts of the total.
std::string details(const Bucket& total, const Calendar& calendar) {
  std::string text =
      concat("  tokens ", R::tokens(total.totalTokens()), " (in ", R::tokens(total.input), " · out ",
             R::tokens(total.output), " · cache-write ", R::tokens(total.cacheWrite()), " · cache-read ",
             R::tokens(total.cacheRead), ")\n");
  const Estimate<DominantComponent> dominant = total.dominantComponent();
  if (const DominantComponent* const known = dominant.value()) {
    append(text, "  dominant: ", known->name, " ", percent(known->percent), "\n");
  } else {
    append(text, "  dominant: unknown — ", dominant.reason()->text(), "\n");
  }
  append(text, "  range: ", R::span(total, calendar), "\n");
  return text;
}

}  // namespace

std::vector<std::string> breakdownNames() {
  std::vector<std::string> names;
  names.reserve(kBreakdowns.size());
  for (const Breakdown& one : kBreakdowns) {
    names.emplace_back(rawValue(one.axis));
  }
  return names;
}

std::string breakdownAxes() {
  return absl::StrJoin(kBreakdowns, ", ", [](std::string* out, const Breakdown& one) {
    append(*out, "`", rawValue(one.axis), "`", one.remark);
  });
}

std::string cost(DataSource& data, const Arguments& given) {
  const Period period = periodOf(given, data);
  const Filters filters = filtersOf(given, data);
  const auto& [axis, remark, empty] = breakdownBy(Text::lowercased(given.text("by").value_or("")));
  if (axis == Axis::hour && !period.isSingleDay) {
    throw MCPError(
        "`by: \"hour\"` only makes sense on a single day — give `period: \"today\"`, `\"yesterday\"` or "
        "`from`=`to`.");
  }
  const Answers::Cost answer = Answers::cost(data, {period, filters, axis, kMostRows});
  const Bucket& total = answer.report->total;

  std::string text = header("Cost", period, filters);
  append(text, R::rule, "\n", "  TOTAL  ", costInAnswer(total), "\n");
  if (total.requests > 0) {
    text += details(total, data.calendar());
  }
  std::string heading(rawValue(axis));
  absl::AsciiStrToUpper(&heading);
  append(text, "\nBREAKDOWN BY ", heading, "\n", list(labelled(answer.rows, axis), empty));
  if (axis != Axis::agent && total.requests > 0) {
    append(text, "\nWHO (top 5 agents over the same range)\n",
           list(rowsOf(answer.report->topAgents(5, true)), "no agent in range"));
  }
  return text + footer(*answer.report, period);
}

}  // namespace tallyfin::Tools
