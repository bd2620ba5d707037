#pragma once

// A directory for one test. It is removed at the end of the scope, also after a failed assertion and whatever
// permissions, links or depth the test created. A helper that fails throws, which fails the test.
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

  /// The absolute path of `relative` in the directory.
  std::string path(std::string_view relative) const { return root_ + "/" + std::string(relative); }

  /// Writes a file and the folders above it; returns its absolute path.
  std::string write(std::string_view relative, std::string_view content) const {
    return put(relative, content, std::ios::trunc);
  }

  /// Appends to a file, which is created if necessary; returns its absolute path.
  std::string append(std::string_view relative, std::string_view content) const {
    return put(relative, content, std::ios::app);
  }

  /// Creates a directory and those above it; returns its absolute path.
  std::string makeDirectory(std::string_view relative) const {
    std::filesystem::create_directories(path(relative));
    return path(relative);
  }

  /// Creates a symbolic link to `target`, which is not changed; returns the link's absolute path.
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

  /// Renames a file or directory within the home and replaces an existing one.
  void rename(std::string_view from, std::string_view to) const {
    std::filesystem::rename(path(from), withFolders(to));
  }

  /// Cuts a file to `size` bytes or extends it with zeros.
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

  /// Removes a file, or a directory and its content.
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

  // Directories without permissions, or too deep for the library, are removed by system commands.
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
