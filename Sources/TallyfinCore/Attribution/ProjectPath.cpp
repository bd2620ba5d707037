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
  return path.size() > 1 && Text::characterCount(path) > 1;
}

// The innermost directory from `path` upwards that has an entry ".git"; absent when none has. The root
// directory "/" is not looked at. The view points into `path`.
std::optional<std::string_view> gitRoot(std::string_view path) {
  std::string entry;
  for (int level = 0; level < kMostLevels && hasTwoCharacters(path); ++level) {
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
  return std::nullopt;
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
  {
    const std::lock_guard guard(memo_->lock);
    if (const auto known = memo_->map.find(rawCwd.spelling()); known != memo_->map.end()) {
      return known->second;
    }
  }
  // The disk may be slow, so it is asked outside the lock. Two threads may then ask for one directory at
  // once; both get the same answer.
  const Resolved resolved = compute(rawCwd.text());
  const std::lock_guard guard(memo_->lock);
  memo_->map.insert_or_assign(rawCwd.spelling(), resolved);
  return resolved;
}

std::string ProjectResolver::tildify(std::string_view path) const {
  if (!Text::hasPrefix(path, home_)) {
    return std::string(path);
  }
  // Counted in characters, since the path may spell the home directory in another normal form.
  path.remove_prefix(Text::prefix(path, Text::characterCount(home_)).size());
  return concat("~", path);
}

Resolved ProjectResolver::compute(std::string_view raw) const {
  const std::size_t mark = raw.find(kWorktreeMark);
  const bool isWorktree = mark != std::string_view::npos;
  const std::string_view path = raw.substr(0, mark);
  const std::optional<std::string_view> root = consultDisk_ ? gitRoot(path) : std::nullopt;

  Provenance provenance = Provenance::rawFallback;
  if (isWorktree) {
    provenance = Provenance::worktreeFolded;
  } else if (root) {
    provenance = *root == path ? Provenance::exact : Provenance::gitRootFolded;
  }
  return {InternedText(tildify(root.value_or(path))), provenance};
}

}  // namespace tallyfin
