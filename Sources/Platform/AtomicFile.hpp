#pragma once

// Replaces a file atomically: a process that reads it meanwhile sees either the whole old content or the
// whole new one.

#include "Platform/Descriptor.hpp"
#include "absl/functional/function_ref.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin::AtomicFile {

/// Appends a piece of the new content.
using Output = absl::FunctionRef<void(std::string_view)>;

/// Permissions of the new file.
enum class Access : std::uint8_t {
  owner,  ///< only the owner may read and write
  usual   ///< the mode of the replaced file, or the umask's default if there was none
};

/// Calls `produce`, which passes the content piece by piece to its argument. Writes the content to a
/// temporary file beside `path`, flushes it to the disk and renames it to `path`. Also removes temporary
/// files that a killed process left there. A symbolic link at `path` is replaced itself, not its target.
/// Returns the attributes of the new file.
///
/// Throws std::system_error on failure; the old file is then unchanged and the temporary file removed. A
/// `path` that is or links to something other than a regular file (a directory, FIFO or device) is an error.
FileAttributes replace(const std::string& path, absl::FunctionRef<void(Output)> produce,
                       Access access = Access::owner);

}  // namespace tallyfin::AtomicFile
