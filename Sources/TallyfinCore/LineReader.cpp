#include "TallyfinCore/LineReader.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tallyfin::LineReader {
namespace {

constexpr std::size_t kChunk = 1'048'576;            // bytes asked for by one read
constexpr std::size_t kInitialCapacity = 2'097'152;  // bytes

// Closes the file on every path out.
class Descriptor {
 public:
  explicit Descriptor(const std::string& path)
      : number_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  ~Descriptor() {
    if (number_ >= 0) {
      ::close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }

  // The size now; absent when the file is not open or no plain one: reading anything else could block or
  // never end.
  std::optional<std::uint64_t> size() const {
    struct stat attributes {};
    if (number_ < 0 || ::fstat(number_, &attributes) != 0 || !S_ISREG(attributes.st_mode)) {
      return std::nullopt;
    }
    return static_cast<std::uint64_t>(attributes.st_size);
  }

 private:
  int number_;
};

// The bytes read and not yet delivered.
class PendingBuffer {
 public:
  const char* begin() const { return bytes_.get(); }
  std::size_t size() const { return size_; }
  std::size_t capacity() const { return capacity_; }

  // Room for `count` more bytes behind the pending ones. Doubles, so that a long line is moved only a few
  // times.
  char* room(std::size_t count) {
    if (size_ + count > capacity_) {
      const std::size_t larger = std::max({kInitialCapacity, 2 * capacity_, size_ + count});
      std::unique_ptr<char[]> bytes = std::make_unique_for_overwrite<char[]>(larger);
      if (size_ > 0) {
        std::memcpy(bytes.get(), bytes_.get(), size_);
      }
      bytes_ = std::move(bytes);
      capacity_ = larger;
    }
    return bytes_.get() + size_;
  }

  void grow(std::size_t count) { size_ += count; }

  void dropFront(std::size_t count) {
    size_ -= count;
    std::memmove(bytes_.get(), bytes_.get() + count, size_);
  }

  void clear() { size_ = 0; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

// Lends the thread's buffer for one call, so that a look at a thousand small files does not map and fault in
// two megabytes a thousand times. A call inside a callback finds none and makes its own; one that a long line
// has made large is given back to the system.
class LentBuffer {
 public:
  LentBuffer() : buffer_(std::exchange(kept(), {})) { buffer_.clear(); }
  ~LentBuffer() {
    if (buffer_.capacity() <= 2 * kInitialCapacity) {
      kept() = std::move(buffer_);
    }
  }
  LentBuffer(const LentBuffer&) = delete;
  LentBuffer& operator=(const LentBuffer&) = delete;

  PendingBuffer& operator*() { return buffer_; }

 private:
  static PendingBuffer& kept() {
    thread_local PendingBuffer buffer;
    return buffer;
  }

  PendingBuffer buffer_;
};

// Bytes read into `place`: 0 at the end of the file, negative on failure.
ssize_t readSome(int descriptor, char* place, std::size_t count) {
  ssize_t got = 0;
  do {
    got = ::read(descriptor, place, count);
  } while (got < 0 && errno == EINTR);
  return got;
}

}  // namespace

std::uint64_t forEachLine(const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine) {
  const Descriptor file(path);
  const std::optional<std::uint64_t> size = file.size();
  if (!size || (fromOffset != 0 && ::lseek(file.number(), static_cast<off_t>(fromOffset), SEEK_SET) < 0)) {
    throw ReadError(path);
  }
  const std::uint64_t end = std::min(*size, upToOffset.value_or(*size));
  LentBuffer lent;
  PendingBuffer& pending = *lent;
  std::uint64_t cursor = fromOffset;
  for (std::uint64_t position = fromOffset; position < end;) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, end - position));
    const ssize_t got = readSome(file.number(), pending.room(wanted), wanted);
    if (got < 0) {
      throw ReadError(path);
    }
    if (got == 0) {
      break;  // it shrank
    }
    position += static_cast<std::uint64_t>(got);
    const char* search = pending.begin() + pending.size();  // what was pending before holds no line feed
    pending.grow(static_cast<std::size_t>(got));
    const char* const behind = pending.begin() + pending.size();
    const char* line = pending.begin();
    while (search != behind) {
      const auto* const feed =
          static_cast<const char*>(std::memchr(search, '\n', static_cast<std::size_t>(behind - search)));
      if (feed == nullptr) {
        break;
      }
      const auto length = static_cast<std::size_t>(feed - line);
      onLine({line, length});
      cursor += length + 1;
      line = search = feed + 1;
    }
    if (line != pending.begin()) {
      pending.dropFront(static_cast<std::size_t>(line - pending.begin()));
    }
  }
  return cursor;
}

}  // namespace tallyfin::LineReader
