#include "TallyfinCore/Answers/Agent.hpp"

#include "TallyfinCore/Answers/Agents.hpp"
#include "TallyfinCore/Answers/Lookup.hpp"

#include <utility>

namespace tallyfin::Answers {

Answered<Agent> agent(DataSource& data, const AgentQuestion& question) {
  constexpr std::int64_t kMostRows = 20;
  const Report wide =
      data.report(Period::all(), {}, ReportParts::only(&ReportParts::agents, &ReportParts::origins));
  Answered<AgentIdentity> found = resolveAgent(question.agent, wide);
  if (Refusal* const refusal = std::get_if<Refusal>(&found)) {
    return std::move(*refusal);
  }
  const AgentIdentity identity = std::get<AgentIdentity>(found);
  const auto report = std::make_shared<const Report>(data.report(
      question.period, [identity](const UsageRecord& record) { return record.agent == identity; },
      ReportParts::only(&ReportParts::sessions, &ReportParts::projects)));
  return Agent{.agent = identity,
               .period = question.period,
               .report = report,
               .roster = rosterEntry(data, wide, identity),
               .sessions = report->topSessions(kMostRows),
               .projects = report->topProjects(kMostRows)};
}

}  // namespace tallyfin::Answers
