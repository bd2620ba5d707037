#pragma once

// A directory of its own for a test. It is gone at the end of the scope, also behind a failed assertion, and
// whatever the test made of permissions, links or depth. A helper that fails throws, which fails the test.
//
//   TempHome home;
//   home.write(".claude/projects/-work-alpha/one.jsonl", line);  // makes the folders above
//   home.append(".claude/projects/-work-alpha/one.jsonl", another);

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tallyfin {

class TempHome {
 public:
  TempHome() {
    const char* base = std::getenv("TMPDIR");
    root_ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/tallyfin-test-XXXXXX";
    check(::mkdtemp(root_.data()) != nullptr, root_);
  }

  ~TempHome() { removeAll(root_); }

  TempHome(const TempHome&) = delete;
  TempHome& operator=(const TempHome&) = delete;

  /// The directory, absolute and without a trailing slash.
  const std::string& path() const { return root_; }

  /// The absolute path of something in it.
  std::string path(std::string_view relative) const { return root_ + "/" + std::string(relative); }

  /// Writes a file anew, with the folders above it; gives its absolute path.
  std::string write(std::string_view relative, std::string_view content) const {
    return put(relative, content, std::ios::trunc);
  }

  /// Adds to the end of a file, which is made when there is none; gives its absolute path.
  std::string append(std::string_view relative, std::string_view content) const {
    return put(relative, content, std::ios::app);
  }

  /// Makes a directory with those above it; gives its absolute path.
  std::string makeDirectory(std::string_view relative) const {
    std::string full = path(relative);
    for (std::size_t slash = root_.size(); slash != std::string::npos;) {
      slash = full.find('/', slash + 1);
      const std::string part = full.substr(0, slash);
      check(::mkdir(part.c_str(), 0755) == 0 || errno == EEXIST, part);
    }
    return full;
  }

  /// Makes a symbolic link to `target`, taken as it is; gives the absolute path of the link.
  std::string link(std::string_view relative, const std::string& target) const {
    std::string full = withFolders(relative);
    check(::symlink(target.c_str(), full.c_str()) == 0, full);
    return full;
  }

  /// The content of a file.
  std::string read(std::string_view relative) const {
    std::ifstream file(path(relative), std::ios::binary);
    check(file.is_open(), path(relative));
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
  }

  /// Renames a file or directory within the home, over what is there.
  void rename(std::string_view from, std::string_view to) const {
    check(::rename(path(from).c_str(), withFolders(to).c_str()) == 0, path(from));
  }

  /// Cuts a file off or fills it with zeros to `size` bytes.
  void truncate(std::string_view relative, long size) const {
    check(::truncate(path(relative).c_str(), size) == 0, path(relative));
  }

  /// Sets the modification time, in seconds since 1970 and nanoseconds.
  void setModified(std::string_view relative, std::time_t seconds, long nanoseconds = 0) const {
    const timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    check(::utimensat(AT_FDCWD, path(relative).c_str(), times, 0) == 0, path(relative));
  }

  /// Sets the permission bits.
  void setMode(std::string_view relative, mode_t mode) const {
    check(::chmod(path(relative).c_str(), mode) == 0, path(relative));
  }

  /// Removes a file, or a directory with all that it holds.
  void remove(std::string_view relative) const {
    const std::string full = path(relative);
    removeAll(full);
    check(::access(full.c_str(), F_OK) != 0, full);
  }

 private:
  static void check(bool done, const std::string& what) {
    if (!done) {
      throw std::system_error(errno, std::generic_category(), what);
    }
  }

  std::string withFolders(std::string_view relative) const {
    const std::size_t slash = relative.rfind('/');
    if (slash != std::string_view::npos) {
      makeDirectory(relative.substr(0, slash));
    }
    return path(relative);
  }

  std::string put(std::string_view relative, std::string_view content, std::ios::openmode mode) const {
    std::string full = withFolders(relative);
    std::ofstream file(full, std::ios::binary | std::ios::out | mode);
    check(file.is_open(), full);
    file << content << std::flush;
    check(file.good(), full);
    return full;
  }

  /// Directories are first moved to the top, so that no depth needs more than two descriptors and no path
  /// grows too long. Failures are left alone: there is nobody to tell.
  static void removeAll(const std::string& path) {
    if (::unlink(path.c_str()) == 0) {
      return;
    }
    std::deque<std::string> pending = {"."};
    const int top = openDirectory(AT_FDCWD, path.c_str());
    for (int moved = 0; top >= 0 && !pending.empty(); pending.pop_front()) {
      const char* name = pending.front().c_str();
      DIR* entries = ::fdopendir(openDirectory(top, name));
      if (entries == nullptr) {
        continue;
      }
      const int directory = ::dirfd(entries);
      while (const dirent* entry = ::readdir(entries)) {
        const std::string_view child = entry->d_name;
        if (child == "." || child == ".." || ::unlinkat(directory, entry->d_name, 0) == 0) {
          continue;
        }
        ::fchmodat(directory, entry->d_name, 0700, 0);  // to be moved, a directory must be writable itself
        const bool atTop = pending.front() == ".";
        const std::string aside = atTop ? entry->d_name : ".remove." + std::to_string(moved++);
        if (atTop || ::renameat(directory, entry->d_name, top, aside.c_str()) == 0) {
          pending.push_back(aside);
        }
      }
      ::closedir(entries);
      ::unlinkat(top, name, AT_REMOVEDIR);
    }
    ::close(top);
    ::rmdir(path.c_str());
  }

  /// Opens a directory, made accessible first if need be.
  static int openDirectory(int parent, const char* name) {
    ::fchmodat(parent, name, 0700, 0);
    return ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }

  std::string root_;
};

}  // namespace tallyfin
