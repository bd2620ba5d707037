#pragma once

// The figures of a range of days: the total, and the same sums for each key of every axis (day, model,
// project and so on). All sums are Buckets, so every figure exists on every axis.

#include "Platform/KeyedRows.hpp"
#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Attribution/ProjectPath.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/RequestRun.hpp"
#include "TallyfinCore/Figures/TimeSteps.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"
#include "absl/container/flat_hash_map.h"
#include "absl/container/inlined_vector.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tallyfin {

/// The kind of token that makes up most of a bucket.
struct DominantComponent {
  std::string name;    ///< "cache read", "cache write", "output" or "input"
  double percent = 0;  ///< 0 to 100

  friend bool operator==(const DominantComponent&, const DominantComponent&) = default;
};

/// A part of a whole, in percent; unknown (`noData`) unless the whole is above 0.
Estimate<double> percentage(double part, double whole);

/// Sums over requests. A bucket of one model that has a price owns no memory: a report may hold a bucket for
/// each request.
struct Bucket : UsageCounts {
  std::int64_t requests = 0;
  CostEstimate cost;
  /// Requests by model, in order of first use.
  absl::InlinedVector<std::pair<InternedText, std::int64_t>, 1> modelCounts;
  std::optional<TimePoint> firstActivity;
  std::optional<TimePoint> lastActivity;
  std::int64_t cacheWriteAssumedRequests = 0;  ///< requests whose 5m/1h split was assumed
  RowIndex<InternedText> modelIndex;           ///< of `modelCounts`, for `add` alone

  /// Adds a request with its cost (Pricing::Pricer, at the prices of the request's own day).
  void add(const UsageRecord& record, const RequestCost& requestCost) { add({record, requestCost}); }

  /// Adds the requests of a run.
  void add(const RequestRun& run);

  /// Requests by model, most used first; equally used ones in text order. At most the first `most`.
  std::vector<std::pair<InternedText, std::int64_t>> modelsByUse(std::size_t most = allNames) const;

  /// A count as a percentage (0 to 100) of all tokens; unknown (`noData`) in a bucket without tokens.
  ///   bucket.share(&Bucket::cacheRead)
  Estimate<double> share(std::int64_t Bucket::*field) const;

  /// The largest of cache read, cache write, output and input; on a tie the one named first here. Unknown
  /// (`noData`) in a bucket without tokens.
  Estimate<DominantComponent> dominantComponent() const;
};

/// Buckets by key, in the order in which the keys first came up. References are good until a new key is
/// added.
template <typename Key>
using BucketsBy = KeyedRows<Key, Bucket>;

/// Keys with their buckets, highest priced cost first, then text of the key ascending (for an agent its
/// `description`). The buckets live as long as what was ranked.
template <typename Key>
using Ranking = std::vector<std::pair<Key, const Bucket*>>;

/// The keys in the order of a ranking: the first `limit`, which must not be negative, or all without a limit.
Ranking<InternedText> ranked(const BucketsBy<InternedText>& buckets, std::optional<std::int64_t> limit = {});

/// The same of rows that stand in any order.
Ranking<InternedText> ranked(const Ranking<InternedText>& rows, std::optional<std::int64_t> limit);

/// The same of agents; without the main session when it is not wanted.
Ranking<AgentIdentity> rankedAgents(const BucketsBy<AgentIdentity>& agents, std::optional<std::int64_t> limit,
                                    bool includeMain);

/// What each agent spent under each key of another axis.
using AgentsByKey = KeyedRows<InternedText, BucketsBy<AgentIdentity>>;

/// The keys with their buckets, in ascending order.
template <typename Key>
std::vector<std::pair<Key, const Bucket*>> inOrder(const BucketsBy<Key>& buckets) {
  std::vector<std::pair<Key, const Bucket*>> rows;
  rows.reserve(buckets.size());
  for (const auto& [key, bucket] : buckets) {
    rows.emplace_back(key, &bucket);
  }
  std::sort(rows.begin(), rows.end(),
            [](const auto& left, const auto& right) { return left.first < right.first; });
  return rows;
}

