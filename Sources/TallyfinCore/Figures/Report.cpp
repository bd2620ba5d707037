#include "TallyfinCore/Figures/Report.hpp"

#include "Platform/Text.hpp"

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstddef>
#include <limits>

namespace tallyfin {
namespace {

double percentOf(std::int64_t part, std::int64_t whole) {
  return static_cast<double>(part) / static_cast<double>(whole) * 100;
}

std::strong_ordering compareKeys(InternedText left, InternedText right) {
  return left <=> right;
}

std::strong_ordering compareKeys(const AgentIdentity& left, const AgentIdentity& right) {
  return Text::compare(left.description(), right.description());
}

// A NaN cannot be ordered and would break the sort, so it ranks behind all numbers.
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
  const auto all = static_cast<std::int64_t>(rows.size());
  const std::int64_t wanted = std::clamp<std::int64_t>(limit.value_or(all), 0, all);
  std::partial_sort(rows.begin(), rows.begin() + wanted, rows.end(), ranksBefore<Key>);
  rows.resize(static_cast<std::size_t>(wanted));
  return rows;
}

}  // namespace

Estimate<double> percentage(double part, double whole) {
  return whole > 0 ? Estimate<double>(part / whole * 100) : UnknownReason::noData();
}

void Bucket::add(const RequestRun& run) {
  requests += run.requests;
  UsageCounts::add(run.counts);
  modelCounts[modelIndex.place(modelCounts, run.model)].second += run.requests;
  cacheWriteAssumedRequests += run.cacheWriteAssumedRequests;
  for (const double dollars : run.costs) {
    cost.priced += dollars;
  }
  if (run.unpriced) {
    cost.noteUnpriced(*run.unpriced, run.requests - std::ssize(run.costs));
  }
  if (run.isOwnPriced) {
    cost.noteOwnPrice(run.model);
  }
  firstActivity = std::min(firstActivity.value_or(run.firstActivity), run.firstActivity);
  lastActivity = std::max(lastActivity.value_or(run.lastActivity), run.lastActivity);
}

std::vector<std::pair<InternedText, std::int64_t>> Bucket::modelsByUse() const {
  auto sorted = modelCounts;
  std::sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
    return left.second != right.second ? left.second > right.second : left.first < right.first;
  });
  return sorted;
}

Estimate<double> Bucket::share(std::int64_t Bucket::*field) const {
  const std::int64_t all = totalTokens();
  if (all < 1) {
    return UnknownReason::noData();
  }
  return percentOf(this->*field, all);
}

Estimate<DominantComponent> Bucket::dominantComponent() const {
  const std::int64_t all = totalTokens();
  if (all < 1) {
    return UnknownReason::noData();
  }
  std::pair<const char*, std::int64_t> largest{"cache read", cacheRead};
  for (const auto& candidate :
       {std::pair{"cache write", cacheWrite()}, {"output", output}, {"input", input}}) {
    if (candidate.second > largest.second) {
      largest = candidate;
    }
  }
  return DominantComponent{largest.first, percentOf(largest.second, all)};
}

Estimate<CostEstimate> Report::averagePerActiveDay() const {
  if (byDay().empty()) {
    return UnknownReason::noData();
  }
  return total.cost.scaled(1.0 / static_cast<double>(activeDays()));
}

Estimate<CostEstimate> Report::medianPerActiveDay() const {
  if (byDay().empty()) {
    return UnknownReason::noData();
  }
  std::vector<CostEstimate> costs;
  costs.reserve(byDay().size());
  for (const auto& [day, bucket] : byDay()) {
    costs.push_back(bucket.cost);
  }
  return CostEstimate::median(costs);
}

Ranking<InternedText> ranked(const BucketsBy<InternedText>& buckets, std::optional<std::int64_t> limit) {
  Ranking<InternedText> rows;
  rows.reserve(buckets.size());
  for (const auto& [key, bucket] : buckets) {
    rows.emplace_back(key, &bucket);
  }
  return best(std::move(rows), limit);
}

Ranking<AgentIdentity> rankedAgents(const BucketsBy<AgentIdentity>& agents, std::optional<std::int64_t> limit,
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
    (agent.isSubagent() ? split.subagent : split.main) += bucket.cost;
  }
  return split;
}

}  // namespace tallyfin
