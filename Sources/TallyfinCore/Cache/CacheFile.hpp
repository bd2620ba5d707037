#pragma once

// The file in which ScanCache stores the state of each transcript: its path, layout, reader and writer. The
// file only saves time. If it is lost, old or damaged, everything is read again, so nothing in it is ever
// repaired or migrated.
//
//   "TFC1" | version 2 | string table | file count | files, sorted by path
//   file:   path size mtime inode consumed  8 counters  record count  records
//   record: key timestamp model session cwd home agent  7 counts  assumed  rank
//
// Integers and texts are encoded as in BinaryCodec.hpp; mtime and timestamp are doubles, `assumed` is a byte.
// There is no alignment and no checksum. A file of another version is ignored.

#include "Platform/Descriptor.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin::CacheFile {

/// The content of a cache file.
struct Contents {
  std::vector<FileProvenance> files;  ///< sorted by path, each path once
  FileAttributes attributes;          ///< of the cache file when it was opened
};

/// Reads the file at `path` on at most `threads` threads. Absent if the file is missing, not a cache file, of
/// another version, truncated or damaged.
std::optional<Contents> load(const std::string& path, std::size_t threads);

/// Atomically replaces the file at `path` by one with `files`, which must be sorted by path. Returns the
/// attributes of the new file. Throws std::system_error; the old file is then unchanged.
FileAttributes save(const std::string& path, const std::vector<FileProvenance>& files);

/// Sorts files by path: by the code points of the canonical forms, then by bytes. Of several entries with the
/// same path, only the first is kept.
void sortByPath(std::vector<FileProvenance>& files);

/// The path of the cache file: TALLYFIN_CACHE_PATH, made absolute and with its tilde expanded, or the default
/// path.
std::string pathFor(const Environment& environment);

/// The default path in an application-support directory.
std::string defaultPath(const std::string& applicationSupport);

/// Creates the folder of a cache file and all its missing parents. Ignores failure, because `save` then fails
/// and reports it.
void makeFolderOf(const std::string& path);

/// Whether `path` exists and is neither an empty file nor a cache file of any version, damaged or not. A file
/// that cannot be read counts as foreign.
bool isForeign(const std::string& path);

}  // namespace tallyfin::CacheFile
