#pragma once

// Runs work on several threads for the length of one call.

#include "absl/functional/function_ref.h"

#include <cstddef>
#include <future>

namespace tallyfin {

/// The number of processors that this process may use; at least 1.
std::size_t processors();

/// The launch policy for `std::async` when another thread may do the work meanwhile. If the work
/// `isWorthAThread` and the system can start a thread, the work runs there. Otherwise the thread that waits
/// for the result runs it. The work must capture by reference, because objects that it owns may be lost in a
/// failed attempt to start a thread.
inline std::launch onTheSide(bool isWorthAThread = true) {
  return isWorthAThread ? std::launch::async | std::launch::deferred : std::launch::deferred;
}

/// Calls `work` once with each number from 0 to `count` - 1, on the calling thread and up to `threads` - 1
/// others. Each free thread takes the next number. Returns after all calls have ended. If the system cannot
/// start all threads, fewer do the work. After a call throws, no further calls begin, and the first exception
/// is rethrown.
void forEachIndex(std::size_t count, std::size_t threads, absl::FunctionRef<void(std::size_t)> work);

}  // namespace tallyfin
