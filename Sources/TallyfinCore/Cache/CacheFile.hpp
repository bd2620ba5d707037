#pragma once

// The file in which ScanCache keeps what each transcript gave: where it lies, its layout, its reader and its
// writer. A pure optimisation: a lost, old or damaged file costs a full read and nothing else, so nothing in
// it is ever repaired or migrated.
//
//   "TFC1" | version 2 | string table | file count | files, sorted by path
//   file:   path size mtime inode consumed  8 counters  record count  records
//   record: key timestamp model session cwd home agent  7 counts  assumed  rank
//
// Integers and texts as in BinaryCodec.hpp, mtime and timestamp are doubles, `assumed` is a byte. No
// alignment, no checksum. Any other version means: read everything again.

#include "Platform/Descriptor.hpp"
#include "TallyfinCore/Environment.hpp"
#include "TallyfinCore/Transcripts/Reading.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tallyfin::CacheFile {

/// What a cache file holds.
struct Contents {
  std::vector<FileProvenance> files;  ///< sorted by path, each path once
  FileAttributes attributes;          ///< of the cache file, when it was opened
};

/// Reads the file at `path` on at most `threads` threads. Absent when it is missing, foreign, of another
/// version, cut off or damaged.
std::optional<Contents> load(const std::string& path, std::size_t threads);

/// Replaces the file at `path` as a whole, by one that holds `files`, which must be sorted by path. Gives the
/// attributes of the new file. Throws std::system_error; the old file stays whole then.
FileAttributes save(const std::string& path, const std::vector<FileProvenance>& files);

/// Sorts files by their paths: by code points of the canonical forms, then by bytes. Of several entries with
/// the same path the first stays.
void sortByPath(std::vector<FileProvenance>& files);

/// Where the cache file of the machine lies: at TALLYFIN_CACHE_PATH, with its tilde expanded and made
/// absolute, or at the default path.
std::string pathFor(const Environment& environment);

/// The default path, below an application-support directory.
std::string defaultPath(const std::string& applicationSupport);

/// Makes the folder of a cache file with its missing parents. A failure is ignored: it shows when saving
/// fails.
void makeFolderOf(const std::string& path);

/// Whether something lies at `path` that is neither a cache file, of whatever version and state, nor an empty
/// file. What cannot be read counts as foreign.
bool isForeign(const std::string& path);

}  // namespace tallyfin::CacheFile
