#include "TallyfinCore/Figures/Report.hpp"

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstddef>
#include <iterator>
#include <limits>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tallyfin {

static_assert(std::is_nothrow_move_constructible_v<Bucket>, "rows move when their list grows");

double rankedCost(const Bucket& bucket) {
  return std::isnan(bucket.cost.priced) ? -std::numeric_limits<double>::infinity() : bucket.cost.priced;
}

namespace {

double percentOf(std::int64_t part, std::int64_t whole) {
  return static_cast<double>(part) / static_cast<double>(whole) * 100;
}

// The text by which rankings order equal costs, in canonical form.
std::string_view tieBreak(InternedText key) {
  return key.canonical();
}

std::string_view tieBreak(const AgentIdentity& agent) {
  return agent.isSubagent() ? agent.rawId().canonical() : agent.description();
}

std::string_view tieBreak(const AgentKind& kind) {
  return kind.key().canonical();
}

// A row with its sort keys. They are copied because rows and texts are scattered in memory.
template <typename Key>
struct Rankable {
  double cost = 0;
  std::string_view text;
  Key key;
  const Bucket* bucket = nullptr;
};

template <typename Key>
bool ranksBefore(const Rankable<Key>& left, const Rankable<Key>& right) {
  if (left.cost != right.cost) {
    return left.cost > right.cost;
  }
  const std::strong_ordering order = left.text <=> right.text;
  // Only an agent or a kind that is spelled "(main)" or "(unnamed)" can have the same text as another key;
  // the earlier bucket ranks first.
  return std::is_neq(order) ? std::is_lt(order) : left.bucket < right.bucket;
}

template <typename Key>
Rankable<Key> rankable(const Key& key, const Bucket& bucket) {
  return {rankedCost(bucket), tieBreak(key), key, &bucket};
}

template <typename Key>
std::vector<Rankable<Key>> rankables(const BucketsBy<Key>& buckets) {
  std::vector<Rankable<Key>> rows;
  rows.reserve(buckets.size());
  for (const auto& [key, bucket] : buckets) {
    rows.push_back(rankable(key, bucket));
  }
  return rows;
}

// The first `limit` rows, sorted; all of them without a limit.
template <typename Key>
Ranking<Key> best(std::vector<Rankable<Key>> rows, std::optional<std::int64_t> limit) {
  const std::int64_t count = std::clamp<std::int64_t>(limit.value_or(std::ssize(rows)), 0, std::ssize(rows));
  if (count == std::ssize(rows)) {  // std::partial_sort would take three times as long
    std::sort(rows.begin(), rows.end(), ranksBefore<Key>);
  } else {
    std::partial_sort(rows.begin(), rows.begin() + count, rows.end(), ranksBefore<Key>);
  }
  Ranking<Key> ranking;
  ranking.reserve(static_cast<std::size_t>(count));
  for (const Rankable<Key>& one : std::span(rows).first(static_cast<std::size_t>(count))) {
    ranking.emplace_back(one.key, one.bucket);
  }
  return ranking;
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

std::vector<std::pair<InternedText, std::int64_t>> Bucket::modelsByUse(std::size_t most) const {
  std::vector<std::pair<InternedText, std::int64_t>> used(std::min(most, modelCounts.size()));
  std::partial_sort_copy(modelCounts.begin(), modelCounts.end(), used.begin(), used.end(),
                         [](const auto& left, const auto& right) {
                           return left.second != right.second ? left.second > right.second
                                                              : left.first < right.first;
                         });
  return used;
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
  return best(rankables(buckets), limit);
}

Ranking<InternedText> ranked(const Ranking<InternedText>& rows, std::optional<std::int64_t> limit) {
  std::vector<Rankable<InternedText>> all;
  all.reserve(rows.size());
  for (const auto& [key, bucket] : rows) {
    all.push_back(rankable(key, *bucket));
  }
  return best(std::move(all), limit);
}

Ranking<AgentKind> rankedKinds(const BucketsBy<AgentKind>& kinds, std::optional<std::int64_t> limit) {
  return best(rankables(kinds), limit);
}

Ranking<AgentIdentity> rankedAgents(const BucketsBy<AgentIdentity>& agents, std::optional<std::int64_t> limit,
                                    bool includeMain) {
  std::vector<Rankable<AgentIdentity>> rows;
  rows.reserve(agents.size());
  for (const auto& [agent, bucket] : agents) {
    if (includeMain || agent.isSubagent()) {
      rows.push_back(rankable(agent, bucket));
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
