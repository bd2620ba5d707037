#include "Platform/Files.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Descriptor.hpp"
#include "Platform/Parallel.hpp"
#include "Platform/Text.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <tuple>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace tallyfin::Files {

namespace {

// Iterates over the entries of a directory.
class Listing {
 public:
  explicit Listing(const std::string& path, int flags = 0) {
    Descriptor descriptor(path, O_RDONLY | O_DIRECTORY | flags);
    entries_ = descriptor.isOpen() ? ::fdopendir(descriptor.number()) : nullptr;
    if (entries_ == nullptr) {
      error_ = errno;
    } else {
      descriptor.release();
    }
  }
  ~Listing() {
    if (entries_ != nullptr) {
      ::closedir(entries_);
    }
  }

  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  bool isOpen() const { return entries_ != nullptr; }

  // The errno of the failure to open the directory or to read its next entry; 0 if neither failed.
  int error() const { return error_; }

  // The next entry other than "." and ".."; null after the last entry or a failure.
  const dirent* next() {
    errno = 0;
    while (const dirent* entry = ::readdir(entries_)) {
      const std::string_view name = entry->d_name;
      if (name != "." && name != "..") {
        return entry;
      }
    }
    error_ = errno;
    return nullptr;
  }

  // Attributes of the entry, or of its target if it is a link; absent if they cannot be read, with the reason
  // in errno.
  std::optional<Attributes> attributes(const dirent& entry) const {
    return fileAttributes(::dirfd(entries_), entry.d_name);
  }

  // Whether the entry itself is a directory; a link to a directory is not.
  bool isDirectory(const dirent& entry) const {
    if (entry.d_type != DT_UNKNOWN) {
      return entry.d_type == DT_DIR;
    }
    struct stat status {};
    return ::fstatat(::dirfd(entries_), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
  }

 private:
  DIR* entries_ = nullptr;
  int error_ = 0;
};

// On failure errno has the reason.
bool statusOf(const std::string& path, struct stat& status) {
  if (!canBePath(path)) {
    errno = ENOENT;
    return false;
  }
  return ::stat(path.c_str(), &status) == 0;
}

// Whether an error for a listed entry may be ignored: the entry vanished or was replaced after it was listed,
// or it is a dangling link.
bool isGone(int error) {
  return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

std::error_code codeOf(int error) {
  return {error, std::generic_category()};
}

bool hasExtension(std::string_view name, std::string_view extension) {
  return name.size() > extension.size() + 1 && name.ends_with(extension) &&
         name[name.size() - extension.size() - 1] == '.';
}

// The entries of one directory that matter to a walk.
struct FoundEntries {
  std::vector<FoundFile> files;
  std::vector<std::string> directories;  // paths
  int error = 0;  // why entries are missing or could not be examined; 0 if nothing is missing
};

// `flags` are flags of open(2).
FoundEntries entriesOf(std::string directory, int flags, std::string_view extension) {
  FoundEntries found;
  Listing listing(directory, flags);
  if (!listing.isOpen()) {
    found.error = isGone(listing.error()) ? 0 : listing.error();
    return found;
  }
  if (!directory.ends_with('/')) {
    directory += '/';
  }
  while (const dirent* entry = listing.next()) {
    const std::string_view name = entry->d_name;
    if (name.front() == '.') {
      continue;
    }
    if (listing.isDirectory(*entry)) {
      found.directories.push_back(concat(directory, name));
    }
    if (hasExtension(name, extension)) {
      std::string path = concat(directory, name);
      // A file whose path is too long cannot be opened by that path, so it gets no attributes.
      errno = ENAMETOOLONG;
      const std::optional<Attributes> attributes =
          path.size() < PATH_MAX ? listing.attributes(*entry) : std::nullopt;
      if (!attributes && !isGone(errno)) {
        found.error = errno;
      }
      found.files.push_back({std::move(path), attributes});
    }
  }
  if (!isGone(listing.error()) && listing.error() != 0) {
    found.error = listing.error();
  }
  return found;
}

void sortAsText(std::vector<FoundFile>& files) {
  if (std::ranges::all_of(files, Text::isAscii, &FoundFile::path)) {
    std::ranges::sort(files, {}, &FoundFile::path);
    return;
  }
  // The byte order of well-formed UTF-8 is its code point order, so the canonical forms are compared as
  // bytes.
  std::vector<std::pair<std::string, FoundFile>> keyed;
  keyed.reserve(files.size());
  for (FoundFile& file : files) {
    std::string key = Text::canonical(file.path);
    keyed.emplace_back(std::move(key), std::move(file));
  }
  std::ranges::sort(keyed, {}, [](const auto& entry) { return std::tie(entry.first, entry.second.path); });
  std::ranges::transform(keyed, files.begin(), [](auto& entry) { return std::move(entry.second); });
}

// The home directory of `who`, a user name or id, in the password database; absent if there is no such user.
// `find` is getpwnam_r or getpwuid_r.
template <typename Find, typename Who>
std::optional<std::string> passwordHome(Find find, Who who) {
  std::vector<char> buffer(4096);
  passwd entry{};
  passwd* found = nullptr;
  int error = 0;
  while ((error = find(who, &entry, buffer.data(), buffer.size(), &found)) == EINTR || error == ERANGE) {
    if (error == ERANGE) {
      buffer.resize(buffer.size() * 2);
    }
  }
  if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir == '\0') {
    return std::nullopt;
  }
  return found->pw_dir;
}

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.back() == '/') {
    path.remove_suffix(1);
  }
  return path;
}

}  // namespace

