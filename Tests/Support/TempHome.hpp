#pragma once

// A directory of its own for a test. It is gone at the end of the scope, also behind a failed assertion, and
// whatever the test made of permissions, links or depth. A helper that fails throws, which fails the test.
//
//   TempHome home;
//   home.write(".claude/projects/-work-alpha/one.jsonl", line);  // makes the folders above
//   home.append(".claude/projects/-work-alpha/one.jsonl", another);

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tallyfin {

class TempHome {
 public:
  TempHome() {
    const char* base = std::getenv("TMPDIR");
    root_ = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/tallyfin-test-XXXXXX";
    if (::mkdtemp(root_.data()) == nullptr) {
      throw std::runtime_error("cannot make " + root_);
    }
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
    std::filesystem::create_directories(path(relative));
    return path(relative);
  }

  /// Makes a symbolic link to `target`, taken as it is; gives the absolute path of the link.
  std::string link(std::string_view relative, const std::string& target) const {
    std::filesystem::create_symlink(target, withFolders(relative));
    return path(relative);
  }

  /// The content of a file.
  std::string read(std::string_view relative) const {
    std::ifstream file(path(relative), std::ios::binary);
    check(file.is_open(), relative);
    std::string content(std::filesystem::file_size(path(relative)), '\0');
    check(!file.read(content.data(), static_cast<std::streamsize>(content.size())).fail(), relative);
    return content;
  }

  /// Renames a file or directory within the home, over what is there.
  void rename(std::string_view from, std::string_view to) const {
    std::filesystem::rename(path(from), withFolders(to));
  }

  /// Cuts a file off or fills it with zeros to `size` bytes.
  void truncate(std::string_view relative, long size) const {
    std::filesystem::resize_file(path(relative), static_cast<std::uintmax_t>(size));
  }

  /// Sets the modification time, in seconds since 1970 and nanoseconds.
  void setModified(std::string_view relative, std::time_t seconds, long nanoseconds = 0) const {
    const timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    check(::utimensat(AT_FDCWD, path(relative).c_str(), times, 0) == 0, relative);
  }

  /// Sets the permission bits.
  void setMode(std::string_view relative, mode_t mode) const {
    check(::chmod(path(relative).c_str(), mode) == 0, relative);
  }

  /// Removes a file, or a directory with all that it holds.
  void remove(std::string_view relative) const { removeAll(path(relative)); }

 private:
  void check(bool done, std::string_view relative) const {
    if (!done) {
      throw std::runtime_error("failed: " + path(relative));
    }
  }

  std::string withFolders(std::string_view relative) const {
    std::filesystem::create_directories(std::filesystem::path(path(relative)).parent_path());
    return path(relative);
  }

  std::string put(std::string_view relative, std::string_view content, std::ios::openmode mode) const {
    std::ofstream file(withFolders(relative), std::ios::binary | std::ios::out | mode);
    file << content << std::flush;
    check(file.good(), relative);
    return path(relative);
  }

  // What a test has closed, or made too deep for the library, is left to the tools of the system.
  static void removeAll(const std::string& path) {
    std::error_code failed;
    std::filesystem::remove_all(path, failed);
    if (failed && std::system(("chmod -R u+rwX '" + path + "'; rm -rf '" + path + "'").c_str()) != 0) {
      std::perror(path.c_str());
    }
  }

  std::string root_;
};

}  // namespace tallyfin
