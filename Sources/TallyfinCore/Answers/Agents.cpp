#include "TallyfinCore/Answers/Agents.hpp"

namespace tallyfin::Answers {
namespace {

template <typename Key>
std::optional<InternedText> textOf(const absl::flat_hash_map<Key, InternedText>& texts, const Key& key) {
  const auto found = texts.find(key);
  return found == texts.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

Agents agents(DataSource& data, const AgentsQuestion& question) {
  const auto report = std::make_shared<const Report>(
      data.report(question.period, question.filters.predicate,
                  ReportParts::only(&ReportParts::agents, &ReportParts::origins)));
  Agents answer{.period = question.period, .filters = question.filters, .report = report, .rows = {}};
  for (const auto& [agent, bucket] : report->topAgents(question.limit, question.includesMain)) {
    answer.rows.push_back({.agent = agent,
                           .bucket = bucket,
                           .session = textOf(report->agentSession, agent),
                           .project = textOf(report->agentProject, agent),
                           .roster = rosterEntry(data, *report, agent)});
  }
  return answer;
}

std::optional<RosterEntry> rosterEntry(const DataSource& data, const Report& report,
                                       const AgentIdentity& agent) {
  const std::optional<InternedText> session = textOf(report.agentSession, agent);
  const RosterEntry* const entry = session ? data.roster().entry(agent, session->text()) : nullptr;
  return entry == nullptr ? std::nullopt : std::optional(*entry);
}

}  // namespace tallyfin::Answers
