#pragma once

// Work on several processors at once, for the length of one call.

#include "absl/functional/function_ref.h"

#include <cstddef>

namespace tallyfin {

/// The processors that this process may run on; at least 1.
std::size_t processors();

/// Calls `work` once with each number below `count`, in rising order as threads come free, on the calling
/// thread and up to `threads` - 1 others. All have ended when it returns. Where a thread cannot be had those
/// that there are do the work. When a call throws no further one begins, and the first exception is passed
/// on.
void forEachIndex(std::size_t count, std::size_t threads, absl::FunctionRef<void(std::size_t)> work);

}  // namespace tallyfin