/// What a report holds beside the total, days, models and homes. Each part costs time and memory, so a
/// question asks for those that it shows. A bool becomes the request for hours, beside the parts that are
/// there by default.
struct ReportParts {
  bool hours = false;
  EachStep<bool> steps;
  bool agentsByProject = false;
  bool agentsByModel = false;

  // There by default. Each may have as many keys as there are requests.
  bool projects = true;     ///< `byProject`, `projectProvenance`
  bool directories = true;  ///< `byRawCwd`
  bool sessions = true;
  bool agents = true;
  /// Where the sessions and agents belong, as far as these are there: `sessionProject`, `agentSession`,
  /// `agentProject`.
  bool origins = true;

  ReportParts(bool includeHours = false) : hours(includeHours) { steps[TimeStep::day] = true; }

  /// Of all these parts only those named.
  ///   ReportParts::only(&ReportParts::agents, &ReportParts::origins)
  template <std::same_as<bool ReportParts::*>... Part>
  static ReportParts only(Part... parts) {
    ReportParts wanted;
    wanted.projects = wanted.directories = wanted.sessions = wanted.agents = wanted.origins = false;
    ((wanted.*parts = true), ...);
    return wanted;
  }
};

/// The answer to one question. A bucket exists only if a request went into it.
struct Report {
  Bucket total;
  /// By start of the day, week, month or block; only days unless more was asked for. A block begins at the
  /// full local hour of the first request after the last block ended, and not before that end. Blocks are
  /// those of the whole history that the filter lets pass, so that one begins at the same moment in every
  /// range; here they hold the requests of the range alone.
  EachStep<BucketsBy<TimePoint>> bySteps;
  const BucketsBy<TimePoint>& by(TimeStep step) const { return bySteps[step]; }
  const BucketsBy<TimePoint>& byDay() const { return by(TimeStep::day); }
  BucketsBy<InternedText> byModel;   ///< by reduced model id
  BucketsBy<InternedText> bySource;  ///< by name of the Claude home

  // As far as they are asked for (ReportParts).
  BucketsBy<int> byHour;  ///< by hour of the local day, 0 to 23, over all days
  /// What each agent spent under each project or model. Each bucket is that of a report over the requests of
  /// that project or model alone, to the last bit.
  AgentsByKey agentsByProject;
  AgentsByKey agentsByModel;

  BucketsBy<InternedText> byProject;  ///< by project label
  BucketsBy<InternedText> byRawCwd;   ///< by working directory, with "~" for the home
  BucketsBy<InternedText> bySession;
  BucketsBy<AgentIdentity> byAgent;  ///< the main session included
  absl::flat_hash_map<InternedText, InternedText>
      sessionProject;                                             ///< the project of a session's last request
  absl::flat_hash_map<AgentIdentity, InternedText> agentSession;  ///< the session of an agent's first request
  absl::flat_hash_map<AgentIdentity, InternedText> agentProject;  ///< the project of an agent's first request
  absl::flat_hash_map<InternedText, ProvenanceSet> projectProvenance;  ///< how a label was reached
  ScanDiagnostics diagnostics;  ///< what the scan saw and lost, of the whole history

  /// Days with at least one request.
  std::int64_t activeDays() const { return static_cast<std::int64_t>(byDay().size()); }

  /// Cost per active day; unknown (`noData`) without days.
  Estimate<CostEstimate> averagePerActiveDay() const;
  Estimate<CostEstimate> medianPerActiveDay() const;

  // Rankings of at most `limit` rows, which must not be negative.
  Ranking<AgentIdentity> topAgents(std::int64_t limit, bool includeMain) const;
  Ranking<InternedText> topProjects(std::int64_t limit) const;
  Ranking<InternedText> topSessions(std::int64_t limit) const;
  Ranking<InternedText> topModels(std::int64_t limit) const;

  /// What the main session and all sub-agents together cost.
  struct Split {
    CostEstimate main;
    CostEstimate subagent;

    /// A part of both in percent, by priced dollars; unknown (`noData`) unless both together are above 0.
    Estimate<double> share(const CostEstimate& part) const {
      return percentage(part.priced, main.priced + subagent.priced);
    }
  };
  Split subagentSplit() const;
};

}  // namespace tallyfin