bool exists(const std::string& path) {
  struct stat status {};
  return statusOf(path, status);
}

bool isDirectory(const std::string& path) {
  struct stat status {};
  return statusOf(path, status) && S_ISDIR(status.st_mode);
}

std::optional<std::vector<FoundFile>> filesBelow(const std::string& root, std::string_view extension,
                                                 std::size_t threads,
                                                 std::vector<UnreadableFolder>* unreadable) {
  constexpr std::size_t kWorthThreads = 8;  // directories; fewer are listed by one thread
  struct stat status {};
  if (!statusOf(root, status)) {
    if (unreadable != nullptr && errno != ENOENT && errno != ENOTDIR) {
      unreadable->push_back({root, codeOf(errno)});
    }
    return std::nullopt;
  }
  if (!S_ISDIR(status.st_mode)) {
    return std::nullopt;
  }
  std::vector<FoundFile> found;
  std::vector<UnreadableFolder> failed;
  std::vector<std::string> level = {root};
  int flags = 0;  // the root may be a link, but links below it are not followed
  while (!level.empty()) {
    std::vector<FoundEntries> below(level.size());
    forEachIndex(level.size(), level.size() < kWorthThreads ? 1 : threads,
                 [&](std::size_t at) { below[at] = entriesOf(level[at], flags, extension); });
    flags = O_NOFOLLOW;
    std::vector<std::string> next;
    for (std::size_t at = 0; at < level.size(); ++at) {
      std::ranges::move(below[at].files, std::back_inserter(found));
      std::ranges::move(below[at].directories, std::back_inserter(next));
      if (below[at].error != 0) {
        failed.push_back({std::move(level[at]), codeOf(below[at].error)});
      }
    }
    level = std::move(next);
  }
  sortAsText(found);
  if (unreadable != nullptr) {
    std::ranges::sort(failed, {}, &UnreadableFolder::path);
    std::ranges::move(failed, std::back_inserter(*unreadable));
  }
  return found;
}

std::error_code listingError(const std::string& directory) {
  return codeOf(Listing(directory).error());
}

std::string target(const std::string& path) {
  namespace fs = std::filesystem;
  constexpr int kMostLinks = 40;
  fs::path now = path;
  for (int i = 0; i < kMostLinks && canBePath(path); ++i) {
    std::error_code error;
    now = fs::absolute(now, error);
    now = error ? now : fs::weakly_canonical(now, error);
    if (error) {
      break;
    }
    if (!fs::is_symlink(fs::symlink_status(now, error))) {
      return std::string(withoutTrailingSlashes(now.native()));
    }
    now = now.parent_path() / fs::read_symlink(now, error);  // `now` is a dangling link
  }
  return path;
}

