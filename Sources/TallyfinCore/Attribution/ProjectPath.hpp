#pragma once

// From the raw working directory of a request to the project it belongs to: worktrees and subdirectories of a
// repository add up under one label. Asks the disk only whether a ".git" entry exists.

#include "Platform/InternedText.hpp"
#include "absl/container/flat_hash_map.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace tallyfin {

/// How a project label was reached. `text(Provenance)` gives the words that reports store and show.
enum class Provenance {
  exact,           ///< the path is itself the root of a repository
  worktreeFolded,  ///< it lay under ".claude/worktrees" and was cut back
  gitRootFolded,   ///< it lay inside a repository and was cut back to its root
  rawFallback,     ///< no repository was found, or the disk was not asked: the path as it came
  missing          ///< the transcript gave no working directory
};

/// The words for it in reports.
std::string_view text(Provenance provenance);

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

  /// The label of a working directory. An empty one is "(unknown cwd)", or the name of the folder that holds
  /// the transcript when `transcriptPath` is given. Safe from any thread.
  Resolved resolve(InternedText rawCwd, std::string_view transcriptPath = {}) const;

  /// The path with a leading `home` replaced by "~". Only the texts are compared: of /home/anna the home
  /// /home/ann leaves "~a".
  std::string tildify(std::string_view path) const;

 private:
  struct Memo {
    std::mutex lock;
    absl::flat_hash_map<std::uint32_t, Resolved> map;  // by spelling: two spellings are two directories
  };

  Resolved compute(std::string_view raw) const;

  std::string home_;
  bool consultDisk_;
  std::shared_ptr<Memo> memo_;
};

}  // namespace tallyfin
