#include "Platform/Concat.hpp"
#include "TallyfinCore/Figures/Derived.hpp"
#include "TallyfinMCP/Render.hpp"
#include "TallyfinMCP/Tools/Tools.hpp"

#include <algorithm>

namespace tallyfin::Tools {

Rows rowsOf(const Ranking<AgentIdentity>& agents) {
  Rows rows;
  for (const auto& [agent, bucket] : agents) {
    rows.emplace_back(R::shortAgent(agent), bucket);
  }
  return rows;
}

Rows rowsOf(const Ranking<InternedText>& keys) {
  Rows rows;
  for (const auto& [key, bucket] : keys) {
    rows.emplace_back(key.text(), bucket);
  }
  return rows;
}

Rows dayRows(const Report& report, const Calendar& calendar) {
  std::vector<std::pair<TimePoint, const Bucket*>> days;
  for (const auto& [day, bucket] : report.byDay) {
    days.emplace_back(day, &bucket);
  }
  std::sort(days.begin(), days.end(),
            [](const auto& left, const auto& right) { return left.first > right.first; });
  Rows rows;
  for (const auto& [day, bucket] : days) {
    rows.emplace_back(calendar.formatDay(day), bucket);
  }
  return rows;
}

std::string list(const Rows& rows, std::string_view empty) {
  if (rows.empty()) {
    return concat("  unknown — ", empty, "\n");
  }
  std::string text;
  for (const auto& [label, bucket] : rows) {
    append(text, R::bucketLine(label, *bucket, 34), "\n");
  }
  return text;
}

std::string footer(const Report& report, const Period& period) {
  return footer(report, period, report.total.cost);
}

std::string footer(const Report& report, const Period& period, const CostEstimate& shown) {
  std::string text = "\n";
  if (period.includesToday) {
    text += "The period includes today — the figure is not final.\n";
  }
  for (const auto& note :
       {R::unpricedNote(report.total), R::assumedNote(report.total), R::ownPricesNote(shown)}) {
    if (note) {
      append(text, *note, "\n");
    }
  }
  append(text, "— ", Derived::disclaimer, "\n");
  return text;
}

std::string unreadable(const ScanDiagnostics& seen, const ProjectResolver& paths) {
  constexpr std::size_t kMostListed = 10;
  std::string text;
  for (std::size_t i = 0; i < std::min(kMostListed, seen.filesUnreadable.size()); ++i) {
    append(text, "      ", paths.tildify(seen.filesUnreadable[i]), "\n");
  }
  return text;
}

std::string volume(const Bucket& bucket) {
  return concat(R::requests(bucket.requests), " · ", R::tokens(bucket.totalTokens()), " tokens");
}

std::string modelsOf(const Bucket& bucket) {
  return R::models(bucket).value_or(UnknownReason::placeholder);
}

const RosterEntry* rosterEntry(const DataSource& data, const Report& report, const AgentIdentity& agent) {
  const auto session = report.agentSession.find(agent);
  return session == report.agentSession.end() ? nullptr : data.roster().entry(agent, session->second.text());
}

std::string orUnknown(const std::optional<std::string>& text) {
  return text.value_or(UnknownReason::placeholder);
}

}  // namespace tallyfin::Tools
