#pragma once

// Random numbers that are the same on every machine. Does not use the distributions of the C++ library, which
// differ between implementations.

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

  /// A number from 0 to `limit` - 1. `limit` may be 1 to 2^32.
  std::uint64_t below(std::uint64_t limit) { return ((next() >> 32U) * limit) >> 32U; }

  /// A number from `low` to `high`, inclusive.
  std::uint64_t between(std::uint64_t low, std::uint64_t high) { return low + below(high - low + 1); }

  /// Returns true with probability `share` / 1,000.
  bool chance(std::uint64_t share) { return below(1000) < share; }

  /// A number from `low` to about `high`. Every doubling of `low` is equally likely, so most numbers are
  /// small.
  std::uint64_t longTailed(std::uint64_t low, std::uint64_t high) {
    std::uint64_t doublings = 0;
    while ((low << (doublings + 1)) <= high) ++doublings;
    // The last range may be shorter than a doubling; its probability is proportional to its length.
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
