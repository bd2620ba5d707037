#include "TallyfinCore/Exports/Attribution.hpp"

#include "Platform/Concat.hpp"
#include "absl/strings/str_join.h"

#include <map>

namespace tallyfin::Exporter {
namespace {

std::string_view inWords(Provenance provenance) {
  switch (provenance) {
    case Provenance::exact:
      return "cwd is the repository root";
    case Provenance::worktreeFolded:
      return "folded out of a .claude/worktrees path";
    case Provenance::gitRootFolded:
      return "folded up to the git root";
    case Provenance::rawFallback:
      return "no repository found; the raw cwd was kept";
    case Provenance::missing:
      break;
  }
  return "the transcript carried no cwd";
}

template <typename Map, typename Key>
std::string_view textOr(const Map& map, const Key& key, std::string_view otherwise) {
  const auto found = map.find(key);
  return found != map.end() ? found->second.text() : otherwise;
}

Attribution ofProject(const Entry& entry, const Report& report) {
  const auto found = report.projectProvenance.find(entry.key);
  if (found == report.projectProvenance.end() || found->second.empty()) {
    return {.project = entry.key.text(),
            .note = "unknown — the report carries no label provenance for this project"};
  }
  std::map<std::string_view, std::string_view> reasons;  // sorted by name
  for (const Provenance provenance : allProvenances) {
    if (found->second.contains(provenance)) {
      reasons.emplace(text(provenance), inWords(provenance));
    }
  }
  const auto words = [](std::string* out, const auto& reason) { append(*out, reason.second); };
  return {.project = entry.key.text(), .note = absl::StrJoin(reasons, "; ", words)};
}

Attribution ofSession(const Entry& entry, const Report& report) {
  return {.project = textOr(report.sessionProject, entry.key,
                            "unknown — no project could be attached to this session"),
          .session = entry.key.text(),
          .note = "project taken from the session's last activity"};
}

Attribution ofAgent(const Entry& entry, const Report& report) {
  const AgentIdentity& agent = entry.agent.value();  // always set on this axis
  Attribution cells{
      .project = textOr(report.agentProject, agent, "unknown — no project recorded for this agent"),
      .session = textOr(report.agentSession, agent, "unknown — no session recorded for this agent"),
      .agent = entry.label(),
      .agentKind = "main session",
      .note = "requests with no agentId, i.e. the main session"};
  if (agent.kind() == AgentIdentity::Kind::named) {
    cells.agentKind = "named subagent";
    cells.note = "name read out of the agentId itself";
  } else if (agent.kind() == AgentIdentity::Kind::anonymous) {
    cells.agentKind = "anonymous subagent";
    cells.note =
        "the agentId carries no name and no roster entry matched; the agent is reported as anonymous "
        "rather than given a plausible name";
  }
  return cells;
}

}  // namespace

Attribution attribution(const Entry& entry, Axis axis, const Report& report) {
  switch (axis) {
    case Axis::project:
      return ofProject(entry, report);
    case Axis::session:
      return ofSession(entry, report);
    case Axis::agent:
      return ofAgent(entry, report);
    default:
      return {.note = std::string(noteOf(axis))};
  }
}

}  // namespace tallyfin::Exporter
