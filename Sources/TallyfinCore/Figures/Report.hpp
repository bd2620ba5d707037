#pragma once

// The figures of a range of days: the total, and the same sums for each key of every axis (day, model,
// project and so on). All sums are Buckets, so every figure exists on every axis.

#include "Platform/KeyedRows.hpp"
#include "Platform/TimePoint.hpp"
#include "TallyfinCore/Attribution/ProjectPath.hpp"
#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Figures/RequestRun.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"
#include "TallyfinCore/Transcripts/ScanDiagnostics.hpp"
#include "absl/container/flat_hash_map.h"

#include <cstdint>
#include <optional>
#include <set>
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

/// Sums over requests.
struct Bucket : UsageCounts {
  std::int64_t requests = 0;
  CostEstimate cost;
  /// Requests by model, in order of first use.
  std::vector<std::pair<InternedText, std::int64_t>> modelCounts;
  std::optional<TimePoint> firstActivity;
  std::optional<TimePoint> lastActivity;
  std::int64_t cacheWriteAssumedRequests = 0;  ///< requests whose 5m/1h split was assumed
  RowIndex<InternedText> modelIndex;           ///< of `modelCounts`, for `add` alone

  /// Adds a request with its cost (Pricing::Pricer, at the prices of the request's own day).
  void add(const UsageRecord& record, const RequestCost& requestCost) { add({record, requestCost}); }

  /// Adds the requests of a run.
  void add(const RequestRun& run);

  /// Requests by model, most used first; equally used ones in text order.
  std::vector<std::pair<InternedText, std::int64_t>> modelsByUse() const;

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

/// The same of agents; without the main session when it is not wanted.
Ranking<AgentIdentity> rankedAgents(const BucketsBy<AgentIdentity>& agents, std::optional<std::int64_t> limit,
                                    bool includeMain);

/// What each agent spent under each key of another axis.
using AgentsByKey = KeyedRows<InternedText, BucketsBy<AgentIdentity>>;

/// The axes that a report holds on request only, since each makes the pass slower. A bool becomes the request
/// for hours.
struct OptionalAxes {
  bool hours = false;
  bool weeks = false;
  bool months = false;
  bool blocks = false;
  bool agentsByProject = false;
  bool agentsByModel = false;

  OptionalAxes(bool includeHours = false) : hours(includeHours) {}
};

/// How long a block lasts, in seconds: five hours, the window in which subscriptions meter use.
inline constexpr double blockSeconds = 5 * 3600;

/// The answer to one question. A bucket exists only if a request went into it.
struct Report {
  Bucket total;
  BucketsBy<TimePoint> byDay;  ///< by start of the local day

  // On request only.
  BucketsBy<int> byHour;         ///< by hour of the local day, 0 to 23, over all days
  BucketsBy<TimePoint> byWeek;   ///< by start of the Monday
  BucketsBy<TimePoint> byMonth;  ///< by start of the first day
  /// By start of the block. A block begins at the full local hour of the first request after the last block
  /// ended, and not before that end. Blocks are those of the whole history that the filter lets pass, so that
  /// one begins at the same moment in every range; here they hold the requests of the range alone.
  BucketsBy<TimePoint> byBlock;
  /// What each agent spent under each project or model. Each bucket is that of a report over the requests of
  /// that project or model alone, to the last bit.
  AgentsByKey agentsByProject;
  AgentsByKey agentsByModel;

  BucketsBy<InternedText> byModel;    ///< by reduced model id
  BucketsBy<InternedText> byProject;  ///< by project label
  BucketsBy<InternedText> byRawCwd;   ///< by working directory, with "~" for the home
  BucketsBy<InternedText> bySession;
  BucketsBy<AgentIdentity> byAgent;  ///< the main session included
  BucketsBy<InternedText> bySource;  ///< by name of the Claude home
  absl::flat_hash_map<InternedText, InternedText>
      sessionProject;                                             ///< the project of a session's last request
  absl::flat_hash_map<AgentIdentity, InternedText> agentSession;  ///< the session of an agent's first request
  absl::flat_hash_map<AgentIdentity, InternedText> agentProject;  ///< the project of an agent's first request
  absl::flat_hash_map<InternedText, std::set<Provenance>> projectProvenance;  ///< how a label was reached
  ScanDiagnostics diagnostics;  ///< what the scan saw and lost, of the whole history

  /// Days with at least one request.
  std::int64_t activeDays() const { return static_cast<std::int64_t>(byDay.size()); }

  /// Cost per active day; unknown (`noData`) without days.
  Estimate<CostEstimate> averagePerActiveDay() const;
  Estimate<CostEstimate> medianPerActiveDay() const;

  // Rankings of at most `limit` rows, which must not be negative.
  Ranking<AgentIdentity> topAgents(std::int64_t limit, bool includeMain) const;
  Ranking<InternedText> topProjects(std::int64_t limit) const;
  Ranking<InternedText> topSessions(std::int64_t limit) const;
  Ranking<InternedText> topModels(std::int64_t limit) const;

  /// Priced dollars of the main session and of all sub-agents together.
  struct Split {
    double main = 0;
    double subagent = 0;
  };
  Split subagentSplit() const;
};

}  // namespace tallyfin
