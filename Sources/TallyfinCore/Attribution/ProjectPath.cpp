#include "TallyfinCore/Attribution/ProjectPath.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Text.hpp"

#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace tallyfin {

namespace {

constexpr std::string_view kWorktreeMark = "/.claude/worktrees/";
constexpr std::string_view kNoDirectory = "(unknown cwd)";
constexpr int kMostLevels = 40;  // the path and 39 directories above it

bool hasTwoCharacters(std::string_view path) {
  return path.size() > Text::prefix(path, 1).size();
}

// The innermost directory with an entry ".git" among `path` and its parents, at most `levels` of them; empty
// if there is none. "/" is not checked. The view points into `path`.
std::string_view gitRootAbove(std::string_view path, int levels) {
  std::string entry;
  for (; levels > 0 && hasTwoCharacters(path); --levels) {
    entry.assign(path).append("/.git");
    if (Files::exists(entry)) {
      return path;
    }
    const std::string_view parent = Files::withoutLastComponent(path);
    if (parent == path) {
      break;
    }
    path = parent;
  }
  return {};
}

// The repository that contains a working directory; absent if none does.
std::optional<std::string_view> gitRoot(std::string_view path, ProjectResolver::Parent& last) {
  const std::string_view parent = Files::withoutLastComponent(path);
  if (parent == path || !hasTwoCharacters(path)) {
    return std::nullopt;
  }
  if (last.path != parent) {
    last.path = parent;
    // A relative path of one component is in the process's working directory.
    last.exists = parent.empty() || Files::exists(last.path);
    last.rootLength = gitRootAbove(parent, kMostLevels - 1).size();
  }
  if (last.exists && !gitRootAbove(path, 1).empty()) {
    return path;
  }
  return last.rootLength > 0 ? std::optional(path.substr(0, last.rootLength)) : std::nullopt;
}

}  // namespace

std::string_view text(Provenance provenance) {
  constexpr std::array<std::string_view, 5> kTexts = {"exact", "worktreeFolded", "gitRootFolded",
                                                      "rawFallback", "missing"};
  return kTexts.at(static_cast<std::size_t>(provenance));
}

ProjectResolver::ProjectResolver(std::string home, bool consultDisk)
    : home_(std::move(home)), consultDisk_(consultDisk), memo_(std::make_shared<Memo>()) {}

Resolved ProjectResolver::resolve(InternedText rawCwd, std::string_view transcriptPath) const {
  if (rawCwd.empty()) {
    const std::string_view label = transcriptPath.empty()
                                       ? kNoDirectory
                                       : Files::lastComponent(Files::withoutLastComponent(transcriptPath));
    return {InternedText(label), Provenance::missing};
  }
  Parent none;
  return resolve(rawCwd, none);
}

Resolved ProjectResolver::resolve(InternedText rawCwd, Parent& last) const {
  if (rawCwd.empty()) {
    return resolve(rawCwd);
  }
  {
    const std::lock_guard guard(memo_->lock);
    if (const auto known = memo_->map.find(rawCwd.spelling()); known != memo_->map.end()) {
      return known->second;
    }
  }
  // Reads the disk without the lock, because it may be slow. Two threads may then look up the same directory;
  // both get the same result.
  const Resolved resolved = compute(rawCwd, last);
  const std::lock_guard guard(memo_->lock);
  memo_->map.insert_or_assign(rawCwd.spelling(), resolved);
  return resolved;
}

std::string ProjectResolver::tildify(std::string_view path) const {
  if (!Text::hasPrefix(path, home_)) {
    return std::string(path);
  }
  // Counts characters, because the path may spell the home directory in another normal form.
  path.remove_prefix(Text::prefix(path, Text::characterCount(home_)).size());
  return concat("~", path);
}

Resolved ProjectResolver::compute(InternedText rawCwd, Parent& last) const {
  const std::string_view raw = rawCwd.text();
  const std::size_t mark = raw.find(kWorktreeMark);
  const bool isWorktree = mark != std::string_view::npos;
  const std::string_view path = raw.substr(0, mark);
  const std::optional<std::string_view> root = consultDisk_ ? gitRoot(path, last) : std::nullopt;

  Provenance provenance = Provenance::rawFallback;
  if (isWorktree) {
    provenance = Provenance::worktreeFolded;
  } else if (root) {
    provenance = *root == path ? Provenance::exact : Provenance::gitRootFolded;
  }
  const std::string label = tildify(root.value_or(path));
  return {label == raw ? rawCwd : InternedText(label), provenance};
}

}  // namespace tallyfin
