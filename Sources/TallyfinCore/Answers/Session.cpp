#include "TallyfinCore/Answers/Session.hpp"

#include "TallyfinCore/Answers/Lookup.hpp"

#include <utility>

namespace tallyfin::Answers {

Answered<Session> session(DataSource& data, const SessionQuestion& question) {
  constexpr std::int64_t kMostProjects = 20;
  const Report wide =
      data.report(Period::all(), {}, ReportParts::only(&ReportParts::sessions, &ReportParts::origins));
  Answered<InternedText> found = resolveSession(question.session, wide);
  if (Refusal* const refusal = std::get_if<Refusal>(&found)) {
    return std::move(*refusal);
  }
  const InternedText id = std::get<InternedText>(found);
  const auto report = std::make_shared<const Report>(data.report(
      question.period, [id](const UsageRecord& record) { return record.sessionId == id; },
      ReportParts::only(&ReportParts::agents, &ReportParts::projects)));
  const auto project = wide.sessionProject.find(id);
  return Session{
      .id = id,
      .period = question.period,
      .project = project == wide.sessionProject.end() ? std::nullopt : std::optional(project->second),
      .report = report,
      .agents = rankedAgents(report->byAgent, std::nullopt, true),
      .projects = report->topProjects(kMostProjects)};
}

}  // namespace tallyfin::Answers
