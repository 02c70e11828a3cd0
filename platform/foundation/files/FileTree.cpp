#include "foundation/files/FileTree.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/files/FileIO.h"

inline namespace telvo {

namespace {

using foundation::FileDescriptor;
using foundation::FileTreeFailure;
using foundation::permissionBits;
using Failure = std::optional<FileTreeFailure>;

Failure failure(const std::string& path, int code = errno) { return FileTreeFailure{code, path, false}; }
Failure readFailure(const std::string& path, int code = errno) { return FileTreeFailure{code, path, true}; }

std::string joined(const std::string& folder, const std::string& name) {
  if (folder.empty()) return name;
  return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

bool isSameItem(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// A folder on the way down a tree: what is still to be done in it.
struct OpenFolder {
  std::string path;
  std::vector<std::string> names;  // in reverse order
  bool listed = true;
};

OpenFolder opened(std::string path, std::vector<std::string> names) {
  std::ranges::reverse(names);
  return {std::move(path), std::move(names), true};
}

// Whether the folder that is to hold a new item is the given folder or lies in it.
bool liesWithin(const std::string& folder, const struct stat& ancestor) {
  FileDescriptor at = foundation::openFile(folder, O_PATH | O_DIRECTORY);
  struct stat status {};
  while (at && fstat(at.get(), &status) == 0) {
    if (isSameItem(status, ancestor)) return true;
    FileDescriptor above(openat(at.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat statusAbove {};
    if (!above || fstat(above.get(), &statusAbove) != 0 || isSameItem(status, statusAbove)) return false;
    at = std::move(above);
  }
  return false;
}

// One copy of a tree, made item by item; what it has made is removed unless all of it could be made.
class TreeCopy {
 public:
  explicit TreeCopy(std::string destination) : destination_(std::move(destination)) {}

  Failure run(const std::string& source) {
    struct stat status {};
    if (lstat(source.c_str(), &status) != 0) return readFailure(source);
    if (S_ISDIR(status.st_mode) && liesWithin(foundation::parentOf(destination_), status))
      return failure(destination_, EINVAL);
    Failure reason = copyItem(source, destination_);
    while (!reason && !folders_.empty()) reason = step();
    if (reason && made_) foundation::removeTree(destination_);
    if (!reason) finishFolders();
    return reason;
  }

 private:
  struct Folder {
    OpenFolder source;
    std::string destination;
    struct stat status;
  };

  Failure step() {
    Folder& folder = folders_.back();
    if (folder.source.names.empty()) {
      finished_.push_back(std::move(folder));
      folders_.pop_back();
      return {};
    }
    const std::string name = std::move(folder.source.names.back());
    folder.source.names.pop_back();
    return copyItem(joined(folder.source.path, name), joined(folder.destination, name));
  }

  Failure copyItem(const std::string& source, const std::string& destination) {
    struct stat status {};
    if (lstat(source.c_str(), &status) != 0) return readFailure(source);
    switch (status.st_mode & S_IFMT) {
      case S_IFREG:
        return copyFile(source, destination);
      case S_IFDIR:
        return beginFolder(source, destination, status);
      case S_IFLNK:
        return copyLink(source, destination, status);
      default:
        return copySpecialFile(destination, status);
    }
  }

  Failure beginFolder(const std::string& source, const std::string& destination, const struct stat& status) {
    auto names = foundation::namesInDirectory(source);
    if (!names) return readFailure(source);
    if (mkdir(destination.c_str(), S_IRWXU) != 0) return failure(destination);
    made_ = true;
    folders_.push_back({opened(source, std::move(*names)), destination, status});
    return {};
  }

  // Last of all: contents need their folder writable and change its date, and so would removing a failed copy.
  void finishFolders() {
    for (const Folder& folder : finished_) keepDates(folder.destination, folder.status);
    for (const Folder& folder : finished_) chmod(folder.destination.c_str(), folder.status.st_mode & permissionBits);
  }

  static void keepDates(const std::string& item, const struct stat& status) {
    const timespec times[] = {status.st_atim, status.st_mtim};
    utimensat(AT_FDCWD, item.c_str(), times, AT_SYMLINK_NOFOLLOW);
  }

  Failure copyFile(const std::string& source, const std::string& destination) {
    const FileDescriptor from = foundation::openFile(source, O_RDONLY | O_NOFOLLOW);
    struct stat status {};
    if (!from || fstat(from.get(), &status) != 0) return readFailure(source);
    if (!S_ISREG(status.st_mode)) return readFailure(source, EINVAL);
    FileDescriptor to = foundation::openFile(destination, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
    if (!to) return failure(destination);
    made_ = true;
    if (!copyBytes(from, to)) return failure(destination);
    fchmod(to.get(), status.st_mode & permissionBits);
    const timespec times[] = {status.st_atim, status.st_mtim};
    futimens(to.get(), times);
    return to.close() ? Failure() : failure(destination);
  }

  Failure copyLink(const std::string& source, const std::string& destination, const struct stat& status) {
    constexpr std::size_t longestTarget = 4096;
    std::string target(longestTarget, '\0');
    const ssize_t length = readlink(source.c_str(), target.data(), target.size());
    if (length < 0) return readFailure(source);
    target.resize(static_cast<std::size_t>(length));
    if (symlink(target.c_str(), destination.c_str()) != 0) return failure(destination);
    made_ = true;
    keepDates(destination, status);
    return {};
  }

  Failure copySpecialFile(const std::string& destination, const struct stat& status) {
    if (mknod(destination.c_str(), status.st_mode & (S_IFMT | S_IRUSR | S_IWUSR), status.st_rdev) != 0) {
      return failure(destination);
    }
    made_ = true;
    chmod(destination.c_str(), status.st_mode & permissionBits);
    keepDates(destination, status);
    return {};
  }

  // In the kernel where it can, which also shares blocks on file systems that do.
  static bool copyBytes(const FileDescriptor& from, const FileDescriptor& to) {
    constexpr std::size_t atOnce = std::size_t{1} << 30U;
    while (true) {
      const ssize_t count = copy_file_range(from.get(), nullptr, to.get(), nullptr, atOnce, 0);
      if (count > 0 || (count < 0 && errno == EINTR)) continue;
      // 0 is the end, but also what files without a size of their own (in /proc) give from the beginning.
      const bool unsupported = errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
      return (count == 0 || unsupported) && copyRemainingBytes(from, to);
    }
  }

  static bool copyRemainingBytes(const FileDescriptor& from, const FileDescriptor& to) {
    constexpr std::size_t blockSize = 256U * 1024U;
    std::vector<char> buffer(blockSize);
    while (true) {
      const ssize_t count = read(from.get(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return count == 0;
      if (!foundation::writeAll(to, {buffer.data(), static_cast<std::size_t>(count)})) return false;
    }
  }

  std::string destination_;
  std::vector<Folder> folders_;   // on the way down
  std::vector<Folder> finished_;  // with all their contents
  bool made_ = false;             // something of the copy exists
};

// rename(2) that never replaces anything.
bool renameExclusively(const std::string& source, const std::string& destination) {
  if (renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system without that flag, or a folder that was to move into itself, which plain rename refuses as well.
  struct stat status {};
  if (lstat(destination.c_str(), &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(source.c_str(), destination.c_str()) == 0;
}

Failure moveToOtherFileSystem(const std::string& source, const std::string& destination) {
  // Asked first: a source that cannot be removed afterwards would leave a second copy.
  if (faccessat(AT_FDCWD, foundation::parentOf(source).c_str(), W_OK | X_OK, AT_EACCESS) != 0) return failure(source);
  if (Failure reason = foundation::copyTree(source, destination)) return reason;
  return foundation::removeTree(source);
}

}  // namespace

namespace foundation {

std::optional<std::vector<std::string>> pathsBelow(const std::string& folder) {
  auto names = namesInDirectory(folder);
  if (!names) return std::nullopt;
  std::vector<std::string> paths;
  std::vector<OpenFolder> folders;
  folders.push_back(opened("", std::move(*names)));
  while (!folders.empty()) {
    if (folders.back().names.empty()) {
      folders.pop_back();
      continue;
    }
    std::string path = joined(folders.back().path, folders.back().names.back());
    folders.back().names.pop_back();
    const std::string fullPath = joined(folder, path);
    paths.push_back(path);
    if (!isFolder(fullPath)) continue;
    if (auto below = namesInDirectory(fullPath)) folders.push_back(opened(std::move(path), std::move(*below)));
  }
  return paths;
}

std::optional<FileTreeFailure> removeTree(const std::string& path) {
  const std::string root = withoutTrailingSlashes(path);
  if (!isFolder(root)) return unlink(root.c_str()) == 0 ? Failure() : failure(root);
  std::vector<OpenFolder> folders;
  folders.push_back({root, {}, false});
  while (!folders.empty()) {
    OpenFolder& folder = folders.back();
    if (!folder.names.empty()) {
      std::string item = joined(folder.path, folder.names.back());
      folder.names.pop_back();
      if (isFolder(item)) {
        folders.push_back({std::move(item), {}, false});
      } else if (unlink(item.c_str()) != 0 && errno != ENOENT) {
        return failure(item);
      }
      continue;
    }
    // Tried empty before it is listed: an empty folder can be removed without permission to list it.
    if (rmdir(folder.path.c_str()) == 0) {
      folders.pop_back();
      continue;
    }
    if (folder.listed || (errno != ENOTEMPTY && errno != EEXIST)) return failure(folder.path);
    auto names = namesInDirectory(folder.path);
    if (!names) return failure(folder.path);
    folder.names = std::move(*names);
    folder.listed = true;
  }
  return {};
}

std::optional<FileTreeFailure> copyTree(const std::string& source, const std::string& destination) {
  return TreeCopy(withoutTrailingSlashes(destination)).run(withoutTrailingSlashes(source));
}

std::optional<FileTreeFailure> moveTree(const std::string& source, const std::string& destination) {
  const std::string from = withoutTrailingSlashes(source);
  const std::string to = withoutTrailingSlashes(destination);
  if (renameExclusively(from, to)) return {};
  if (errno == EXDEV) return moveToOtherFileSystem(from, to);
  // The system does not say which of the two it means.
  const int code = errno;
  struct stat status {};
  return failure(code == ENOENT && lstat(from.c_str(), &status) != 0 ? from : to, code);
}

}  // namespace foundation

}  // namespace telvo
