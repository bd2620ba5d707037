#pragma once

// Random numbers that are the same on every machine: the generator and the ways to draw from it are our own,
// since the distributions of the C++ library differ between its makers.

#include <cstddef>
#include <cstdint>
#include <span>

namespace tallyfin::corpus {

/// The splitmix64 generator. Equal seeds give equal sequences.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9e3779b97f4a7c15U;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27U)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31U);
  }

  /// From 0 to `limit` - 1. `limit` is from 1 to 2^32.
  std::uint64_t below(std::uint64_t limit) { return ((next() >> 32U) * limit) >> 32U; }

  /// From `low` to `high`, both included.
  std::uint64_t between(std::uint64_t low, std::uint64_t high) { return low + below(high - low + 1); }

  /// True in `share` of 1,000 cases.
  bool chance(std::uint64_t share) { return below(1000) < share; }

  /// From `low` to about `high` with every doubling equally likely: many small values and a long tail.
  std::uint64_t longTailed(std::uint64_t low, std::uint64_t high) {
    std::uint64_t doublings = 0;
    while ((low << (doublings + 1)) <= high) ++doublings;
    // The last step is only a part of a doubling and is drawn as rarely as it is short.
    const std::uint64_t rest = high - (low << doublings);
    const std::uint64_t steps = doublings * 1000 + rest * 1000 / (low << doublings);
    const std::uint64_t step = below(steps + 1);
    const std::uint64_t base = low << (step / 1000);
    return base + base * (step % 1000) / 1000;
  }

  template <typename T>
  const T& pick(std::span<const T> values) {
    return values[static_cast<std::size_t>(below(values.size()))];
  }

 private:
  std::uint64_t state_;
};

}  // namespace tallyfin::corpus
