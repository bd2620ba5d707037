#pragma once

// A file that lies in memory alone and has a path all the same, so that code which opens files is run
// millions of times without touching a disk. Linux only, as the engine's runs are.

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

  /// Replaces the content, to be read from its start.
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
