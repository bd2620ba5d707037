#pragma once

// Open files that close themselves. Files are opened with O_CLOEXEC and O_NOCTTY, and calls interrupted by a
// signal (EINTR) are repeated.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tallyfin {

/// Whether `path` contains no NUL. The system would cut the path off at a NUL and find another file.
bool canBePath(const std::string& path);

/// Attributes of a file; for a symbolic link, those of its target.
struct FileAttributes {
  std::uint64_t size = 0;    ///< bytes
  double modified = 0;       ///< seconds since 1970, with the fraction that the file system stores
  std::uint64_t number = 0;  ///< inode number
  bool isRegular = false;    ///< not a directory, FIFO, socket or device

  friend bool operator==(const FileAttributes&, const FileAttributes&) = default;
};

/// Attributes of the file at `path`; absent if they cannot be read (no file, dangling link, no permission).
std::optional<FileAttributes> fileAttributes(const std::string& path);

/// Attributes of the entry `name` of the directory that is open as descriptor `directory`. Unlike the
/// overload above, this does not resolve the directory's path again.
std::optional<FileAttributes> fileAttributes(int directory, const char* name);

/// Owns a file descriptor and closes it when destroyed.
class Descriptor {
 public:
  /// Opens a file with the flags and mode of open(2). On failure `isOpen()` is false and errno has the
  /// reason.
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

  /// Gives up ownership: the caller must close the returned descriptor. Returns -1 if none is open.
  int release() { return std::exchange(number_, -1); }

  /// Attributes of the open file; absent if they cannot be read.
  std::optional<FileAttributes> attributes() const;

  /// Closes the descriptor, if one is open. Returns false if the system reports an error, such as a delayed
  /// write failure. EINTR is not an error here, because the descriptor is closed in that case too.
  bool close();

 private:
  int number_ = -1;
};

/// A regular file, open for reading. Any other kind of file counts as not open, because reading a FIFO or a
/// device could block or never end.
class PlainFile {
 public:
  explicit PlainFile(const std::string& path);

  bool isOpen() const { return isOpen_; }

  /// Attributes at the time of opening. Files that the kernel generates (/proc) may have a size of 0.
  const FileAttributes& attributes() const { return attributes_; }

  /// Reads up to `count` bytes at `offset`. Returns the number of bytes read, 0 at the end of the file, or a
  /// negative number on failure. May be called from any thread.
  std::ptrdiff_t read(char* into, std::size_t count, std::uint64_t offset) const;

 private:
  Descriptor descriptor_;
  FileAttributes attributes_;
  bool isOpen_ = false;
};

}  // namespace tallyfin
