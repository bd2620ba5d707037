#pragma once

// Reads the complete lines of a transcript from a byte offset on. Only lines that end with a line feed count.
// The result is the offset after the last of them, so a line that is still being written is read by the next
// refresh.

#include "Platform/Descriptor.hpp"
#include "absl/functional/function_ref.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace tallyfin {

/// A file could not be opened, positioned or read to its end.
class ReadError : public std::runtime_error {
 public:
  explicit ReadError(std::string path) : std::runtime_error("cannot read " + path), path_(std::move(path)) {}

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

namespace LineReader {

/// Calls `onLine` with each complete line from `fromOffset` on, without its line feed but with a carriage
/// return before it. The view is valid only during the call. Reads no byte at or after `upToOffset`, and none
/// beyond the size that the file had when opened, so a file that grows all the time cannot keep the reader
/// busy. The length of lines is not limited, and memory grows with the longest. At most four threads may
/// buffer a line over 32 MiB at once.
///
/// Returns `fromOffset` plus the bytes of all complete lines read, including line feeds. Throws ReadError if
/// the file cannot be opened or read, or is not a regular file (a FIFO or device could block). Exceptions of
/// `onLine` pass through.
std::uint64_t forEachLine(const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine);

/// As above for an open file. `path` is used only in the error.
std::uint64_t forEachLine(const PlainFile& file, const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine);

}  // namespace LineReader
}  // namespace tallyfin
