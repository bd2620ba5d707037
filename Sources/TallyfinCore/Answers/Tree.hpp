#pragma once

// Who started whom in a session, and what each agent cost with all agents that it started.

#include "TallyfinCore/Answers/DataSource.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin::Answers {

/// The main session or an agent of the session.
struct TreeNode {
  AgentIdentity agent;
  /// What the agent is: its name, else the type in its sidecar. Absent for the main session and if unknown.
  std::optional<std::string> kind = {};
  std::optional<std::string> description = {};  ///< what the agent was told to do; absent if unknown
  Bucket own = {};                              ///< its own requests; empty if the main session has none
  Bucket whole = {};        ///< requests and cost, with those of all agents below; nothing else
  std::int64_t agents = 0;  ///< the number of agents below, and of the agent itself
  /// The node that started it; absent for the main session, and for agents whose starter is unknown.
  std::optional<std::size_t> starter = {};
  std::vector<std::size_t> started = {};  ///< the nodes that it started, most expensive (`whole`) first
};

struct Tree {
  InternedText session;
  std::shared_ptr<const Report> report;     ///< all requests of the session
  std::vector<TreeNode> nodes;              ///< the main session comes first, even without requests
  std::vector<std::size_t> unknownStarter;  ///< the agents whose starter is unknown, most expensive first
};

/// The tree of a session that has requests. The starter of an agent is the `parentAgentId` of its sidecar if
/// an agent of the session has that id; else the agent whose transcript holds the tool use that started it,
/// for which all transcripts of the session are read; else the main session if the sidecar says that the
/// agent is one level below it. Agents that start each other in a circle have no known starter.
Tree tree(DataSource& data, InternedText session);

}  // namespace tallyfin::Answers
