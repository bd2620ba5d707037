#pragma once

// The figures of a range of days: the total, and the same sums for each key of every axis (day, model,
// project and so on). Every sum is a Bucket, so all figures exist on all axes.

#include "Platform/KeyedRows.hpp"
#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Attribution/AgentKinds.hpp"
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

/// `part` as a percentage of `whole`; unknown (`noData`) unless `whole` is above 0.
Estimate<double> percentage(double part, double whole);

/// Sums over requests. A report may hold one bucket per request, so a bucket with one priced model allocates
/// no memory.
struct Bucket : UsageCounts {
  std::int64_t requests = 0;
  CostEstimate cost;
  /// Requests by model, in order of first use.
  absl::InlinedVector<std::pair<InternedText, std::int64_t>, 1> modelCounts;
  std::optional<TimePoint> firstActivity;
  std::optional<TimePoint> lastActivity;
  std::int64_t cacheWriteAssumedRequests = 0;  ///< requests whose 5m/1h cache write split was assumed
  RowIndex<InternedText> modelIndex;           ///< index of `modelCounts`; only `add` uses it

  /// Adds a request with its cost, which Pricing::Pricer computes at the prices of the request's day.
  void add(const UsageRecord& record, const RequestCost& requestCost) { add({record, requestCost}); }

  /// Adds the requests of a run.
  void add(const RequestRun& run);

  /// Models with their requests, most used first, equal counts in text order. Returns at most `most` models.
  std::vector<std::pair<InternedText, std::int64_t>> modelsByUse(std::size_t most = allNames) const;

  /// A token count as a percentage (0 to 100) of all tokens; unknown (`noData`) if the bucket has no tokens.
  ///   bucket.share(&Bucket::cacheRead)
  Estimate<double> share(std::int64_t Bucket::*field) const;

  /// The largest of cache read, cache write, output and input; on a tie, the first in this order. Unknown
  /// (`noData`) if the bucket has no tokens.
  Estimate<DominantComponent> dominantComponent() const;
};

/// Buckets by key, in the order in which the keys were added. Adding a key invalidates references.
template <typename Key>
using BucketsBy = KeyedRows<Key, Bucket>;

/// Keys with their buckets, sorted by priced cost, highest first, then by the text of the key (for the main
/// session its `description`). The buckets belong to the report or map that was ranked.
template <typename Key>
using Ranking = std::vector<std::pair<Key, const Bucket*>>;

/// The dollars by which rankings sort: the priced cost; minus infinity for NaN, which has no order.
double rankedCost(const Bucket& bucket);

/// Ranks the keys. Returns the first `limit` (not negative), or all without a limit.
Ranking<InternedText> ranked(const BucketsBy<InternedText>& buckets, std::optional<std::int64_t> limit = {});

/// Ranks rows that are in any order.
Ranking<InternedText> ranked(const Ranking<InternedText>& rows, std::optional<std::int64_t> limit);

/// Ranks agents; leaves out the main session unless `includeMain` is set.
Ranking<AgentIdentity> rankedAgents(const BucketsBy<AgentIdentity>& agents, std::optional<std::int64_t> limit,
                                    bool includeMain);

/// Ranks kinds of agents, equal costs by `AgentKind::key`.
Ranking<AgentKind> rankedKinds(const BucketsBy<AgentKind>& kinds, std::optional<std::int64_t> limit);

/// Each agent's sums, for each key of another axis.
using AgentsByKey = KeyedRows<InternedText, BucketsBy<AgentIdentity>>;

/// The keys with their buckets, in ascending order of key.
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

/// The parts of a report besides the total, days, models and homes. Each part costs time and memory, so
/// callers request only the parts they show. Converts from bool: whether to add hours to the default parts.
struct ReportParts {
  bool hours = false;
  EachStep<bool> steps;
  bool agentsByProject = false;
  bool agentsByModel = false;
  bool kinds = false;  ///< `byKind`, `runsByKind`

