#include "TallyfinCore/Attribution/AgentKinds.hpp"

#include "Platform/Text.hpp"
#include "TallyfinCore/Attribution/Sidecars.hpp"

#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>

namespace tallyfin {
namespace {

constexpr std::size_t kLongestKind = 256;  // bytes; interned texts are never freed

AgentKind kindIn(const std::optional<Sidecar>& sidecar) {
  if (!sidecar || !sidecar->agentType) {
    return AgentKind::unnamed();
  }
  const std::string_view name = *sidecar->agentType;
  const bool isName = name.size() <= kLongestKind && !Text::trimmedWhitespace(name).empty();
  return isName ? AgentKind::named(InternedText(name)) : AgentKind::unnamed();
}

}  // namespace

InternedText AgentKind::label() const {
  return type_ == Type::named ? name_ : InternedText(type_ == Type::main ? "main session" : "unnamed");
}

InternedText AgentKind::key() const {
  return type_ == Type::named ? name_ : InternedText(type_ == Type::main ? "(main)" : "(unnamed)");
}

AgentTranscripts transcriptsOfAgents(std::span<const FileProvenance> files) {
  struct First {
    const FileProvenance* file = nullptr;
    std::int64_t rank = std::numeric_limits<std::int64_t>::max();
  };
  absl::flat_hash_map<AgentIdentity, First> firsts;
  for (const FileProvenance& file : files) {
    AgentIdentity last;
    std::int64_t rank = std::numeric_limits<std::int64_t>::max();
    for (const auto& [key, record] : file.records().entries()) {
      // A file that grew may have records of several ranks, from several listings.
      if (record.agent.kind() != AgentIdentity::Kind::anonymous ||
          (record.agent == last && record.sourceRank >= rank)) {
        continue;
      }
      last = record.agent;
      rank = record.sourceRank;
      First& first = firsts[record.agent];
      if (rank < first.rank) {
        first = {&file, rank};
      }
    }
  }
  AgentTranscripts transcripts;
  transcripts.reserve(firsts.size());
  for (const auto& [agent, first] : firsts) {
    transcripts.emplace(agent, first.file->path);
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
    known->second = kindIn(readSidecar(sidecarPathOf(transcript->second)));
  }
  return known->second;
}

}  // namespace tallyfin
