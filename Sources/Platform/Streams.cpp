#include "Platform/Streams.hpp"

#include "Platform/Memory.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <poll.h>
#include <unistd.h>

namespace tallyfin {
namespace {

/// One read asks for no more, so that little is left to keep when a long line has been handed out.
constexpr std::size_t kChunk = std::size_t{256} * 1024;

/// Whether the call that just failed is worth repeating; waits until the descriptor is ready if need be.
bool canRetry(int descriptor, short event) {
  if (errno == EINTR) {
    return true;
  }
  if (errno != EAGAIN && errno != EWOULDBLOCK) {
    return false;
  }
  pollfd waiting{.fd = descriptor, .events = event, .revents = 0};
  return poll(&waiting, 1, -1) > 0 || errno == EINTR;
}

std::string_view withoutCarriageReturn(std::string_view line) {
  return !line.empty() && line.back() == '\r' ? line.substr(0, line.size() - 1) : line;
}

}  // namespace

std::optional<std::string_view> LineInput::next() {
  for (;;) {
    const char* const from = buffer_.get() + scanned_;
    const auto* feed =
        scanned_ < end_ ? static_cast<const char*>(std::memchr(from, '\n', end_ - scanned_)) : nullptr;
    if (feed != nullptr) {
      const char* const start = buffer_.get() + begin_;
      const std::string_view line(start, static_cast<std::size_t>(feed - start));
      begin_ = scanned_ = begin_ + line.size() + 1;
      return withoutCarriageReturn(line);
    }
    scanned_ = end_;
    if (!fill()) {
      if (begin_ == end_) {
        return std::nullopt;
      }
      const std::string_view line(buffer_.get() + begin_, end_ - begin_);
      begin_ = end_;
      return withoutCarriageReturn(line);
    }
  }
}

/// Reads on; false at the end of input.
bool LineInput::fill() {
  const std::size_t pending = end_ - begin_;
  if (pending + kChunk > capacity_) {
    resize(std::max(2 * capacity_, 2 * kChunk));
  } else if (pending <= kChunk && capacity_ > 4 * kChunk) {
    resize(2 * kChunk);
    giveBackMemory();  // nor does anything else that came of the long line live now
  } else if (end_ + kChunk > capacity_) {
    resize(capacity_);
  }
  for (;;) {
    const ssize_t count = read(descriptor_, buffer_.get() + end_, kChunk);
    if (count >= 0) {
      end_ += static_cast<std::size_t>(count);
      return count > 0;
    }
    if (!canRetry(descriptor_, POLLIN)) {
      return false;
    }
  }
}

/// Moves the pending bytes to the front of a buffer of that capacity.
void LineInput::resize(std::size_t capacity) {
  const std::size_t pending = end_ - begin_;
  if (capacity == capacity_) {
    std::memmove(buffer_.get(), buffer_.get() + begin_, pending);
  } else {
    auto moved = std::make_unique_for_overwrite<char[]>(capacity);
    if (pending > 0) {
      std::memcpy(moved.get(), buffer_.get() + begin_, pending);
    }
    buffer_ = std::move(moved);
    capacity_ = capacity;
  }
  scanned_ -= begin_;
  begin_ = 0;
  end_ = pending;
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (!canRetry(descriptor, POLLOUT)) {
      return false;
    }
  }
  return true;
}

}  // namespace tallyfin
