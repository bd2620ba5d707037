#include "TallyfinCore/Answers/Filters.hpp"

#include "Platform/Concat.hpp"
#include "TallyfinCore/Answers/Lookup.hpp"
#include "absl/container/flat_hash_set.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tallyfin {
namespace {

// Whether a record belongs to a project. Consecutive records mostly share a directory, so the last result is
// cached.
class InProject {
 public:
  InProject(ProjectResolver resolver, InternedText project)
      : resolver_(std::move(resolver)), project_(project) {}

  bool operator()(const UsageRecord& record) {
    if (directory_ != record.rawCwd.spelling()) {
      directory_ = record.rawCwd.spelling();
      isInside_ = resolver_.resolve(record.rawCwd).canonical == project_;
    }
    return isInside_;
  }

 private:
  ProjectResolver resolver_;
  InternedText project_;
  std::optional<std::uint32_t> directory_;  // spelling number of the last directory
  bool isInside_ = false;
};

bool isGiven(const std::optional<std::string>& word) {
  return word && !word->empty();
}

// Looks up a word, if given, and stores its key. Returns the refusal, if any.
template <typename Key>
std::optional<Refusal> keep(std::optional<Key>& key, const std::optional<std::string>& word,
                            Answered<Key> (*resolve)(const std::string&, const Report&), const Report& wide) {
  if (!isGiven(word)) {
    return std::nullopt;
  }
  Answered<Key> found = resolve(*word, wide);
  if (Refusal* const refusal = std::get_if<Refusal>(&found)) {
    return std::move(*refusal);
  }
  key = std::get<Key>(found);
  return std::nullopt;
}

// Looks up an agent or a kind, and stores which. Returns the refusal, if any.
std::optional<Refusal> keepAgentOrKind(Filters& filters, const std::string& word, DataSource& data,
                                       const Report& wide) {
  Answered<AgentChoice> found = resolveAgentOrKind(word, wide, data.kinds());
  if (Refusal* const refusal = std::get_if<Refusal>(&found)) {
    return std::move(*refusal);
  }
  const auto& choice = std::get<AgentChoice>(found);
  if (const AgentKind* const kind = std::get_if<AgentKind>(&choice)) {
    filters.kind = *kind;
  } else {
    filters.agent = std::get<AgentIdentity>(choice);
  }
  return std::nullopt;
}

// Whether a record belongs to an agent of a kind. The agents are those of the whole history.
RecordFilter ofKind(const AgentKind& kind, const Report& wide, AgentKinds& kinds) {
  absl::flat_hash_set<AgentIdentity> agents;
  for (const auto& [agent, bucket] : wide.byAgent) {
    if (kinds.of(agent) == kind) {
      agents.insert(agent);
    }
  }
  return [agents = std::move(agents)](const UsageRecord& record) { return agents.contains(record.agent); };
}

RecordFilter predicateOf(const Filters& filters, const Report& wide, DataSource& data) {
  std::vector<RecordFilter> all;
  if (filters.kind) {
    all.push_back(ofKind(*filters.kind, wide, data.kinds()));
  }
  if (filters.agent) {
    all.emplace_back([agent = *filters.agent](const UsageRecord& record) { return record.agent == agent; });
  }
  if (filters.project) {
    all.emplace_back(InProject(data.resolver(), *filters.project));
  }
  if (filters.session) {
    all.emplace_back([id = *filters.session](const UsageRecord& record) { return record.sessionId == id; });
  }
  return [all = std::move(all)](const UsageRecord& record) {
    return std::ranges::all_of(all, [&](const RecordFilter& passes) { return passes(record); });
  };
}

}  // namespace

std::vector<std::pair<std::string_view, std::string>> Filters::named() const {
  std::vector<std::pair<std::string_view, std::string>> filters;
  if (agent) {
    filters.emplace_back("agent", agent->labelWithId());
  }
  if (kind) {
    filters.emplace_back("agent", kind->label().text());
  }
  if (project) {
    filters.emplace_back("project", project->text());
  }
  if (session) {
    filters.emplace_back("session", session->text());
  }
  return filters;
}

std::vector<std::string> Filters::described() const {
  std::vector<std::string> texts;
  for (const auto& [name, value] : named()) {
    texts.push_back(concat(name, " = ", value));
  }
  return texts;
}

Answered<Filters> buildFilters(DataSource& data, const FilterWords& words) {
  Filters filters;
  ReportParts named = ReportParts::only();
  named.agents = isGiven(words.agent) || isGiven(words.agentOrKind);
  named.projects = isGiven(words.project);
  named.sessions = isGiven(words.session);
  if (!named.agents && !named.projects && !named.sessions) {
    return filters;
  }
  const Report wide = data.report(Period::all(), {}, named);
  std::optional<Refusal> refusal = keep(filters.agent, words.agent, resolveAgent, wide);
  if (!refusal && isGiven(words.agentOrKind)) {
    refusal = keepAgentOrKind(filters, *words.agentOrKind, data, wide);
  }
  if (!refusal) {
    refusal = keep(filters.project, words.project, resolveProject, wide);
  }
  if (!refusal) {
    refusal = keep(filters.session, words.session, resolveSession, wide);
  }
  if (refusal) {
    return *std::move(refusal);
  }
  filters.predicate = predicateOf(filters, wide, data);
  return filters;
}

}  // namespace tallyfin
