#include "Platform/Descriptor.hpp"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace tallyfin {

bool canBePath(const std::string& path) {
  return path.find('\0') == std::string::npos;
}

Descriptor::Descriptor(const std::string& path, int flags, unsigned mode) {
  if (!canBePath(path)) {
    errno = ENOENT;
    return;
  }
  do {
    number_ = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, static_cast<mode_t>(mode));
  } while (number_ < 0 && errno == EINTR);
}

bool Descriptor::close() {
  return number_ < 0 || ::close(release()) == 0 || errno == EINTR;
}

// Without O_NONBLOCK opening a FIFO waits for a writer.
PlainFile::PlainFile(const std::string& path) : descriptor_(path, O_RDONLY | O_NONBLOCK) {
  struct stat status {};
  if (descriptor_.isOpen() && ::fstat(descriptor_.number(), &status) == 0 && S_ISREG(status.st_mode)) {
    size_ = static_cast<std::uint64_t>(status.st_size);
    isOpen_ = true;
  }
}

bool PlainFile::seek(std::uint64_t offset) {
  return ::lseek(descriptor_.number(), static_cast<off_t>(offset), SEEK_SET) >= 0;
}

std::ptrdiff_t PlainFile::read(char* place, std::size_t count) {
  ssize_t got = 0;
  do {
    got = ::read(descriptor_.number(), place, count);
  } while (got < 0 && errno == EINTR);
  return got;
}

}  // namespace tallyfin
