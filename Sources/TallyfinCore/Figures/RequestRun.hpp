#pragma once

// Runs of requests: requests that follow each other and go into the same buckets, as they do while a session
// keeps working in one directory. A run is summed once and its sums are added to all these buckets, in half
// the time that adding each request takes.

#include "TallyfinCore/Estimate.hpp"
#include "TallyfinCore/Transcripts/Records.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace tallyfin {

/// Requests of one model, for `Bucket::add`.
struct RequestRun {
  InternedText model;
  UsageCounts counts;
  std::int64_t requests = 0;
  /// US dollars of each request that has a price, in their order, since the last bit of a sum depends on it.
  std::span<const double> costs;
  std::optional<UnknownReason> unpriced;  ///< why the other requests have no price
  bool isOwnPriced = false;               ///< a price of one's own made some of these costs
  std::int64_t cacheWriteAssumedRequests = 0;
  TimePoint firstActivity;
  TimePoint lastActivity;

  RequestRun() = default;

  /// One request, with its cost, which must outlive the use of `costs`.
  RequestRun(const UsageRecord& record, const RequestCost& cost)
      : model(record.model),
        requests(1),
        isOwnPriced(cost.isOwnPriced),
        cacheWriteAssumedRequests(record.cacheWriteBreakdownAssumed ? 1 : 0),
        firstActivity(record.timestamp),
        lastActivity(record.timestamp) {
    counts.add(record);
    if (cost.isKnown()) {
      costs = {cost.value(), 1};
    } else {
      unpriced = *cost.reason();
    }
  }
};

/// Gathers requests with equal keys into runs. Those of a key must be of one model. Every sum over the runs
/// is the one that the requests give one by one, to the last bit and also at the ends of the 64-bit range.
template <typename Key>
class RequestRuns {
 public:
  /// Takes a request in. When it does not belong to the run of those before it, `use(key, run)` is called
  /// with that run first.
  template <typename F>
  void add(const Key& key, const UsageRecord& record, const RequestCost& cost, F&& use) {
    // No count within a run is negative and no sum of them overflows: a bucket then reaches the end of the
    // range with a run exactly when it would with the single requests.
    constexpr std::uint64_t kLarge = std::uint64_t{1} << 48;
    constexpr std::int64_t kLongest = 4096;
    const bool isSmall = record.allBits() < kLarge;
    if (isSmall && goesOn_ && key == key_ && run_.requests < kLongest) {
      ++run_.requests;
      run_.counts.add(record);
      run_.cacheWriteAssumedRequests += record.cacheWriteBreakdownAssumed ? 1 : 0;
      run_.firstActivity = std::min(run_.firstActivity, record.timestamp);
      run_.lastActivity = std::max(run_.lastActivity, record.timestamp);
    } else {
      finish(use);
      key_ = key;
      goesOn_ = isSmall;
      run_ = RequestRun(record, cost);
      run_.costs = {};  // `finish` gives those of all
    }
    if (const double* const dollars = cost.value()) {
      costs_.push_back(*dollars);
      run_.isOwnPriced |= cost.isOwnPriced;
    } else {
      run_.unpriced = *cost.reason();
    }
  }

  /// Calls `use` with the last run. To be called once all requests are in.
  template <typename F>
  void finish(F&& use) {
    if (run_.requests > 0) {
      run_.costs = costs_;
      use(std::as_const(key_), std::as_const(run_));
      run_.requests = 0;
      costs_.clear();
    }
  }

 private:
  Key key_{};
  RequestRun run_;
  std::vector<double> costs_;  // of the run
  bool goesOn_ = false;
};

}  // namespace tallyfin