  // Built by default. Each may have as many keys as there are requests.
  bool projects = true;     ///< `byProject`, `projectProvenance`
  bool directories = true;  ///< `byRawCwd`
  bool sessions = true;
  bool agents = true;
  /// Where sessions and agents belong: `sessionProject`, `agentSession`, `agentProject`. Filled only for the
  /// parts `sessions` and `agents`, if requested.
  bool origins = true;

  ReportParts(bool includeHours = false) : hours(includeHours) { steps[TimeStep::day] = true; }

  /// Only the named parts, without the other defaults.
  ///   ReportParts::only(&ReportParts::agents, &ReportParts::origins)
  template <std::same_as<bool ReportParts::*>... Part>
  static ReportParts only(Part... parts) {
    ReportParts wanted;
    wanted.projects = wanted.directories = wanted.sessions = wanted.agents = wanted.origins = false;
    ((wanted.*parts = true), ...);
    return wanted;
  }
};

/// The figures of one question. A bucket exists only if it has at least one request.
struct Report {
  Bucket total;
  /// By start of the day, week, month or block; only days unless `ReportParts` requests more. A block begins
  /// at the full local hour of the first request after the previous block, but not before that block's end.
  /// Blocks are determined from the whole history that passes the filter, so their starts do not depend on
  /// the range; their buckets count only requests in the range.
  EachStep<BucketsBy<TimePoint>> bySteps;
  const BucketsBy<TimePoint>& by(TimeStep step) const { return bySteps[step]; }
  const BucketsBy<TimePoint>& byDay() const { return by(TimeStep::day); }
  BucketsBy<InternedText> byModel;   ///< by reduced model id
  BucketsBy<InternedText> bySource;  ///< by name of the Claude home

  // Only if requested in ReportParts.
  BucketsBy<int> byHour;  ///< by hour of the local day, 0 to 23, over all days
  /// Each agent's sums within each project or model. Each bucket equals, to the last bit, that of a report
  /// over the requests of that project or model alone.
  AgentsByKey agentsByProject;
  AgentsByKey agentsByModel;
  BucketsBy<AgentKind> byKind;
  /// The agents of each kind; of the main session, its sessions. Has the keys of `byKind`, in the same order.
  KeyedRows<AgentKind, std::int64_t> runsByKind;

  BucketsBy<InternedText> byProject;  ///< by project label
  BucketsBy<InternedText> byRawCwd;   ///< by working directory, with "~" for the home
  BucketsBy<InternedText> bySession;
  BucketsBy<AgentIdentity> byAgent;  ///< includes the main session
  absl::flat_hash_map<InternedText, InternedText>
      sessionProject;                                             ///< the project of a session's last request
  absl::flat_hash_map<AgentIdentity, InternedText> agentSession;  ///< the session of an agent's first request
  absl::flat_hash_map<AgentIdentity, InternedText> agentProject;  ///< the project of an agent's first request
  absl::flat_hash_map<InternedText, ProvenanceSet> projectProvenance;  ///< how the label was found
  ScanDiagnostics diagnostics;  ///< what the scan read and lost in the whole history

  /// The number of days with at least one request.
  std::int64_t activeDays() const { return static_cast<std::int64_t>(byDay().size()); }

  /// Cost per active day; unknown (`noData`) if there are no days.
  Estimate<CostEstimate> averagePerActiveDay() const;
  Estimate<CostEstimate> medianPerActiveDay() const;

  // Rankings of at most `limit` rows (not negative).
  Ranking<AgentIdentity> topAgents(std::int64_t limit, bool includeMain) const;
  Ranking<InternedText> topProjects(std::int64_t limit) const;
  Ranking<InternedText> topSessions(std::int64_t limit) const;
  Ranking<InternedText> topModels(std::int64_t limit) const;

  /// The cost of the main session and of all sub-agents.
  struct Split {
    CostEstimate main;
    CostEstimate subagent;

    /// `part` in percent of both together, by priced dollars; unknown (`noData`) unless their sum is above 0.
    Estimate<double> share(const CostEstimate& part) const {
      return percentage(part.priced, main.priced + subagent.priced);
    }
  };
  Split subagentSplit() const;
};

}  // namespace tallyfin
