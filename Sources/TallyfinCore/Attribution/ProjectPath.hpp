#pragma once

// From the raw working directory of a request to the project it belongs to: worktrees and subdirectories of a
// repository add up under one label. Asks the disk only whether a ".git" entry exists.

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

/// How a project label was reached. `text(Provenance)` gives the words that reports store and show.
enum class Provenance : std::uint8_t {
  exact,           ///< the path is itself the root of a repository
  worktreeFolded,  ///< it lay under ".claude/worktrees" and was cut back
  gitRootFolded,   ///< it lay inside a repository and was cut back to its root
  rawFallback,     ///< no repository was found, or the disk was not asked: the path as it came
  missing          ///< the transcript gave no working directory
};

/// All of them.
inline constexpr Provenance allProvenances[] = {Provenance::exact, Provenance::worktreeFolded,
                                                Provenance::gitRootFolded, Provenance::rawFallback,
                                                Provenance::missing};

/// The words for it in reports.
std::string_view text(Provenance provenance);

/// How the requests of one label reached it, in one byte, since a report holds a set for each label.
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

/// A project label and how it was reached.
struct Resolved {
  InternedText canonical;
  Provenance provenance = Provenance::missing;

  friend bool operator==(const Resolved&, const Resolved&) = default;
};

/// Finds the project of a working directory. What was found is remembered, so that the disk is asked only
/// once for each directory; copies share that memory.
class ProjectResolver {
 public:
  /// `home` is the user's home directory, the prefix that becomes "~"; used unchanged.
  ProjectResolver(std::string home, bool consultDisk);

  /// What is known of a directory above a working directory.
  struct Parent {
    std::string path;
    bool exists = true;          ///< what lies in a directory that is gone is gone, too
    std::size_t rootLength = 0;  ///< of the path of the repository that it lies in; 0: it lies in none
  };

  /// The label of a working directory. An empty one is "(unknown cwd)", or the name of the folder that holds
  /// the transcript when `transcriptPath` is given. Safe from any thread.
  Resolved resolve(InternedText rawCwd, std::string_view transcriptPath = {}) const;

  /// The same for a pass over many directories. `last` is empty at its beginning and holds the directory
  /// above the last one looked up, which is not looked at again for those beside it. A pass drops it in the
  /// end, so that the next one sees what has changed on the disk.
  Resolved resolve(InternedText rawCwd, Parent& last) const;

  /// The path with a leading `home` replaced by "~". Only the texts are compared: of /home/anna the home
  /// /home/ann leaves "~a".
  std::string tildify(std::string_view path) const;

 private:
  struct Memo {
    std::mutex lock;
    absl::flat_hash_map<std::uint32_t, Resolved> map;  // by spelling: two spellings are two directories
  };

  Resolved compute(InternedText rawCwd, Parent& last) const;

  std::string home_;
  bool consultDisk_;
  std::shared_ptr<Memo> memo_;
};

}  // namespace tallyfin
