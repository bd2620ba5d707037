#include "TallyfinCore/LineReader.hpp"

#include "Platform/Buffer.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tallyfin::LineReader {
namespace {

constexpr std::size_t kChunk = 1'048'576;     // bytes asked for by one read
constexpr std::size_t kCapacity = 2'097'152;  // bytes, as long as no line is longer

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

// Lends the thread's buffer for one call, so that a look at a thousand small files does not map and fault in
// two megabytes a thousand times. A call inside a callback finds none and makes its own; one that a long line
// has made large is given back to the system.
class LentBuffer {
 public:
  LentBuffer() : buffer_(std::exchange(kept(), {})) {
    buffer_.clear();
    buffer_.reserve(kCapacity);
  }
  ~LentBuffer() {
    if (buffer_.capacity() <= 2 * kCapacity) {
      kept() = std::move(buffer_);
    }
  }
  LentBuffer(const LentBuffer&) = delete;
  LentBuffer& operator=(const LentBuffer&) = delete;

  Buffer& operator*() { return buffer_; }

 private:
  static Buffer& kept() {
    thread_local Buffer buffer;
    return buffer;
  }

  Buffer buffer_;
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
  Buffer& pending = *lent;
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
    const char* search = pending.end();  // what was pending before holds no line feed
    pending.grow(static_cast<std::size_t>(got));
    const char* const behind = pending.end();
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
