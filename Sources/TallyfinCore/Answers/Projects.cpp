#include "TallyfinCore/Answers/Projects.hpp"

#include <algorithm>

namespace tallyfin::Answers {

Projects projects(DataSource& data, const ProjectsQuestion& question) {
  ReportParts parts = ReportParts::only(&ReportParts::projects);
  parts.agentsByProject = question.agents > 0;
  const auto report =
      std::make_shared<const Report>(data.report(question.period, question.filters.predicate, parts));
  Projects answer{.period = question.period, .filters = question.filters, .report = report, .rows = {}};
  for (const auto& [project, bucket] : report->topProjects(question.limit)) {
    ProjectRow row{.project = project, .bucket = bucket, .labelReasons = {}, .agents = {}};
    if (const auto found = report->projectProvenance.find(project);
        found != report->projectProvenance.end()) {
      row.labelReasons = found->second;
    }
    if (const auto* const agents = report->agentsByProject.find(project)) {
      row.agents = rankedAgents(*agents, question.agents, true);
      row.moreAgents = static_cast<std::int64_t>(agents->size() - row.agents.size());
    }
    answer.rows.push_back(std::move(row));
  }
  return answer;
}

}  // namespace tallyfin::Answers
