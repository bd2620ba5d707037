#pragma once

// Maps the working directory of a request to the label of its project. A repository, its subdirectories and
// its worktrees below ".claude/worktrees" have the same label. The only access to the disk is to check
// whether directories and their ".git" entries exist.

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

/// How a project label was found.
enum class Provenance : std::uint8_t {
  exact,           ///< the working directory is the root of a repository
  worktreeFolded,  ///< the path contains "/.claude/worktrees/"; the label is made from the part before it
  gitRootFolded,   ///< the working directory is below the root of a repository; the label is the root
  rawFallback,     ///< no repository was found or the disk was not checked; the label is the directory
  missing          ///< the transcript has no working directory
};

/// All values, in declaration order.
inline constexpr Provenance allProvenances[] = {Provenance::exact, Provenance::worktreeFolded,
                                                Provenance::gitRootFolded, Provenance::rawFallback,
                                                Provenance::missing};

/// The word that reports print for a provenance: "exact", "worktreeFolded", ...
std::string_view text(Provenance provenance);

/// The provenances with which a label was found; working directories with the same label can have different
/// ones. The set takes one byte, because a report has one set per label.
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
  InternedText canonical;  ///< the label
  Provenance provenance = Provenance::missing;

  friend bool operator==(const Resolved&, const Resolved&) = default;
};

/// Finds the project of a working directory. It keeps each result in memory, so it does not check the disk
/// again for a known directory. Copies of a resolver share these results.
class ProjectResolver {
 public:
  /// `home` is the user's home directory; labels show "~" instead of it. If `consultDisk` is false, the
  /// resolver never checks the disk and finds no repositories.
  ProjectResolver(std::string home, bool consultDisk);

  /// What the resolver knows about the parent of a working directory.
  struct Parent {
    std::string path;
    bool exists = true;          ///< whether the parent exists; if not, the directory does not either
    std::size_t rootLength = 0;  ///< bytes of `path` up to the end of the repository root; 0: none
  };

  /// The label of the working directory `rawCwd`. If `rawCwd` is empty, the label is the name of the folder
  /// of `transcriptPath`, or "(unknown cwd)" if `transcriptPath` is empty too. May be called from any thread.
  Resolved resolve(InternedText rawCwd, std::string_view transcriptPath = {}) const;

  /// As above, but faster for a series of directories. Each call stores in `last` what it found about the
  /// parent of `rawCwd`. If the next directory has the same parent, the next call does not check that parent
  /// again. Start each series with an empty `last`, because the disk may have changed since the previous
  /// series.
  Resolved resolve(InternedText rawCwd, Parent& last) const;

  /// The path with a leading home directory replaced by "~". The comparison ignores component boundaries: if
  /// the home directory is /home/ann, the path /home/anna becomes "~a".
  std::string tildify(std::string_view path) const;

 private:
  struct Memo {
    std::mutex lock;
    absl::flat_hash_map<std::uint32_t, Resolved> map;  // by `spelling()` of the working directory
  };

  Resolved compute(InternedText rawCwd, Parent& last) const;

  std::string home_;
  bool consultDisk_;
  std::shared_ptr<Memo> memo_;
};

}  // namespace tallyfin
