#pragma once

// File system access through POSIX functions. No function in this file blocks on a FIFO or a device. A path
// is a sequence of bytes and need not be UTF-8.

#include "Platform/Buffer.hpp"
#include "Platform/Descriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tallyfin::Files {

/// Attributes of the file at `path`. Absent if they cannot be read, for example because there is no file, a
/// link is dangling, or permission is missing.
using Attributes = FileAttributes;
inline std::optional<Attributes> attributes(const std::string& path) {
  return fileAttributes(path);
}

/// Whether there is a file, a directory or any other entry at `path`. Returns false for a dangling link.
bool exists(const std::string& path);

/// Whether `path` is a directory or a link to one.
bool isDirectory(const std::string& path);

/// A file found by `filesBelow`.
struct FoundFile {
  std::string path;
  std::optional<Attributes> attributes;  ///< absent if they cannot be read
};

/// A directory that could not be listed completely, and the error that occurred.
struct UnreadableFolder {
  std::string path;
  std::error_code error;

  friend bool operator==(const UnreadableFolder&, const UnreadableFolder&) = default;
};

/// Lists all entries below `root`, at any depth, whose names end in "." + `extension` and have at least one
/// byte before that dot. Names are compared byte by byte. The function skips entries whose names begin with a
/// dot, and everything below such entries. It does not follow symbolic links to directories below `root`, but
/// `root` itself may be such a link.
///
/// The result is sorted by the code points of the canonical form (NFC) of each path. Paths with equal
/// canonical forms are sorted by their bytes. The result is absent if `root` is not a directory or its
/// attributes cannot be read.
///
/// If there are many directories, up to `threads` threads list them.
///
/// If a directory cannot be listed, the function continues with the other directories. Unless `unreadable` is
/// null, the function appends to it, sorted by path, each directory that could not be listed completely or in
/// which the attributes of a file could not be read. It does not append a directory that was removed during
/// the call, or a `root` that does not exist.
std::optional<std::vector<FoundFile>> filesBelow(const std::string& root, std::string_view extension,
                                                 std::size_t threads = 1,
                                                 std::vector<UnreadableFolder>* unreadable = nullptr);

/// Opens the directory for listing and returns the error. The error converts to false if opening succeeds.
std::error_code listingError(const std::string& directory);

/// The absolute path of the file at `path`, with all links, "." and ".." resolved. Components that do not
/// exist are kept unchanged. For a dangling link, the result is the path to which the link points. Returns
/// `path` unchanged if it cannot be resolved.
std::string target(const std::string& path);

/// Whether `path` is one of the directories or lies below one of them, at any depth. If `path` is a link, the
/// result is true if this holds for the link or for its target. Neither `path` nor the directories need to
/// exist.
bool isWithin(const std::string& path, const std::vector<std::string>& directories);

/// The names of the entries in a directory, unsorted and without "." and "..". Absent if the directory cannot
/// be opened.
std::optional<std::vector<std::string>> entryNames(const std::string& directory);

/// The whole content of the file at `path`. Absent if the file cannot be read, is not a regular file, or is
/// larger than `limit` bytes.
std::optional<Buffer> contents(const std::string& path, std::uint64_t limit);

/// Creates a directory and all its missing parents. Succeeds if the directory exists already. The returned
/// error converts to false on success.
std::error_code createDirectories(const std::string& path);

/// Removes the file at `path`. Ignores errors.
void removeFile(const std::string& path);

/// The user's home directory without trailing slashes: the value of HOME. If HOME is unset or empty, the
/// result is the home directory in the password database, or "/" if the database has none. Called only once,
/// when a program reads its environment at the start.
std::string homeDirectory();

/// `path` with a leading "~" replaced by `home`, or with a leading "~user" replaced by the home directory of
/// that user. Returns `path` unchanged if there is no such user.
std::string expandingTilde(const std::string& path, const std::string& home);

/// The directory for files that a program can generate again: ~/.cache on Linux, ~/Library/Application
/// Support on macOS, where "~" is `home`. The result does not depend on XDG_CACHE_HOME. A shell may set this
/// variable while a client that starts the server does not, but the command and the server must use the same
/// files.
std::string applicationSupportDirectory(const std::string& home);

/// The part of `path` after the last "/". Trailing slashes are ignored. Returns "/" for the root directory,
/// and an empty text for an empty path.
std::string_view lastComponent(std::string_view path);

/// `path` without its last component and without the slash before that component. Returns "/" for the root
/// directory, and an empty text for a path without a slash.
std::string_view withoutLastComponent(std::string_view path);

/// The part of a file name before its last dot. Returns the whole name if it has no dot, if its only dot is
/// the first character (".profile"), or if the last dot is the last character ("name.").
std::string_view withoutExtension(std::string_view name);

}  // namespace tallyfin::Files
