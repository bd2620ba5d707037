#include "Platform/AtomicFile.hpp"

#include "Platform/Concat.hpp"
#include "Platform/Files.hpp"
#include "Platform/Numbers.hpp"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <random>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace tallyfin::AtomicFile {
namespace {

[[noreturn]] void fail(int error, const char* what, const std::string& path) {
  throw std::system_error(error, std::generic_category(), what + path);
}

constexpr std::string_view kTemporaryMark = ".tmp.";

// The process that writes a temporary file holds a lock on it, which ends with the process. A process id in
// the name would not do, because it means nothing in another container that shares the folder.
bool isLocked(const Descriptor& file) {
  return ::flock(file.number(), LOCK_EX | LOCK_NB) != 0;
}

// The start of the paths of a target's temporary files: the target's path and kTemporaryMark. Long file names
// are cut, so that the whole name stays within the 255 bytes that file systems allow.
std::string temporaryStart(const std::string& target) {
  constexpr std::size_t kMostOfName = 200;         // bytes
  const std::size_t name = target.rfind('/') + 1;  // 0 without a slash
  std::size_t end = std::min(target.size(), name + kMostOfName);
  while (end > name && end < target.size() && (static_cast<unsigned char>(target[end]) & 0xC0) == 0x80) {
    --end;  // do not split a character
  }
  return concat(std::string_view(target).substr(0, end), kTemporaryMark);
}

// A temporary file beside `target`, removed on destruction unless it replaced the target.
class Temporary {
 public:
  Temporary(const std::string& target, unsigned mode) : target_(target) {
    constexpr int kMostNames = 100;
    std::random_device random;
    for (int i = 0; i < kMostNames; ++i) {
      path_ = concat(temporaryStart(target_), std::to_string(random()), ".", std::to_string(random()));
      file_ = Descriptor(path_, O_WRONLY | O_CREAT | O_EXCL, mode);
      if (!file_.isOpen() && errno != EEXIST) {
        break;
      }
      // If the file system has no locks, the file is used without one. Before the lock was taken, another
      // process may have removed the new file as stale; then the next name is tried.
      struct stat status {};
      if (file_.isOpen() && (::flock(file_.number(), LOCK_EX) != 0 ||
                             (::fstat(file_.number(), &status) == 0 && status.st_nlink > 0))) {
        return;
      }
    }
    fail(errno, "cannot create ", path_);
  }
  ~Temporary() {
    if (file_.isOpen()) {
      ::unlink(path_.c_str());
    }
  }

  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;

  // Sets the permission bits, including those that the umask cleared. A failure is ignored: it only leaves
  // fewer bits set.
  void setMode(mode_t mode) const { (void)::fchmod(file_.number(), mode); }

  // Buffers small pieces, so that a file of many strings needs few system calls.
  void append(std::string_view bytes) {
    if (pending_.size() + bytes.size() > kCollected) {
      write(pending_);
      pending_.clear();
    }
    if (bytes.size() > kCollected) {
      write(bytes);
    } else {
      pending_.append(bytes);
    }
  }

  // Flushes the content to the disk before renaming, so that even a power failure leaves no partial file
  // under the target's name. The directory is not flushed, which would take as long again: after a power
  // failure the name may refer to the old or to the new file, complete in either case.
  FileAttributes replaceTarget() {
    write(pending_);
    while (::fsync(file_.number()) != 0) {
      if (errno != EINTR) {
        fail(errno, "cannot flush ", path_);
      }
    }
    const std::optional<FileAttributes> attributes = file_.attributes();
    // Rename while the file is open, because closing it releases the lock.
    if (::rename(path_.c_str(), target_.c_str()) != 0) {
      fail(errno, "cannot replace ", target_);
    }
    if (!file_.close()) {
      fail(errno, "cannot close ", target_);
    }
    return attributes.value_or(FileAttributes{});
  }

 private:
  static constexpr std::size_t kCollected = std::size_t{64} * 1024;
  static constexpr std::size_t kLargestWrite = std::size_t{1} << 20;

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::write(file_.number(), bytes.data(), std::min(bytes.size(), kLargestWrite));
      if (count < 0 && errno == EINTR) {
        continue;
      }
      if (count <= 0) {
        fail(count < 0 ? errno : EIO, "cannot write ", path_);
      }
      startFlushing(static_cast<std::size_t>(count));
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  // Asks the system to start writing the last `count` bytes to the disk while the next ones are produced,
  // which shortens the final flush: without this, a call that saves the cache takes 5 % longer. Only a hint;
  // skipped for small pieces.
  void startFlushing(std::size_t count) {
#ifdef __linux__
    if (count >= kCollected) {
      ::sync_file_range(file_.number(), written_, static_cast<off_t>(count), SYNC_FILE_RANGE_WRITE);
    }
#endif
    written_ += static_cast<off_t>(count);
  }

  const std::string& target_;
  std::string path_;
  Descriptor file_;
  std::string pending_;
  off_t written_ = 0;  // bytes
};

// Whether a name ends like those of temporary files: two numbers separated by a dot.
bool isOurs(std::string_view end) {
  const std::size_t point = end.find('.');
  const auto isNumber = [](std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
  };
  return point != std::string_view::npos && isNumber(end.substr(0, point)) && isNumber(end.substr(point + 1));
}

// Removes the temporary files that no process is writing any more. Each is locked during its removal, so that
// no process starts to write it meanwhile.
void removeStaleTemporaries(const std::string& directory, const std::string& start) {
  for (const std::string& name : Files::entryNames(directory).value_or(std::vector<std::string>())) {
    if (!name.starts_with(start) || !isOurs(std::string_view(name).substr(start.size()))) {
      continue;
    }
    const std::string path = concat(directory, "/", name);
    const Descriptor file(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    if (const auto attributes = file.isOpen() ? file.attributes() : std::nullopt;
        attributes && attributes->isRegular && !isLocked(file)) {
      Files::removeFile(path);
    }
  }
}

}  // namespace

FileAttributes replace(const std::string& path, absl::FunctionRef<void(Output)> produce, Access access) {
  if (!canBePath(path)) {
    fail(ENOENT, "cannot replace ", path);
  }
  struct stat status {};
  const bool isThere = ::stat(path.c_str(), &status) == 0;
  if (isThere && !S_ISREG(status.st_mode)) {
    // Renaming over a device such as /dev/null, or over a link to one, would replace it by a regular file.
    fail(S_ISDIR(status.st_mode) ? EISDIR : ENOTSUP, "cannot replace ", path);
  }
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  removeStaleTemporaries(directory, temporaryStart(path).substr(slash + 1));

  const bool keepsMode = access == Access::usual && isThere;
  mode_t mode = access == Access::usual ? 0666 : 0600;
  if (keepsMode) {
    mode = static_cast<mode_t>(status.st_mode & 0777U);
  }
  Temporary temporary(path, mode);
  if (keepsMode) {
    temporary.setMode(mode);
  }
  produce([&](std::string_view bytes) { temporary.append(bytes); });
  return temporary.replaceTarget();
}

}  // namespace tallyfin::AtomicFile
