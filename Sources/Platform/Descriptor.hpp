#pragma once

// Open files that close themselves: O_CLOEXEC is set, EINTR is retried, and no terminal that is opened
// becomes the controlling one.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tallyfin {

/// Whether a text can be a path at all. One that holds a NUL cannot: the system would cut it off there and
/// find another file.
bool canBePath(const std::string& path);

/// Attributes of a file. Those of a symbolic link are those of its target.
struct FileAttributes {
  std::uint64_t size = 0;    ///< bytes
  double modified = 0;       ///< seconds since 1970, with the file system's fraction
  std::uint64_t number = 0;  ///< the file system's number of the file (inode)
  bool isRegular = false;    ///< a plain file, neither directory nor FIFO, socket or device

  friend bool operator==(const FileAttributes&, const FileAttributes&) = default;
};

/// Attributes of the file at `path`; absent when they cannot be had (missing, dangling link, no permission).
std::optional<FileAttributes> fileAttributes(const std::string& path);

/// The same of the entry `name` of the open directory with that descriptor: the system need not resolve the
/// directory's path again.
std::optional<FileAttributes> fileAttributes(int directory, const char* name);

/// A file descriptor, closed at the end of the scope.
class Descriptor {
 public:
  /// Opens with the flags and mode of open(2); on failure errno tells why.
  explicit Descriptor(const std::string& path, int flags, unsigned mode = 0);
  Descriptor() = default;
  ~Descriptor() { close(); }

  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool isOpen() const { return number_ >= 0; }
  int number() const { return number_; }

  /// Hands the descriptor to the caller, who then has to close it; -1 when none is open.
  int release() { return std::exchange(number_, -1); }

  /// Attributes of the open file; absent when they cannot be had.
  std::optional<FileAttributes> attributes() const;

  /// Closes the descriptor, if one is open. False when the system reports an error, such as a write that
  /// failed late. EINTR is none, since the descriptor is closed then, too.
  bool close();

 private:
  int number_ = -1;
};

/// A regular file, open for reading. Anything else, such as a FIFO or a device, counts as not open: reading
/// it could block or never end.
class PlainFile {
 public:
  explicit PlainFile(const std::string& path);

  bool isOpen() const { return isOpen_; }

  /// Of the open file, when it was opened. Files that the kernel makes up (/proc) may have a size of 0.
  const FileAttributes& attributes() const { return attributes_; }

  /// Reads up to `count` bytes from `offset` on: how many, 0 at the end of the file, negative on failure.
  /// Safe from any thread.
  std::ptrdiff_t read(char* into, std::size_t count, std::uint64_t offset) const;

 private:
  Descriptor descriptor_;
  FileAttributes attributes_;
  bool isOpen_ = false;
};

}  // namespace tallyfin
