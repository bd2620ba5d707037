// The rankings of a report and the split between the main session and its agents.

#include "Platform/Text.hpp"
#include "TallyfinCore/Aggregation.hpp"

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstddef>
#include <limits>

namespace tallyfin {
namespace {

std::strong_ordering compareKeys(InternedText left, InternedText right) {
  return left <=> right;
}

std::strong_ordering compareKeys(const AgentIdentity& left, const AgentIdentity& right) {
  return Text::compare(left.description(), right.description());
}

// A NaN would compare with nothing and break the sort; it stands behind all numbers.
double rankedCost(const Bucket& bucket) {
  return std::isnan(bucket.cost.priced) ? -std::numeric_limits<double>::infinity() : bucket.cost.priced;
}

template <typename Key>
bool ranksBefore(const std::pair<Key, const Bucket*>& left, const std::pair<Key, const Bucket*>& right) {
  const double leftCost = rankedCost(*left.second);
  const double rightCost = rankedCost(*right.second);
  if (leftCost != rightCost) {
    return leftCost > rightCost;
  }
  const std::strong_ordering order = compareKeys(left.first, right.first);
  // Only an agent whose id reads "(main)" can tie with another key; the one that came up first stands first.
  return std::is_neq(order) ? std::is_lt(order) : left.second < right.second;
}

template <typename Key, typename Keep>
Ranking<Key> ranked(const Axis<Key>& axis, std::int64_t limit, Keep keep) {
  Ranking<Key> ranking;
  ranking.reserve(axis.size());
  for (const auto& [key, bucket] : axis) {
    if (keep(key)) {
      ranking.emplace_back(key, &bucket);
    }
  }
  const auto wanted = static_cast<std::size_t>(std::max<std::int64_t>(limit, 0));
  const std::size_t count = std::min(wanted, ranking.size());
  std::partial_sort(ranking.begin(), ranking.begin() + static_cast<std::ptrdiff_t>(count), ranking.end(),
                    ranksBefore<Key>);
  ranking.resize(count);
  return ranking;
}

bool keepAll(InternedText) {
  return true;
}

}  // namespace

Ranking<AgentIdentity> rankedAgents(const Axis<AgentIdentity>& agents, std::int64_t limit, bool includeMain) {
  return ranked(agents, limit, [&](const AgentIdentity& agent) { return includeMain || agent.isSubagent(); });
}

Ranking<AgentIdentity> Report::topAgents(std::int64_t limit, bool includeMain) const {
  return rankedAgents(byAgent, limit, includeMain);
}

Ranking<InternedText> Report::topProjects(std::int64_t limit) const {
  return ranked(byProject, limit, keepAll);
}

Ranking<InternedText> Report::topSessions(std::int64_t limit) const {
  return ranked(bySession, limit, keepAll);
}

Ranking<InternedText> Report::topModels(std::int64_t limit) const {
  return ranked(byModel, limit, keepAll);
}

Report::Split Report::subagentSplit() const {
  Split split;
  for (const auto& [agent, bucket] : byAgent) {
    (agent.isSubagent() ? split.subagent : split.main) += bucket.cost.priced;
  }
  return split;
}

}  // namespace tallyfin
