#pragma once

// Maps the raw working directory of a request to its project. Worktrees and subdirectories of a repository
// share one label. The only disk access is the check whether directories and their ".git" entries exist.

#include "Platform/InternedText.hpp"
#include "absl/container/flat_hash_map.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace tallyfin {

/// How a project label was found. `text(Provenance)` returns the word that reports store and show.
enum class Provenance : std::uint8_t {
  exact,           ///< the path is the root of a repository
  worktreeFolded,  ///< the path was below ".claude/worktrees" and was cut there
  gitRootFolded,   ///< the path was inside a repository and was cut to its root
  rawFallback,     ///< no repository was found, or the disk was not consulted: the path is unchanged
  missing          ///< the transcript has no working directory
};

/// All provenances.
inline constexpr Provenance allProvenances[] = {Provenance::exact, Provenance::worktreeFolded,
                                                Provenance::gitRootFolded, Provenance::rawFallback,
                                                Provenance::missing};

/// The word for a provenance in reports.
std::string_view text(Provenance provenance);

/// The provenances of the requests of one label. One byte, because a report has a set for each label.
class ProvenanceSet {
 public:
  constexpr ProvenanceSet() = default;
  constexpr ProvenanceSet(std::initializer_list<Provenance> all) {
    for (const Provenance one : all) {
      insert(one);
    }
  }

  constexpr void insert(Provenance one) { bits_ = static_cast<std::uint8_t>(bits_ | bit(one)); }
  constexpr bool contains(Provenance one) const { return (bits_ & bit(one)) != 0; }
  constexpr bool empty() const { return bits_ == 0; }

 private:
  static constexpr unsigned bit(Provenance one) { return 1U << static_cast<unsigned>(one); }

  std::uint8_t bits_ = 0;
};

/// A project label and how it was found.
struct Resolved {
  InternedText canonical;
  Provenance provenance = Provenance::missing;

  friend bool operator==(const Resolved&, const Resolved&) = default;
};

/// Finds the project of a working directory. Caches results, so that the disk is read only once per
/// directory. Copies share the cache.
class ProjectResolver {
 public:
  /// `home` is the user's home directory, the prefix that is replaced by "~".
  ProjectResolver(std::string home, bool consultDisk);

  /// What is known about the parent of a working directory.
  struct Parent {
    std::string path;
    bool exists = true;          ///< if false, the working directory does not exist either
    std::size_t rootLength = 0;  ///< length of the path of the repository that contains it; 0 if none does
  };

  /// The label of a working directory. For an empty one it is "(unknown cwd)" or, if `transcriptPath` is
  /// given, the name of the transcript's folder. May be called from any thread.
  Resolved resolve(InternedText rawCwd, std::string_view transcriptPath = {}) const;

  /// As above, for many directories in a row. `last` caches the parent of the last directory looked up, so
  /// that its siblings need no further lookup of the parent. Pass an empty `last` at the start of each pass,
  /// so that the pass sees changes on the disk.
  Resolved resolve(InternedText rawCwd, Parent& last) const;

  /// The path with a leading `home` replaced by "~". Compares text only: with the home /home/ann, /home/anna
  /// becomes "~a".
  std::string tildify(std::string_view path) const;

 private:
  struct Memo {
    std::mutex lock;
    absl::flat_hash_map<std::uint32_t, Resolved> map;  // by spelling: two spellings, two directories
  };

  Resolved compute(InternedText rawCwd, Parent& last) const;

  std::string home_;
  bool consultDisk_;
  std::shared_ptr<Memo> memo_;
};

}  // namespace tallyfin
