#pragma once

#include <sys/resource.h>

namespace tallyfin {

/// Sets a soft limit of this process until the end of the scope.
class LimitedTo {
 public:
  LimitedTo(decltype(RLIMIT_NOFILE) resource, rlim_t soft) : resource_(resource) {
    ::getrlimit(resource_, &before_);
    const rlimit limited = {soft, before_.rlim_max};
    ::setrlimit(resource_, &limited);
  }
  ~LimitedTo() { ::setrlimit(resource_, &before_); }
  LimitedTo(const LimitedTo&) = delete;
  LimitedTo& operator=(const LimitedTo&) = delete;

 private:
  decltype(RLIMIT_NOFILE) resource_;
  rlimit before_{};
};

}  // namespace tallyfin