bool isWithin(const std::string& path, const std::vector<std::string>& directories) {
  std::vector<struct stat> existing;  // compared by inode, since one directory can have several paths
  std::vector<std::string> missing;
  for (const std::string& directory : directories) {
    struct stat status {};
    if (statusOf(directory, status)) {
      existing.push_back(status);
    } else {
      missing.push_back(target(directory));
    }
  }
  const auto isOne = [&](const std::string& at) {
    struct stat status {};
    const bool isThere = statusOf(at, status);
    return std::ranges::find(missing, at) != missing.end() ||
           std::ranges::any_of(existing, [&](const struct stat& other) {
             return isThere && other.st_dev == status.st_dev && other.st_ino == status.st_ino;
           });
  };
  const std::string locations[] = {target(path), target(std::string(withoutLastComponent(path)))};
  return std::ranges::any_of(locations, [&](std::string at) {
    while (!isOne(at)) {
      std::string above(withoutLastComponent(at));
      if (above == at) {
        return false;
      }
      at = std::move(above);
    }
    return true;
  });
}

std::optional<std::vector<std::string>> entryNames(const std::string& directory) {
  Listing listing(directory);
  if (!listing.isOpen()) {
    return std::nullopt;
  }
  std::vector<std::string> names;
  while (const dirent* entry = listing.next()) {
    names.emplace_back(entry->d_name);
  }
  return names;
}

std::optional<Buffer> contents(const std::string& path, std::uint64_t limit) {
  const PlainFile file(path);
  if (!file.isOpen() || file.attributes().size > limit) {
    return std::nullopt;
  }
  Buffer content;
  // One byte more than the size, so that a single call can fill the buffer without enlarging it. Files that
  // the kernel generates may have a size of 0.
  content.reserve(std::max<std::size_t>(static_cast<std::size_t>(file.attributes().size) + 1, 4096));
  while (true) {
    char* const room = content.room(1);
    const std::ptrdiff_t count = file.read(room, content.capacity() - content.size(), content.size());
    if (count < 0) {
      return std::nullopt;
    }
    if (count == 0) {
      return content;
    }
    content.grow(static_cast<std::size_t>(count));
    if (content.size() > limit) {
      return std::nullopt;
    }
  }
}

std::error_code createDirectories(const std::string& path) {
  if (!canBePath(path)) {
    return std::make_error_code(std::errc::no_such_file_or_directory);
  }
  for (std::size_t slash = 0; slash != std::string::npos;) {
    slash = path.find('/', slash + 1);
    const std::string part = path.substr(0, slash);
    if (::mkdir(part.c_str(), 0777) != 0) {
      const int error = errno;
      if (!isDirectory(part)) {
        return codeOf(error);
      }
    }
  }
  return {};
}

void removeFile(const std::string& path) {
  if (canBePath(path)) {
    ::unlink(path.c_str());
  }
}

std::string homeDirectory() {
  const char* const variable = std::getenv("HOME");
  const std::string home = variable != nullptr && *variable != '\0'
                               ? variable
                               : passwordHome(::getpwuid_r, ::getuid()).value_or("/");
  return std::string(withoutTrailingSlashes(home));
}

std::string expandingTilde(const std::string& path, const std::string& home) {
  if (!path.starts_with('~')) {
    return path;
  }
  const std::size_t end = std::min(path.find('/'), path.size());
  const std::string user = path.substr(1, end - 1);
  if (!canBePath(user)) {
    return path;
  }
  const std::optional<std::string> expanded = user.empty() ? home : passwordHome(::getpwnam_r, user.c_str());
  if (!expanded) {
    return path;
  }
  std::string_view rest = std::string_view(path).substr(end);
  if (expanded->ends_with('/') && !rest.empty()) {
    rest.remove_prefix(1);
  }
  return concat(*expanded, rest);
}

std::string applicationSupportDirectory(const std::string& home) {
#ifdef __APPLE__
  constexpr std::string_view kFolder = "Library/Application Support";
#else
  constexpr std::string_view kFolder = ".cache";
#endif
  return concat(home, home.ends_with('/') ? "" : "/", kFolder);
}

std::string_view lastComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

std::string_view withoutLastComponent(std::string_view path) {
  path = withoutTrailingSlashes(path);
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path.substr(0, 0)
                                         : withoutTrailingSlashes(path.substr(0, slash + 1));
}

std::string_view withoutExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  const bool none = dot == std::string_view::npos || dot == 0 || dot + 1 == name.size();
  return none ? name : name.substr(0, dot);
}

}  // namespace tallyfin::Files
