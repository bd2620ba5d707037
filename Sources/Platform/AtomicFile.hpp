#pragma once

// Writing a file so that whoever reads it meanwhile sees the old content or the new, whole.

#include "Platform/Descriptor.hpp"
#include "absl/functional/function_ref.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tallyfin::AtomicFile {

/// Takes the content piece by piece.
using Output = absl::FunctionRef<void(std::string_view)>;

/// Who may read and write the new file.
enum class Access : std::uint8_t {
  owner,  ///< its owner alone
  usual   ///< as with the file that it replaces; as the process's umask says when it replaces none
};

/// Writes what `produce` hands to its argument to a temporary file beside `path`, flushes it to the disk and
/// renames it over `path`. Temporary files that a killed process left behind are removed. A symbolic link is
/// itself replaced. What is no plain file, such as a directory, a FIFO or a device, is refused, and so is a
/// link to one. On failure the old file stays and the temporary one is gone. Gives the attributes of the new
/// file. Throws std::system_error.
FileAttributes replace(const std::string& path, absl::FunctionRef<void(Output)> produce,
                       Access access = Access::owner);

}  // namespace tallyfin::AtomicFile
