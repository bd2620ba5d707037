#pragma once

// A file in memory that has a path, so that code that opens files can run millions of times without using a
// disk. Works on Linux only, like the fuzzing engine.

#include <cstdlib>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

namespace tallyfin::Fuzz {

class MemoryFile {
 public:
  MemoryFile() : descriptor_(::memfd_create("input", MFD_CLOEXEC)) {
    if (descriptor_ < 0) std::abort();
  }
  ~MemoryFile() { ::close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
  int descriptor() const { return descriptor_; }

  /// Replaces the content and seeks to its start.
  void write(std::string_view content) const {
    if (::ftruncate(descriptor_, 0) != 0 ||
        ::pwrite(descriptor_, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()) ||
        ::lseek(descriptor_, 0, SEEK_SET) != 0) {
      std::abort();
    }
  }

 private:
  int descriptor_;
};

}  // namespace tallyfin::Fuzz
