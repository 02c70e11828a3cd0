#include "foundation/files/FileIO.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/collections/NSDictionary.h"
#include "foundation/errors/NSError.h"
#include "foundation/files/FileReplacement.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

bool isDotName(const char* name) { return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0; }

// Where the bytes really go: the target of a link, so that replacing the file does not replace the link.
std::string withoutLinks(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), &std::free);
  return resolved ? std::string(resolved.get()) : path;
}

// False with errno set.
bool isRegular(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return true;
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return false;
}

// False with errno set.
bool passes(const foundation::Checkpoint& checkpoint) {
  if (!checkpoint || checkpoint()) return true;
  errno = ECANCELED;
  return false;
}

constexpr std::string_view temporaryPrefix = ".tmp-";

// A new file in the folder under a name of its own, locked for as long as it is open, and gone with this object unless
// it has been moved. Its name is short, so that it fits wherever the final one does.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& folder, unsigned permissions) {
    static std::atomic<unsigned> counter{0};
    constexpr int attempts = 1000;
    for (int attempt = 0; attempt < attempts; ++attempt) {
      path_ = folder + "/";
      path_.append(temporaryPrefix).append(std::to_string(getpid())).append("-").append(std::to_string(counter++));
      file_ = foundation::openFile(path_, O_WRONLY | O_CREAT | O_EXCL, permissions);
      if (file_) flock(file_.get(), LOCK_EX | LOCK_NB);
      if (file_ || errno != EEXIST) break;
    }
    isThere_ = static_cast<bool>(file_);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!isThere_) return;
    const int reason = errno;
    unlink(path_.c_str());
    errno = reason;
  }

  // Not there, with errno set, when it could not be made.
  const foundation::FileDescriptor& file() const { return file_; }

  bool moveTo(const std::string& target) {
    const bool isMoved = file_.close() && std::rename(path_.c_str(), target.c_str()) == 0;
    if (isMoved) isThere_ = false;
    return isMoved;
  }

 private:
  std::string path_;
  foundation::FileDescriptor file_;
  bool isThere_ = false;
};

// Whether the name of a temporary file has the id of a process that has gone. The lock alone would not tell a file that
// was made a moment ago and is about to be locked.
bool isOfNoProcess(std::string_view name) {
  pid_t process = 0;
  name.remove_prefix(temporaryPrefix.size());
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
  return error == std::errc() && end != name.data() + name.size() && *end == '-' && process > 0 &&
         kill(process, 0) != 0 && errno == ESRCH;
}

bool writeInPlace(const std::string& path, std::string_view bytes, unsigned permissions) {
  auto file = foundation::openFile(path, O_WRONLY | O_CREAT | O_TRUNC, permissions);
  return file && writeAll(file, bytes) && file.close();
}

Ref<NSError> fileError(NSInteger cocoaCode, int code, const Ref<NSString>& path) {
  const Ref<NSError> underlying = NSError::errorWithPOSIXCode(code);
  const auto userInfo = NSMutableDictionary::dictionary();
  userInfo->setObject_forKey(underlying, NSUnderlyingErrorKey());
  userInfo->setObject_forKey(
      NSString::stringWithFormat("%@: %@"_ns, path ? path : ""_ns, underlying->localizedDescription()),
      NSLocalizedDescriptionKey());
  if (path) userInfo->setObject_forKey(path, NSFilePathErrorKey());
  return NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain(), cocoaCode, as<NSDictionary>(userInfo->copy()));
}

}  // namespace

namespace foundation {

FileDescriptor::~FileDescriptor() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool FileDescriptor::close() noexcept { return ::close(std::exchange(descriptor_, -1)) == 0; }

std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

std::optional<std::string> systemPath(const Ref<NSString>& path) {
  if (!path || path->units().find(u'\0') != std::u16string_view::npos) {
    errno = EINVAL;
    return std::nullopt;
  }
  return path->fileSystemRepresentation();
}

FileDescriptor openFile(const std::string& path, int flags, unsigned mode) {
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  } while (descriptor < 0 && errno == EINTR);
  return FileDescriptor(descriptor);
}

FileDescriptor openRegularFile(const std::string& path, int flags, unsigned mode, const Checkpoint& checkpoint) {
  constexpr auto pause = std::chrono::milliseconds(10);
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && !isRegular(status)) return FileDescriptor();
  FileDescriptor file = openFile(path, flags, mode);
  while (!file && errno == EWOULDBLOCK) {
    std::this_thread::sleep_for(pause);
    if (!passes(checkpoint)) return FileDescriptor();
    file = openFile(path, flags, mode);
  }
  // Another file may have taken the name since.
  if (file && (fstat(file.get(), &status) != 0 || !isRegular(status))) return FileDescriptor();
  return file;
}

