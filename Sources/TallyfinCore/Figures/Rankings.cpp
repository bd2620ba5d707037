// The rankings of a report and the split between the main session and its agents.

#include "Platform/Text.hpp"
#include "TallyfinCore/Figures/Aggregation.hpp"

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstddef>
#include <limits>
#include <utility>

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

// The best of `rows`, in order; all of them without a limit.
template <typename Key>
Ranking<Key> best(Ranking<Key> rows, std::optional<std::int64_t> limit) {
  const auto wanted = limit ? static_cast<std::size_t>(std::max<std::int64_t>(*limit, 0)) : rows.size();
  if (wanted >= rows.size()) {
    std::sort(rows.begin(), rows.end(), ranksBefore<Key>);
    return rows;
  }
  std::partial_sort(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(wanted), rows.end(),
                    ranksBefore<Key>);
  rows.resize(wanted);
  return rows;
}

}  // namespace

Ranking<InternedText> ranked(const Axis<InternedText>& axis, std::optional<std::int64_t> limit) {
  Ranking<InternedText> rows;
  rows.reserve(axis.size());
  for (const auto& [key, bucket] : axis) {
    rows.emplace_back(key, &bucket);
  }
  return best(std::move(rows), limit);
}

Ranking<AgentIdentity> rankedAgents(const Axis<AgentIdentity>& agents, std::optional<std::int64_t> limit,
                                    bool includeMain) {
  Ranking<AgentIdentity> rows;
  rows.reserve(agents.size());
  for (const auto& [agent, bucket] : agents) {
    if (includeMain || agent.isSubagent()) {
      rows.emplace_back(agent, &bucket);
    }
  }
  return best(std::move(rows), limit);
}

Ranking<AgentIdentity> Report::topAgents(std::int64_t limit, bool includeMain) const {
  return rankedAgents(byAgent, limit, includeMain);
}

Ranking<InternedText> Report::topProjects(std::int64_t limit) const {
  return ranked(byProject, limit);
}

Ranking<InternedText> Report::topSessions(std::int64_t limit) const {
  return ranked(bySession, limit);
}

Ranking<InternedText> Report::topModels(std::int64_t limit) const {
  return ranked(byModel, limit);
}

Report::Split Report::subagentSplit() const {
  Split split;
  for (const auto& [agent, bucket] : byAgent) {
    (agent.isSubagent() ? split.subagent : split.main) += bucket.cost.priced;
  }
  return split;
}

}  // namespace tallyfin
