#pragma once

// Lines in and bytes out over file descriptors, without the buffers of the C and C++ libraries: what has been
// written has reached the descriptor. Interrupted calls are repeated, and a descriptor that its other holder
// has set to non-blocking is waited for.

#include "Platform/Buffer.hpp"

#include <cstddef>
#include <optional>
#include <string_view>

namespace tallyfin {

/// Takes a descriptor apart into lines of any length. The buffer grows with the longest pending line and
/// shrinks again behind it.
class LineInput {
 public:
  /// `descriptor` stays open and with the caller.
  explicit LineInput(int descriptor) : descriptor_(descriptor) {}

  /// The next line without its line feed and a carriage return before it; what stands behind the last line
  /// feed is a line too. Absent at the end of input and when reading fails. The view is good until the next
  /// call.
  std::optional<std::string_view> next();

  /// Bytes that the buffer holds at present.
  std::size_t capacity() const { return buffer_.capacity(); }

 private:
  bool fill();

  int descriptor_;
  Buffer buffer_;
  std::size_t begin_ = 0;    // of the pending line
  std::size_t scanned_ = 0;  // no line feed in [begin_, scanned_)
};

/// Writes all of `bytes`; false when the descriptor takes no more.
bool writeAll(int descriptor, std::string_view bytes);

}  // namespace tallyfin
