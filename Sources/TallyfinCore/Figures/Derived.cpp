#include "TallyfinCore/Figures/Derived.hpp"

#include "TallyfinCore/Attribution/Pricing.hpp"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace tallyfin::Derived {
namespace {

constexpr int kFewestMinutes = 2;  // minutes of an hour; a shorter time is not extrapolated

}  // namespace

Estimate<CostEstimate> currentHourlyRate(const Report& today, TimePoint now, const Calendar& calendar) {
  constexpr int kSteadyMinutes = 10;  // from this minute on, only the current hour determines the rate
  constexpr int kHoursBack = 3;
  const int hour = calendar.hour(now);
  const int minute = calendar.minute(now);
  const auto costOf = [&](int of) -> const CostEstimate* {
    const Bucket* bucket = today.byHour.find(of);
    return bucket != nullptr && bucket->requests >= 1 ? &bucket->cost : nullptr;
  };

  const CostEstimate* running = costOf(hour);
  if (running != nullptr && minute >= kSteadyMinutes) {
    return running->scaled(60.0 / minute);
  }
  for (int finished = hour - 1; finished >= std::max(hour - kHoursBack, 0); --finished) {
    if (const CostEstimate* cost = costOf(finished)) {
      return *cost;
    }
  }
  if (running != nullptr && minute >= kFewestMinutes) {
    return running->scaled(60.0 / minute);
  }
  return today.total.requests > 0 ? UnknownReason::noRecentActivity() : UnknownReason::noData();
}

Estimate<CostEstimate> blockRate(const Bucket& block, TimePoint start, TimePoint now) {
  const double hours = (now.seconds - start.seconds) / 3600;
  if (hours * 60 < kFewestMinutes) {
    return UnknownReason::noData();
  }
  return block.cost.scaled(1 / hours);
}

Estimate<CostEstimate> yesterdayAtSameTime(const RecordList& records, TimePoint now, const Calendar& calendar,
                                           const PriceList& prices) {
  const TimePoint start = calendar.startOfDay(now, -1);
  // The same number of seconds since the start of the day. On days with a clock change this differs from the
  // same time of day.
  const TimePoint cutoff{start.seconds + std::trunc(now.seconds - calendar.startOfDay(now).seconds)};

  DayLookup days(calendar);
  Pricing::Pricer pricer(calendar, prices);
  CostEstimate sum;
  bool isAny = false;
  for (const UsageRecord& record : records) {
    if (record.timestamp >= start && record.timestamp <= cutoff) {
      const RequestCost cost = pricer.cost(record, days.startOfDay(record.timestamp));
      sum.add(cost);
      if (cost.isOwnPriced) {
        sum.noteOwnPrice(record.model);
      }
      isAny = true;
    }
  }
  if (!isAny) {
    return UnknownReason::noData();
  }
  return sum;
}

Estimate<CostEstimate> yesterdayCost(const Report& report, TimePoint now, const Calendar& calendar) {
  const Bucket* bucket = report.byDay().find(calendar.startOfDay(now, -1));
  if (bucket == nullptr) {
    return UnknownReason::noData();
  }
  return bucket->cost;
}

Estimate<CostEstimate> medianOfRecentDays(const Report& report, std::size_t count, TimePoint now,
                                          const Calendar& calendar) {
  const TimePoint today = calendar.startOfDay(now);
  std::vector<std::pair<TimePoint, const Bucket*>> days;
  for (const auto& [day, bucket] : report.byDay()) {
    if (day < today) {
      days.emplace_back(day, &bucket);
    }
  }
  count = std::min(count, days.size());
  if (count == 0) {
    return UnknownReason::noData();
  }
  std::partial_sort(days.begin(), days.begin() + static_cast<std::ptrdiff_t>(count), days.end(),
                    [](const auto& left, const auto& right) { return left.first > right.first; });
  std::vector<CostEstimate> costs;
  costs.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    costs.push_back(days[i].second->cost);
  }
  return CostEstimate::median(costs);
}

Estimate<double> delta(double current, const Estimate<CostEstimate>& baseline) {
  const CostEstimate* base = baseline.value();
  if (base == nullptr || !(base->priced > 0)) {
    return UnknownReason::noData();
  }
  return (current - base->priced) / base->priced * 100;
}

}  // namespace tallyfin::Derived
