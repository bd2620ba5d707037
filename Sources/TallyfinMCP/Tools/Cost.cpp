#include "Platform/Concat.hpp"
#include "Platform/Text.hpp"
#include "TallyfinMCP/Filters.hpp"
#include "TallyfinMCP/MCPError.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"
#include "absl/strings/str_format.h"
#include "absl/strings/str_join.h"

#include <algorithm>
#include <array>

namespace tallyfin::Tools {
namespace {

constexpr std::int64_t kMostRows = 50;  // of all axes but days and hours

Rows byDay(const Report& report, const Calendar& calendar) {
  return dayRows(report, calendar);
}

Rows byHour(const Report& report, const Calendar&) {
  std::vector<std::pair<int, const Bucket*>> hours;
  for (const auto& [hour, bucket] : report.byHour) {
    hours.emplace_back(hour, &bucket);
  }
  std::sort(hours.begin(), hours.end());
  Rows rows;
  for (const auto& [hour, bucket] : hours) {
    rows.emplace_back(absl::StrFormat("%02d:00", hour), bucket);
  }
  return rows;
}

Rows byAgent(const Report& report, const Calendar&) {
  return rowsOf(report.topAgents(kMostRows, true));
}

Rows byProject(const Report& report, const Calendar&) {
  return rowsOf(report.topProjects(kMostRows));
}

Rows byModelName(const Report& report, const Calendar&) {
  return rowsOf(report.topModels(kMostRows));
}

Rows bySession(const Report& report, const Calendar&) {
  Rows rows = rowsOf(report.topSessions(kMostRows));
  for (auto& [id, bucket] : rows) {
    id = std::string(Text::prefix(id, 12));
  }
  return rows;
}

struct Breakdown {
  std::string_view axis;
  std::string_view remark;  // beside the axis in the catalogue
  std::string_view heading;
  std::string_view empty;
  Rows (*rows)(const Report& report, const Calendar& calendar);
};

constexpr std::array kBreakdowns{
    Breakdown{"day", " (default)", "DAY", "no day with activity in range", byDay},
    Breakdown{"hour", " (single day only)", "HOUR", "no hour with activity on this day", byHour},
    Breakdown{"agent", "", "AGENT", "no agent in range", byAgent},
    Breakdown{"project", "", "PROJECT", "no project in range", byProject},
    Breakdown{"model", "", "MODEL", "no model in range", byModelName},
    Breakdown{"session", "", "SESSION", "no session in range", bySession},
};

const Breakdown& breakdownBy(const std::string& axis) {
  for (const Breakdown& one : kBreakdowns) {
    if (one.axis == axis) {
      return one;
    }
  }
  const auto name = [](std::string* out, const Breakdown& one) { append(*out, one.axis); };
  throw MCPError(concat("unknown axis “", axis, "” — accepted: ", absl::StrJoin(kBreakdowns, ", ", name)));
}

// What the total is made of.
std::string details(const Bucket& total, const Calendar& calendar) {
  std::string text =
      concat("  tokens ", R::tokens(total.totalTokens()), " (in ", R::tokens(total.input), " · out ",
             R::tokens(total.output), " · cache-write ", R::tokens(total.cacheWrite()), " · cache-read ",
             R::tokens(total.cacheRead), ")\n");
  const Estimate<DominantComponent> dominant = total.dominantComponent();
  if (const DominantComponent* const known = dominant.value()) {
    append(text, "  dominant: ", known->name, " ", R::percent(known->percent), "\n");
  } else {
    append(text, "  dominant: unknown — ", dominant.reason()->text(), "\n");
  }
  append(text, "  range: ", R::span(total, calendar), "\n");
  return text;
}

}  // namespace

std::string breakdownAxes() {
  return absl::StrJoin(kBreakdowns, ", ", [](std::string* out, const Breakdown& one) {
    append(*out, "`", one.axis, "`", one.remark);
  });
}

std::string cost(DataSource& data, const JsonValue& arguments) {
  const Period period = Period::parse(arguments, "today", data.now(), data.calendar());
  const Filters filters = buildFilters(data, arguments);
  const Breakdown& breakdown = breakdownBy(Text::lowercased(stringArgument(arguments, "by").value_or("day")));
  const bool isByHour = breakdown.axis == "hour";
  if (isByHour && !period.isSingleDay) {
    throw MCPError(
        "`by: \"hour\"` only makes sense on a single day — give `period: \"today\"`, `\"yesterday\"` or "
        "`from`=`to`.");
  }
  const Report report = data.report(period, filters.predicate, isByHour);

  std::string text = header("Cost", period, filters);
  append(text, R::rule, "\n", "  TOTAL  ", R::cost(report.total), "\n");
  if (report.total.requests > 0) {
    text += details(report.total, data.calendar());
  }
  append(text, "\nBREAKDOWN BY ", breakdown.heading, "\n",
         list(breakdown.rows(report, data.calendar()), breakdown.empty));
  if (breakdown.axis != "agent" && report.total.requests > 0) {
    append(text, "\nWHO (top 5 agents over the same range)\n",
           list(rowsOf(report.topAgents(5, true)), "no agent in range"));
  }
  return text + footer(report, period);
}

}  // namespace tallyfin::Tools
