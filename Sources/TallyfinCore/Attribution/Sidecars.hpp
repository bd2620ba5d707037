#pragma once

// The sidecar of a sub-agent's transcript: what the client writes about the agent beside it, in
// `agent-<id>.meta.json`. Read only when a view needs it, never stored, and not read by the server.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// The members of a sidecar that are used. A member that is missing, empty or of another type is absent.
struct Sidecar {
  /// What the agent is: "Explore". Also absent if it is blank or has more than 256 bytes.
  std::optional<std::string> agentType;
  std::optional<std::string> description;    ///< what it was told to do, on one line
  std::optional<std::string> toolUseId;      ///< the id of the tool use that started it
  std::optional<std::string> parentAgentId;  ///< the agent that started it
  std::optional<std::int64_t> spawnDepth;    ///< 1: started by the main session

  friend bool operator==(const Sidecar&, const Sidecar&) = default;
};

/// The path of the sidecar of a transcript: "agent-1.meta.json" for "agent-1.jsonl".
std::string sidecarPathOf(std::string_view transcript);

/// Reads a sidecar. Absent if there is no regular file, it has more than 64 KiB, or it is not a JSON object.
std::optional<Sidecar> readSidecar(const std::string& path);

}  // namespace tallyfin
