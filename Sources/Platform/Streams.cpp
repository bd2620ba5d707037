#include "Platform/Streams.hpp"

#include "Platform/Memory.hpp"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace tallyfin {
namespace {

// The most bytes per read, so that little is buffered after a long line.
constexpr std::size_t kChunk = std::size_t{256} * 1024;

// Whether to repeat the call that just failed. If the descriptor was not ready, waits until it is.
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
    const std::string_view pending = buffer_.bytes().substr(begin_);
    const std::size_t feed = pending.find('\n', scanned_ - begin_);
    if (feed != std::string_view::npos) {
      begin_ = scanned_ = begin_ + feed + 1;
      return withoutCarriageReturn(pending.substr(0, feed));
    }
    scanned_ = buffer_.size();
    if (!fill()) {
      const std::string_view last = buffer_.bytes();
      begin_ = buffer_.size();
      return last.empty() ? std::nullopt : std::optional(withoutCarriageReturn(last));
    }
  }
}

// Moves the pending bytes to the front and reads more after them. Returns false at the end of input or on
// failure.
bool LineInput::fill() {
  if (begin_ > 0) {
    buffer_.dropFront(begin_);
    scanned_ -= begin_;
    begin_ = 0;
  }
  if (buffer_.size() <= kChunk && buffer_.capacity() > 4 * kChunk) {
    Buffer smaller;
    smaller.append(buffer_.bytes());
    buffer_ = std::move(smaller);
    giveBackMemory();  // the caller has freed by now what it built from the long line
  }
  for (;;) {
    const ssize_t count = read(descriptor_, buffer_.room(kChunk), kChunk);
    if (count >= 0) {
      buffer_.grow(static_cast<std::size_t>(count));
      return count > 0;
    }
    if (!canRetry(descriptor_, POLLIN)) {
      return false;
    }
  }
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

void openMissingStreams(int flags) {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
      open("/dev/null", flags);  // open(2) uses the lowest free number, which is `stream`
    }
  }
}

}  // namespace tallyfin
