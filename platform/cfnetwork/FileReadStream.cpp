#include "cfnetwork/FileReadStream.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/errors/NSError.h"

inline namespace telvo {

Class FileReadStream::classObject() {
  static const NSClass object("FileReadStream", NSInputStream::classObject(), {});
  return &object;
}

// 0, or the errno value of what stands in the way.
int FileReadStream::openFile() {
  if (path_.find('\0') != std::string::npos) return EINVAL;
  const auto isReadable = [](const struct stat& status) { return S_ISREG(status.st_mode) || S_ISDIR(status.st_mode); };
  struct stat status {};
  // Asked before the file is opened, since opening alone makes some devices do something; and again afterwards, since
  // another file may have taken the name.
  if (::stat(path_.c_str(), &status) != 0) return errno;
  if (!isReadable(status)) return EOPNOTSUPP;
  // Nothing is read of a folder, and one that may not be read is made on the server all the same.
  file_ = foundation::openFile(path_, S_ISDIR(status.st_mode) ? O_PATH : O_RDONLY);
  if (!file_ || ::fstat(file_.get(), &status) != 0) return errno;
  if (!isReadable(status)) return EOPNOTSUPP;
  isFolder_ = S_ISDIR(status.st_mode);
  if (isFolder_) return 0;
  [[maybe_unused]] const int advised = ::posix_fadvise(file_.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
  return 0;
}

void FileReadStream::open() {
  if (streamStatus() != NSStreamStatusNotOpen) return;
  if (const int error = openFile(); error != 0) {
    file_.close();
    return fail(NSError::errorWithPOSIXCode(error));
  }
  setStatus(NSStreamStatusOpen);
  signal(NSStreamEventOpenCompleted);
  signal(NSStreamEventHasBytesAvailable);
}

void FileReadStream::close() {
  file_.close();
  cancelAllEvents();
  setStatus(NSStreamStatusClosed);
}

bool FileReadStream::hasBytesAvailable() const { return file_ && streamStatus() == NSStreamStatusOpen; }

int FileReadStream::fileDescriptor() const { return hasBytesAvailable() && !isFolder_ ? file_.get() : -1; }

NSInteger FileReadStream::read_maxLength(std::uint8_t* buffer, NSUInteger length) {
  if (!file_) return -1;
  if (streamStatus() == NSStreamStatusAtEnd || length == 0) return 0;
  ssize_t size = 0;
  if (!isFolder_) {
    do {
      size = ::read(file_.get(), buffer, length);
    } while (size < 0 && errno == EINTR);
  }
  if (size < 0) {
    fail(NSError::errorWithPOSIXCode(errno));
  } else if (size == 0) {
    setStatus(NSStreamStatusAtEnd);
    signal(NSStreamEventEndEncountered);
  }
  return size;
}

}  // namespace telvo
