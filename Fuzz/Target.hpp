#pragma once

// What all targets share: the entry point that the engine or the replay calls, and the way a broken promise
// ends a run.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Takes one input; always gives 0. What is wrong ends the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tallyfin::Fuzz {

/// Ends the process when a promise does not hold, so that the engine keeps the input.
inline void require(bool holds, std::string_view promise) {
  if (!holds) {
    std::fprintf(stderr, "broken: %.*s\n", static_cast<int>(promise.size()), promise.data());
    std::abort();
  }
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace tallyfin::Fuzz
