#pragma once

// Reads lines from and writes bytes to file descriptors without the buffering of the C and C++ libraries, so
// written bytes have reached the descriptor when a call returns. Interrupted calls are repeated. If another
// process that shares the descriptor made it non-blocking, calls wait until it is ready.

#include "Platform/Buffer.hpp"

#include <cstddef>
#include <optional>
#include <string_view>

namespace tallyfin {

/// Reads a descriptor line by line. Lines may have any length: the buffer grows for a long line and shrinks
/// afterwards.
class LineInput {
 public:
  /// Does not close `descriptor`.
  explicit LineInput(int descriptor) : descriptor_(descriptor) {}

  /// The next line without its line feed and the carriage return before it. Text after the last line feed
  /// counts as a line. Absent at the end of input or when reading fails. The view is valid until the next
  /// call.
  std::optional<std::string_view> next();

  /// The size of the buffer in bytes.
  std::size_t capacity() const { return buffer_.capacity(); }

 private:
  bool fill();

  int descriptor_;
  Buffer buffer_;
  std::size_t begin_ = 0;    // of the pending line
  std::size_t scanned_ = 0;  // no line feed in [begin_, scanned_)
};

/// Writes all of `bytes`; returns false if a write fails.
bool writeAll(int descriptor, std::string_view bytes);

/// Opens /dev/null with these flags of open(2) in place of each standard stream that is closed, so that no
/// file opened later gets its number.
void openMissingStreams(int flags);

}  // namespace tallyfin
