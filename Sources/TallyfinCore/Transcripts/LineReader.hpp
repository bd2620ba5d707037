#pragma once

// Reads the complete lines of a transcript, starting at a byte offset. A line is complete if it ends with a
// line feed. The result is the offset after the last complete line. The next refresh starts at this offset,
// so a line that was incomplete is read again from its beginning.

#include "Platform/Descriptor.hpp"
#include "absl/functional/function_ref.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace tallyfin {

/// Thrown if a file cannot be opened, or cannot be read to its end.
class ReadError : public std::runtime_error {
 public:
  explicit ReadError(std::string path) : std::runtime_error("cannot read " + path), path_(std::move(path)) {}

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

namespace LineReader {

/// Calls `onLine` with each complete line, starting at the byte `fromOffset`. The line feed is removed; a
/// carriage return before it is kept. The view is valid only during the call.
///
/// Reads only bytes before `upToOffset`; if `upToOffset` is absent, reads to the end of the file. The end of
/// the file is the size that the file had when it was opened. So the call ends even if another program keeps
/// appending to the file.
///
/// Lines may have any length; the buffer grows to the length of the longest line. At most four threads buffer
/// a line over 32 MiB at the same time; other threads wait until one of them is done.
///
/// Returns the offset after the last complete line, or `fromOffset` if there is none. Throws ReadError if the
/// file cannot be opened or read, or if it is not a regular file, because reading a FIFO or a device could
/// block. Does not catch exceptions that `onLine` throws.
std::uint64_t forEachLine(const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine);

/// Does the same with a file that the caller has opened. `path` is used only in the ReadError.
std::uint64_t forEachLine(const PlainFile& file, const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine);

}  // namespace LineReader
}  // namespace tallyfin
