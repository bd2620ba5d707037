#include "TallyfinCore/Attribution/AgentKinds.hpp"

#include "TallyfinCore/Attribution/Sidecars.hpp"

#include <optional>

namespace tallyfin {
InternedText AgentKind::label() const {
  return type_ == Type::named ? name_ : InternedText(type_ == Type::main ? "main session" : "unnamed");
}

InternedText AgentKind::key() const {
  return type_ == Type::named ? name_ : InternedText(type_ == Type::main ? "(main)" : "(unnamed)");
}

AgentTranscripts transcriptsOfAgents(std::span<const FileProvenance> files) {
  AgentTranscripts transcripts;
  for (const FileProvenance& file : files) {
    AgentIdentity last;
    for (const auto& [key, record] : file.records().entries()) {
      if (record.agent.kind() == AgentIdentity::Kind::anonymous && record.agent != last) {
        last = record.agent;
        transcripts.try_emplace(record.agent, file.path);
      }
    }
  }
  return transcripts;
}

AgentKind AgentKinds::of(const AgentIdentity& agent) {
  switch (agent.kind()) {
    case AgentIdentity::Kind::main:
      return AgentKind::main();
    case AgentIdentity::Kind::named:
      return AgentKind::named(agent.name());
    case AgentIdentity::Kind::anonymous:
      break;
  }
  const auto [known, isNew] = known_.try_emplace(agent, AgentKind::unnamed());
  if (const auto transcript = transcripts_.find(agent); isNew && transcript != transcripts_.end()) {
    const std::optional<Sidecar> sidecar = readSidecar(sidecarPathOf(transcript->second));
    if (sidecar && sidecar->agentType) {
      known->second = AgentKind::named(InternedText(*sidecar->agentType));
    }
  }
  return known->second;
}

}  // namespace tallyfin
