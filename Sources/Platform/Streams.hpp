#pragma once

// Lines in and bytes out over file descriptors, without the buffers of the C and C++ libraries: what has been
// written has reached the descriptor. Interrupted calls are repeated. A process that shares the descriptor
// may have made it non-blocking: then a call waits until it is ready.

#include "Platform/Buffer.hpp"

#include <cstddef>
#include <optional>
#include <string_view>

namespace tallyfin {

/// Reads a descriptor line by line. A line may have any length: the buffer grows with it and shrinks again
/// after it.
class LineInput {
 public:
  /// The caller keeps `descriptor` and closes it.
  explicit LineInput(int descriptor) : descriptor_(descriptor) {}

  /// The next line without its line feed and a carriage return before it; what stands behind the last line
  /// feed is a line too. Absent at the end of input and when reading fails. The view is good until the next
  /// call.
  std::optional<std::string_view> next();

 private:
  bool fill();

  int descriptor_;
  Buffer buffer_;
  std::size_t begin_ = 0;    // of the pending line
  std::size_t scanned_ = 0;  // no line feed in [begin_, scanned_)
};

/// Writes all of `bytes`; false when a write fails.
bool writeAll(int descriptor, std::string_view bytes);

/// Opens /dev/null in place of each standard stream that is closed, with these flags of open(2), so that no
/// file opened later gets its number.
void openMissingStreams(int flags);

}  // namespace tallyfin