std::optional<std::vector<std::string>> namesInDirectory(const std::string& path, const Checkpoint& checkpoint) {
  constexpr std::size_t often = 256;
  const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(path.c_str()));
  if (!directory) return std::nullopt;
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = readdir(directory.get())) {
    if (!isDotName(entry->d_name)) names.emplace_back(entry->d_name);
    if (names.size() % often == 0 && !passes(checkpoint)) return std::nullopt;
    errno = 0;
  }
  if (errno != 0) return std::nullopt;
  return names;
}

std::optional<std::string> contentsOfFile(const std::string& path, std::size_t limit) {
  const auto file = openRegularFile(path, O_RDONLY);
  return file ? contentsOfFile(file, limit) : std::nullopt;
}

std::optional<std::string> contentsOfFile(const FileDescriptor& file, std::size_t limit) try {
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !isRegular(status)) return std::nullopt;
  // Read until the end rather than up to the size: the file may grow or shrink, and files in /proc have no size.
  constexpr std::size_t smallestBlock = 4096;
  std::string bytes(std::min(limit, static_cast<std::size_t>(status.st_size) + 1), '\0');
  std::size_t length = 0;
  while (length < limit) {
    if (length == bytes.size()) bytes.resize(std::min(limit, std::max(smallestBlock, length * 2)));
    const ssize_t count = ::read(file.get(), bytes.data() + length, bytes.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  bytes.resize(length);
  return bytes;
} catch (const std::bad_alloc&) {
  errno = ENOMEM;
  return std::nullopt;
} catch (const std::length_error&) {
  errno = EFBIG;
  return std::nullopt;
}

bool rewriteRegularFile(const std::string& path, std::string_view bytes, const Checkpoint& checkpoint) {
  constexpr unsigned everybody = 0666;
  // Emptied only when it has shown what it is.
  auto file = openRegularFile(path, O_WRONLY | O_CREAT, everybody, checkpoint);
  return file && ftruncate(file.get(), 0) == 0 && writeAll(file, bytes) && file.close();
}

bool writeAll(const FileDescriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool writeFile(const std::string& path, std::string_view bytes, bool atomically, unsigned permissions) {
  if (!atomically) return writeInPlace(path, bytes, permissions);
  return replaceFile(path, permissions, [&](const FileDescriptor& file) { return writeAll(file, bytes); });
}

bool replaceFile(const std::string& path, unsigned permissions, const FileWriter& write) {
  const std::string target = withoutLinks(path);
  struct stat old {};
  const bool replaces = stat(target.c_str(), &old) == 0;
  if (replaces && !isRegular(old)) return false;
  TemporaryFile temporary(parentOf(target), permissions);
  const FileDescriptor& file = temporary.file();
  return file && write(file) && (!replaces || fchmod(file.get(), old.st_mode & permissionBits) == 0) &&
         fsync(file.get()) == 0 && temporary.moveTo(target);
}

void removeStaleTemporaryFiles(const std::string& folder) {
  const auto names = namesInDirectory(folder);
  if (!names) return;
  for (const std::string& name : *names) {
    if (!name.starts_with(temporaryPrefix) || !isOfNoProcess(name)) continue;
    const std::string path = folder + "/" + name;
    const FileDescriptor file = openRegularFile(path, O_RDONLY | O_NOFOLLOW);
    if (file && flock(file.get(), LOCK_EX | LOCK_NB) == 0) unlink(path.c_str());
  }
}

Ref<NSError> readError(int code, const Ref<NSString>& path) {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
      return fileError(NSFileReadNoSuchFileError, code, path);
    case EACCES:
    case EPERM:
      return fileError(NSFileReadNoPermissionError, code, path);
    case EINVAL:
    case ENAMETOOLONG:
      return fileError(NSFileReadInvalidFileNameError, code, path);
    case EFBIG:
    case ENOMEM:
      return fileError(NSFileReadTooLargeError, code, path);
    default:
      return fileError(NSFileReadUnknownError, code, path);
  }
}

Ref<NSError> writeError(int code, const Ref<NSString>& path) {
  switch (code) {
    case ENOENT:
    case ENOTDIR:
      return fileError(NSFileNoSuchFileError, code, path);
    case EACCES:
    case EPERM:
      return fileError(NSFileWriteNoPermissionError, code, path);
    case EEXIST:
    case ENOTEMPTY:
      return fileError(NSFileWriteFileExistsError, code, path);
    case ENOSPC:
    case EDQUOT:
      return fileError(NSFileWriteOutOfSpaceError, code, path);
    case EROFS:
      return fileError(NSFileWriteVolumeReadOnlyError, code, path);
    case ENAMETOOLONG:
      return fileError(NSFileWriteInvalidFileNameError, code, path);
    default:
      return fileError(NSFileWriteUnknownError, code, path);
  }
}

}  // namespace foundation

}  // namespace telvo
