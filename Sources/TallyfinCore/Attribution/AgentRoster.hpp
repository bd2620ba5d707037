#pragma once

// Members of agent teams, recorded in `teams/session-*/config.json` in each Claude home. Rosters only add
// descriptions of agents and count how many agents have one; all figures come from the transcripts.

#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Homes.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "absl/container/flat_hash_map.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tallyfin {

/// A member of a team, as a roster file describes it.
struct RosterEntry {
  std::string name;  ///< the part of `agentId` before the "@"
  std::optional<std::string> agentType;
  std::optional<std::string> model;
  std::optional<std::string> cwd;
  std::string sessionId;  ///< the part of `agentId` after the "@", without "session-"

  friend bool operator==(const RosterEntry&, const RosterEntry&) = default;
};

/// How many entries the rosters have, and how many of the agents seen have an entry.
struct RosterCoverage {
  std::int64_t rostersRead = 0;    ///< files with a valid `members` list
  std::int64_t entriesLoaded = 0;  ///< members stored; one stored twice counts twice
  std::int64_t namedAgentsSeen = 0;
  std::int64_t namedAgentsMatched = 0;
  std::int64_t anonymousAgentsSeen = 0;

  /// Matched agents as a fraction of the named agents seen, 0 to 1; unknown (`noData`) if none was seen.
  Estimate<double> matchFraction() const;
};

/// The members in the roster files of all homes.
class AgentRoster {
 public:
  /// Adds the members in the roster files of all homes. Missing or malformed files and members are skipped
  /// without notice. A later member replaces an earlier one with the same key.
  void load(const std::vector<SourceHome>& homes);

  /// The roster entry of a named agent in a session, matched by the first 8 characters of the session id.
  /// Null if there is none, and for agents that are not named. The pointer is valid until the roster changes.
  const RosterEntry* entry(const AgentIdentity& agent, std::string_view sessionId) const;

  /// Counts the agents that have an entry, and adds to the counters. Each agent comes with one of its
  /// sessions.
  void recordCoverage(const absl::flat_hash_map<AgentIdentity, InternedText>& agents);

  const RosterCoverage& coverage() const { return coverage_; }
  std::size_t size() const { return entries_.size(); }

 private:
  void loadFile(const std::string& path);

  std::map<std::string, RosterEntry> entries_;  // key: canonical form of name, "@" and short session id
  RosterCoverage coverage_;
};

}  // namespace tallyfin
