#pragma once

// Shared by all targets: the entry point that the engine or the replay calls, and the check that ends the
// process.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Runs one input; always returns 0. Failed checks end the process.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace tallyfin::Fuzz {

/// Ends the process if `holds` is false, so that the engine saves the input. `promise` is the message.
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
