#include "TallyfinCore/Transcripts/LineReader.hpp"

#include "Platform/Buffer.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <semaphore>
#include <utility>

namespace tallyfin::LineReader {
namespace {

constexpr std::size_t kChunk = 1'048'576;     // bytes per read
constexpr std::size_t kCapacity = 2'097'152;  // bytes; lines over a megabyte enlarge the buffer

// Takes the thread's buffer for one call, so that reading a thousand small files does not allocate two
// megabytes each time. A nested call from a callback finds no buffer and allocates its own. A buffer enlarged
// by a long line is freed.
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

constexpr std::size_t kLongLine = std::size_t{32} << 20;  // bytes

// At most four threads may buffer a line over 32 MiB at once; this bounds memory when many files have no line
// feeds.
class LongLine {
 public:
  LongLine() = default;
  ~LongLine() {
    if (isHeld_) {
      rights().release();
    }
  }
  LongLine(const LongLine&) = delete;
  LongLine& operator=(const LongLine&) = delete;

  // Waits while four other threads are buffering long lines.
  void hold() {
    if (!std::exchange(isHeld_, true)) {
      rights().acquire();
    }
  }

 private:
  static std::counting_semaphore<>& rights() {
    static std::counting_semaphore<> four(4);
    return four;
  }

  bool isHeld_ = false;
};

}  // namespace

std::uint64_t forEachLine(const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine) {
  const PlainFile file(path);
  return forEachLine(file, path, fromOffset, upToOffset, onLine);
}

std::uint64_t forEachLine(const PlainFile& file, const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine) {
  if (!file.isOpen()) {
    throw ReadError(path);
  }
  const std::uint64_t end = std::min(file.attributes().size, upToOffset.value_or(file.attributes().size));
  LentBuffer lent;
  Buffer& pending = *lent;
  LongLine longLine;
  std::uint64_t cursor = fromOffset;
  for (std::uint64_t position = fromOffset; position < end;) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, end - position));
    if (pending.size() > kLongLine) {
      longLine.hold();
    }
    const std::ptrdiff_t got = file.read(pending.room(wanted), wanted, position);
    if (got < 0) {
      throw ReadError(path);
    }
    if (got == 0) {
      break;  // the file was truncated meanwhile
    }
    position += static_cast<std::uint64_t>(got);
    const char* search = pending.end();  // the bytes before this contain no line feed
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
