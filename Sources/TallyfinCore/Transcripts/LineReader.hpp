#pragma once

// Walks a transcript from a byte offset and hands out each complete line. Only lines closed by a line feed
// count, and the result is the offset behind the last of them, so a line that is still being written is left
// for the next look and nothing is lost.

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

/// Calls `onLine` with each complete line from `fromOffset` on, without its line feed (a carriage return
/// stays). The view is valid during the call only. With `upToOffset` no byte at or beyond it is read, and in
/// any case none beyond the size that the file has when it is opened: what is appended meanwhile is for the
/// next look, so that a file which grows without end does not hold a reader. Lines have no limit of length;
/// memory grows with the longest, and of lines beyond 32 MiB at most four are held at once, on any number of
/// threads.
///
/// Returns `fromOffset` plus the bytes of all lines delivered, line feeds included. Throws ReadError when the
/// file cannot be opened, positioned or read, or is no regular file (a FIFO or device would block); an
/// exception of `onLine` passes through.
std::uint64_t forEachLine(const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine);

/// The same of a file that is open; `path` is for the error alone.
std::uint64_t forEachLine(const PlainFile& file, const std::string& path, std::uint64_t fromOffset,
                          std::optional<std::uint64_t> upToOffset,
                          absl::FunctionRef<void(std::string_view)> onLine);

}  // namespace LineReader
}  // namespace tallyfin
