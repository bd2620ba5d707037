#include "TallyfinCore/Answers/Models.hpp"

namespace tallyfin::Answers {

Models models(DataSource& data, const ModelsQuestion& question) {
  ReportParts parts = ReportParts::only();
  parts.agentsByModel = question.agents > 0;
  const auto report =
      std::make_shared<const Report>(data.report(question.period, question.filters.predicate, parts));
  Models answer{.period = question.period, .filters = question.filters, .report = report, .rows = {}};
  for (const auto& [model, bucket] : report->topModels(question.limit)) {
    const auto* const agents = report->agentsByModel.find(model);
    answer.rows.push_back({.model = model,
                           .bucket = bucket,
                           .share = percentage(bucket->cost.priced, report->total.cost.priced),
                           .hasPrice = !bucket->cost.unpricedModels.contains(model),
                           .agents = agents == nullptr ? Ranking<AgentIdentity>()
                                                       : rankedAgents(*agents, question.agents, true)});
  }
  return answer;
}

}  // namespace tallyfin::Answers
