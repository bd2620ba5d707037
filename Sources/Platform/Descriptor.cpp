#include "Platform/Descriptor.hpp"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace tallyfin {

namespace {

double modificationTime(const struct stat& status) {
#ifdef __APPLE__
  const timespec& time = status.st_mtimespec;
#else
  const timespec& time = status.st_mtim;
#endif
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

FileAttributes attributesOf(const struct stat& status) {
  return {.size = static_cast<std::uint64_t>(std::max<off_t>(status.st_size, 0)),
          .modified = modificationTime(status),
          .number = status.st_ino,
          .isRegular = S_ISREG(status.st_mode)};
}

}  // namespace

bool canBePath(const std::string& path) {
  return path.find('\0') == std::string::npos;
}

std::optional<FileAttributes> fileAttributes(const std::string& path) {
  struct stat status {};
  return canBePath(path) && ::stat(path.c_str(), &status) == 0 ? std::optional(attributesOf(status))
                                                               : std::nullopt;
}

std::optional<FileAttributes> fileAttributes(int directory, const char* name) {
  struct stat status {};
  return ::fstatat(directory, name, &status, 0) == 0 ? std::optional(attributesOf(status)) : std::nullopt;
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

std::optional<FileAttributes> Descriptor::attributes() const {
  struct stat status {};
  return ::fstat(number_, &status) == 0 ? std::optional(attributesOf(status)) : std::nullopt;
}

bool Descriptor::close() {
  return number_ < 0 || ::close(release()) == 0 || errno == EINTR;
}

// O_NONBLOCK keeps open(2) from waiting for a writer if the path is a FIFO.
PlainFile::PlainFile(const std::string& path) : descriptor_(path, O_RDONLY | O_NONBLOCK) {
  if (const auto attributes = descriptor_.isOpen() ? descriptor_.attributes() : std::nullopt) {
    attributes_ = *attributes;
    isOpen_ = attributes_.isRegular;
  }
}

std::ptrdiff_t PlainFile::read(char* into, std::size_t count, std::uint64_t offset) const {
  ssize_t got = 0;
  do {
    got = ::pread(descriptor_.number(), into, count, static_cast<off_t>(offset));
  } while (got < 0 && errno == EINTR);
  return got;
}

}  // namespace tallyfin
