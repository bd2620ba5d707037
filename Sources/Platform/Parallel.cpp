#include "Platform/Parallel.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#ifdef __linux__
#include <sched.h>
#endif

namespace tallyfin {

std::size_t processors() {
#ifdef __linux__
  cpu_set_t allowed;  // in a container or under taskset, fewer than the machine has
  if (::sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
    return static_cast<std::size_t>(std::max(1, CPU_COUNT(&allowed)));
  }
#endif
  return std::max(1U, std::thread::hardware_concurrency());
}

void forEachIndex(std::size_t count, std::size_t threads, absl::FunctionRef<void(std::size_t)> work) {
  std::atomic<std::size_t> next = 0;
  std::mutex lock;
  std::exception_ptr failure;
  const auto run = [&] {
    try {
      for (std::size_t index = next++; index < count; index = next++) {
        work(index);
      }
    } catch (...) {
      next = count;
      const std::lock_guard guard(lock);
      if (!failure) {
        failure = std::current_exception();
      }
    }
  };
  {
    std::vector<std::jthread> others;
    try {
      for (std::size_t i = 1; i < std::min(threads, count); ++i) {
        others.emplace_back(run);
      }
    } catch (const std::exception&) {  // the system cannot start a thread or has no memory for one
    }
    run();
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

}  // namespace tallyfin
