#pragma once

// The file system, over POSIX. Nothing here can block on a FIFO or a device. Paths are
// bytes; they need not be UTF-8.

#include "Platform/Buffer.hpp"
#include "Platform/Descriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tallyfin::Files {

/// Attributes of the file at `path`; absent when they cannot be had (missing, dangling link, no permission).
using Attributes = FileAttributes;
inline std::optional<Attributes> attributes(const std::string& path) {
  return fileAttributes(path);
}

/// Whether an entry of any kind exists at `path`; a dangling link does not.
bool exists(const std::string& path);

/// Whether a directory, or a link to one, lies at `path`.
bool isDirectory(const std::string& path);

/// A file as a walk finds it.
struct FoundFile {
  std::string path;
  std::optional<Attributes> attributes;  ///< absent when they cannot be had
};

/// A directory that could not be listed to its end, and why.
struct UnreadableFolder {
  std::string path;
  std::error_code error;

  friend bool operator==(const UnreadableFolder&, const UnreadableFolder&) = default;
};

/// All entries below `root`, at any depth, whose name ends in "." + `extension`, byte for byte; a name must
/// have something before that dot. Entries whose name begins with a dot are left out, with all that lies
/// below them. Symbolic links to directories are not followed, but `root` may be one. Sorted by the code
/// points of the paths' canonical forms, then by bytes. Absent when `root` is no directory, or when that
/// cannot be found out. `threads` may work on it, where there are many directories. The walk goes on when a
/// directory cannot be listed. It adds to `unreadable`, if given, each directory whose entries it did not
/// see, or whose files it could not look at; sorted by path. A directory that vanished during the walk is not
/// among them, nor is a missing `root`.
std::optional<std::vector<FoundFile>> filesBelow(const std::string& root, std::string_view extension,
                                                 std::size_t threads = 1,
                                                 std::vector<UnreadableFolder>* unreadable = nullptr);

/// Why a directory cannot be opened for listing; false as a condition when it can.
std::error_code listingError(const std::string& directory);

/// The absolute path of the file or directory that `path` leads to, without links, "." and "..". What does
/// not exist keeps its name; a dangling link leads to what it names. `path` itself when this cannot be told.
std::string target(const std::string& path);

/// Whether `path` lies in one of these directories, at any depth, or leads there: the file itself, or what it
/// leads to when it is a link. Neither it nor they need exist.
bool isWithin(const std::string& path, const std::vector<std::string>& directories);

/// Names of the entries of a directory, unsorted, without "." and ".."; absent when it cannot be listed.
std::optional<std::vector<std::string>> entryNames(const std::string& directory);

/// The whole content of a regular file; absent when it cannot be read, is no regular file or holds more than
/// `limit` bytes.
std::optional<Buffer> contents(const std::string& path, std::uint64_t limit);

/// Makes a directory with all its missing parents. Gives the error; false as a condition when there was none.
std::error_code createDirectories(const std::string& path);

/// Removes a file; a failure is ignored.
void removeFile(const std::string& path);

/// The user's home directory: HOME, else the password database, else "/"; without slashes at
/// its end, but for "/". Only a `main` calls this, once.
std::string homeDirectory();

/// `path` with a leading "~" replaced by `home`, and a leading "~user" by that user's home directory. An
/// unknown user leaves the path as it is.
std::string expandingTilde(const std::string& path, const std::string& home);

/// Where programs keep files that they can make again: ~/.cache on Linux, ~/Library/Application Support on
/// macOS. XDG_CACHE_HOME is not read: it may be set in a shell and missing where another program starts this
/// one, and both must find the same files.
std::string applicationSupportDirectory(const std::string& home);

/// The part behind the last "/", trailing slashes not counted; "/" for the root, empty for an empty path.
std::string_view lastComponent(std::string_view path);

/// The path without its last component and the slash before it; "/" stays "/", a path without a slash becomes
/// empty.
std::string_view withoutLastComponent(std::string_view path);

/// A file name without its extension: what stands before the last dot. The whole name when it has no dot,
/// when its last dot comes first (".profile"), or when nothing follows the dot ("name.").
std::string_view withoutExtension(std::string_view name);

}  // namespace tallyfin::Files
