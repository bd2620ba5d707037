#pragma once

// What agents are: the main session, agents of a kind such as "Explore", or agents of which no kind is known.
// An agent with a name is of the kind of that name. That of any other agent is the type in its sidecar, which
// is read when it is first asked for.

#include "Platform/InternedText.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "absl/container/flat_hash_map.h"

#include <cstdint>
#include <span>
#include <string>
#include <utility>

namespace tallyfin {

/// What an agent is. `main` and `unnamed` differ from a kind whose name is spelled so.
class AgentKind {
 public:
  enum class Type : std::uint8_t { main, named, unnamed };

  /// The kind of the main session.
  constexpr AgentKind() = default;
  static AgentKind main() { return {}; }
  static AgentKind named(InternedText name) { return {Type::named, name}; }
  static AgentKind unnamed() { return {Type::unnamed, {}}; }

  Type type() const { return type_; }

  /// The text shown to users: the name, "main session" or "unnamed".
  InternedText label() const;

  /// The text that identifies the kind in documents and breaks ties: the name, "(main)" or "(unnamed)".
  InternedText key() const;

  friend bool operator==(const AgentKind&, const AgentKind&) = default;

  template <typename H>
  friend H AbslHashValue(H state, const AgentKind& kind) {
    return H::combine(std::move(state), kind.type_, kind.name_);
  }

 private:
  AgentKind(Type type, InternedText name) : name_(name), type_(type) {}

  InternedText name_;
  Type type_ = Type::main;
};

/// The transcript of each agent that has no name: the first of the files with a request of it.
using AgentTranscripts = absl::flat_hash_map<AgentIdentity, std::string>;
AgentTranscripts transcriptsOfAgents(std::span<const FileProvenance> files);

/// Finds the kinds of agents. Used from one thread.
class AgentKinds {
 public:
  explicit AgentKinds(AgentTranscripts transcripts) : transcripts_(std::move(transcripts)) {}

  /// The kind of an agent. The first call for an agent without a name reads its sidecar; if that gives no
  /// type, the agent is unnamed.
  AgentKind of(const AgentIdentity& agent);

 private:
  AgentTranscripts transcripts_;
  absl::flat_hash_map<AgentIdentity, AgentKind> known_;  // of agents without a name
};

}  // namespace tallyfin
