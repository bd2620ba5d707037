#pragma once

// File system access over POSIX. No function here blocks on a FIFO or a device. Paths are bytes and need not
// be UTF-8.

#include "Platform/Buffer.hpp"
#include "Platform/Descriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tallyfin::Files {

/// Attributes of the file at `path`; absent if they cannot be read (no file, dangling link, no permission).
using Attributes = FileAttributes;
inline std::optional<Attributes> attributes(const std::string& path) {
  return fileAttributes(path);
}

/// Whether an entry of any kind exists at `path`. A dangling link does not count.
bool exists(const std::string& path);

/// Whether `path` is a directory or a link to one.
bool isDirectory(const std::string& path);

/// A file found by `filesBelow`.
struct FoundFile {
  std::string path;
  std::optional<Attributes> attributes;  ///< absent if they cannot be read
};

/// A directory that could not be listed completely, with the reason.
struct UnreadableFolder {
  std::string path;
  std::error_code error;

  friend bool operator==(const UnreadableFolder&, const UnreadableFolder&) = default;
};

/// Lists all entries below `root`, at any depth, whose names end in "." + `extension`, compared byte by byte,
/// and have at least one byte before that dot. Skips entries whose names begin with a dot, and everything
/// below them. Does not follow symbolic links to directories, but `root` may be one. The result is sorted by
/// the code points of the paths' canonical forms (NFC), then by bytes. Absent if `root` is not a directory or
/// cannot be examined.
///
/// Where there are many directories, up to `threads` threads list them.
///
/// A directory that cannot be listed does not stop the walk. If `unreadable` is given, each directory that
/// could not be listed, or whose files could not be examined, is added to it, sorted by path. Directories
/// that vanished during the walk, and a missing `root`, are not added.
std::optional<std::vector<FoundFile>> filesBelow(const std::string& root, std::string_view extension,
                                                 std::size_t threads = 1,
                                                 std::vector<UnreadableFolder>* unreadable = nullptr);

/// The error that opening the directory for listing causes; converts to false if there is none.
std::error_code listingError(const std::string& directory);

/// The absolute path of the file that `path` leads to, without links, "." and "..". Components that do not
/// exist are kept as they are; a dangling link leads to the path it names. Returns `path` itself if it cannot
/// be resolved.
std::string target(const std::string& path);

/// Whether `path`, or the target of the link at `path`, lies in one of the directories at any depth. Neither
/// `path` nor the directories need exist.
bool isWithin(const std::string& path, const std::vector<std::string>& directories);

/// Names of the entries of a directory, unsorted, without "." and ".."; absent if the directory cannot be
/// listed.
std::optional<std::vector<std::string>> entryNames(const std::string& directory);

/// The whole content of a regular file; absent if it cannot be read, is not a regular file or holds more than
/// `limit` bytes.
std::optional<Buffer> contents(const std::string& path, std::uint64_t limit);

/// Creates a directory and all its missing parents. The returned error converts to false on success.
std::error_code createDirectories(const std::string& path);

/// Removes a file. Ignores failure.
void removeFile(const std::string& path);

/// The user's home directory without trailing slashes: HOME, else the entry in the password database, else
/// "/". Called once, by `main` only.
std::string homeDirectory();

/// `path` with a leading "~" replaced by `home`, or a leading "~user" replaced by that user's home directory.
/// The path of an unknown user is returned unchanged.
std::string expandingTilde(const std::string& path, const std::string& home);

/// The directory for files that programs can regenerate: ~/.cache on Linux, ~/Library/Application Support on
/// macOS. Ignores XDG_CACHE_HOME: a shell may set it while another program that starts this one does not, and
/// both must use the same files.
std::string applicationSupportDirectory(const std::string& home);

/// The part after the last "/", ignoring trailing slashes; "/" for the root, empty for an empty path.
std::string_view lastComponent(std::string_view path);

/// The path without its last component and the slash before it. "/" stays "/"; a path without a slash becomes
/// empty.
std::string_view withoutLastComponent(std::string_view path);

/// A file name up to its last dot. Returns the whole name if it has no dot, if its only dot comes first
/// (".profile"), or if nothing follows the last dot ("name.").
std::string_view withoutExtension(std::string_view name);

}  // namespace tallyfin::Files
