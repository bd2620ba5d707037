#pragma once

// What runs of agent teams recorded about their members: `teams/session-*/config.json` below each Claude
// home. Figures come from the transcripts alone; a roster only adds descriptions of agents, and counts how
// many agents have one.

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
  std::string sessionId;  ///< the part behind the "@", without "session-"

  friend bool operator==(const RosterEntry&, const RosterEntry&) = default;
};

/// How much the rosters hold, and how many of the agents seen have an entry.
struct RosterCoverage {
  std::int64_t rostersRead = 0;    ///< files with a usable `members` list
  std::int64_t entriesLoaded = 0;  ///< members stored; one stored twice counts twice
  std::int64_t namedAgentsSeen = 0;
  std::int64_t namedAgentsMatched = 0;
  std::int64_t anonymousAgentsSeen = 0;

  /// Matched of seen named agents, 0 to 1; unknown (`noData`) when none was seen.
  Estimate<double> matchFraction() const;
};

/// The members that the roster files of all homes describe.
class AgentRoster {
 public:
  /// Adds what the roster files of all homes hold. Files and members that are missing or malformed are passed
  /// over in silence; a later member with the same key replaces an earlier one.
  void load(const std::vector<SourceHome>& homes);

  /// What the roster says of a named agent in a session, joined by the first 8 characters of the session id;
  /// null when it says nothing, and for any other agent. The pointer lives until the roster changes.
  const RosterEntry* entry(const AgentIdentity& agent, std::string_view sessionId) const;

  /// Counts which of the agents (each with one of its sessions) have an entry. Adds to the counters.
  void recordCoverage(const absl::flat_hash_map<AgentIdentity, InternedText>& agents);

  const RosterCoverage& coverage() const { return coverage_; }
  std::size_t size() const { return entries_.size(); }

 private:
  void loadFile(const std::string& path);

  std::map<std::string, RosterEntry> entries_;  // by the canonical form of name, "@" and short session id
  RosterCoverage coverage_;
};

}  // namespace tallyfin
