#pragma once

// A run is a sequence of consecutive requests for the same buckets, such as those of a session working in one
// directory. A run is summed once and its sums are added to each bucket. This takes half the time of adding
// every request to each bucket.

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

/// Consecutive requests of one model, for `Bucket::add`.
struct RequestRun {
  InternedText model;
  UsageCounts counts;
  std::int64_t requests = 0;
  /// US dollars of each priced request, in order: the last bit of a sum depends on the order of addition.
  std::span<const double> costs;
  std::optional<UnknownReason> unpriced;  ///< why the other requests have no price
  bool isOwnPriced = false;               ///< whether a price set by the user determined any of these costs
  std::int64_t cacheWriteAssumedRequests = 0;
  TimePoint firstActivity;
  TimePoint lastActivity;

  RequestRun() = default;

  /// A run of one request. `cost` must outlive the use of `costs`.
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

/// Groups consecutive requests with equal keys into runs. Requests with equal keys must have the same model.
/// Sums over the runs equal the sums over single requests to the last bit, even where 64-bit counts saturate.
template <typename Key>
class RequestRuns {
 public:
  /// Adds a request. If it does not continue the current run, calls `use(key, run)` with that run first.
  template <typename F>
  void add(const Key& key, const UsageRecord& record, const RequestCost& cost, F&& use) {
    // Within a run no count is negative and no sum overflows, so a bucket saturates with a run exactly when
    // it would with the single requests.
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
      run_.costs = {};  // `finish` sets them for the whole run
    }
    if (const double* const dollars = cost.value()) {
      costs_.push_back(*dollars);
      run_.isOwnPriced |= cost.isOwnPriced;
    } else {
      run_.unpriced = *cost.reason();
    }
  }

  /// Calls `use` with the last run. Call it after the last request.
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
  std::vector<double> costs_;  // of the current run
  bool goesOn_ = false;
};

}  // namespace tallyfin
