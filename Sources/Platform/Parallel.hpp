#pragma once

// Work on several processors at once, for the length of one call.

#include "absl/functional/function_ref.h"

#include <cstddef>
#include <future>

namespace tallyfin {

/// The processors that this process may run on; at least 1.
std::size_t processors();

/// How `std::async` shall do work that another thread can do meanwhile, if that `isWorthAThread`: otherwise,
/// and when the system gives no thread, the one that waits for the work does it. The work must refer to what
/// it needs: what it owns may be lost with the attempt to start a thread.
inline std::launch onTheSide(bool isWorthAThread = true) {
  return isWorthAThread ? std::launch::async | std::launch::deferred : std::launch::deferred;
}

/// Calls `work` once with each number below `count`, on the calling thread and up to `threads` - 1 others; a
/// thread that is free takes the next number. All calls have ended when it returns. When the system gives
/// fewer threads, those do the work. After a call has thrown no further one begins, and the first exception
/// is thrown on.
void forEachIndex(std::size_t count, std::size_t threads, absl::FunctionRef<void(std::size_t)> work);

}  // namespace tallyfin
