#pragma once

// Writing a file so that whoever reads it meanwhile sees the old content or the new, whole.

#include "Platform/Descriptor.hpp"
#include "absl/functional/function_ref.h"

#include <string>
#include <string_view>

namespace tallyfin::AtomicFile {

/// Takes the content piece by piece.
using Output = absl::FunctionRef<void(std::string_view)>;

/// Writes what `produce` hands to its argument to a temporary file beside `path`, flushes it to the disk and
/// renames it over `path`. The file gets `mode`, less the bits of the process's umask. Temporary files that a
/// killed process left behind are removed. A symbolic link is itself replaced; a directory or a device is
/// refused. On failure the old file stays and the temporary one is gone. Gives the attributes of the new
/// file. Throws std::system_error.
FileAttributes replace(const std::string& path, absl::FunctionRef<void(Output)> produce,
                       unsigned mode = 0600);

}  // namespace tallyfin::AtomicFile
