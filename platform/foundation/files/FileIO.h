#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/events/Checkpoint.h"
#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSError;
class NSString;

// The file system as the platform layer's own classes use it: bytes and errno. Any thread.
namespace foundation {

// An open file, closed with its owner.
class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  TELVO_EXPORTED_TO_LAYERS ~FileDescriptor();

  int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  // Closes now. False, with errno set, when the system reports a failed write only then.
  bool close() noexcept;

 private:
  int descriptor_ = -1;
};

// The bits of a mode that chmod(2) sets.
inline constexpr unsigned permissionBits = 07777;

// The folder that the item is in: "." for a name alone, "/" for what lies in the root.
std::string parentOf(const std::string& path);

// The path as the system takes it. Nothing, with errno set, for nil and for text with a NUL in it, which the system
// would take for a shorter path.
std::optional<std::string> systemPath(const Ref<NSString>& path);

// open(2), close-on-exec. Never waits for the other side of a FIFO.
FileDescriptor openFile(const std::string& path, int flags, unsigned mode = 0);

// The same for a regular file; anything else is not even opened, since that alone makes some devices do something, and
// errno is EINVAL or EISDIR then. While another program holds a lease on the file, the system asks that program to give
// it up, and this waits for it, up to the system's own limit; a checkpoint that gives the wait up leaves ECANCELED.
FileDescriptor openRegularFile(const std::string& path, int flags, unsigned mode = 0,
                               const Checkpoint& checkpoint = nullptr);

// The names in a folder in the file system's order, without "." and "..". Nothing, with errno set, when the folder
// cannot be read to its end, or when the checkpoint, which is passed often, gives it up (ECANCELED).
std::optional<std::vector<std::string>> namesInDirectory(const std::string& path,
                                                         const Checkpoint& checkpoint = nullptr);

// The content of a regular file, at most `limit` bytes of it. Nothing, with errno set, for anything else.
TELVO_EXPORTED_TO_LAYERS std::optional<std::string> contentsOfFile(const std::string& path,
                                                                   std::size_t limit = std::string::npos);
std::optional<std::string> contentsOfFile(const FileDescriptor& file, std::size_t limit = std::string::npos);

// Puts the bytes in the place of a regular file's content, or of a new file's. False with errno set; anything but a
// regular file is left alone.
bool rewriteRegularFile(const std::string& path, std::string_view bytes, const Checkpoint& checkpoint = nullptr);

// All of the bytes to an open file. False with errno set.
bool writeAll(const FileDescriptor& file, std::string_view bytes);

// Writes the file in place, or through a file beside it that takes its place, permissions included, once it is
// complete and on the disk; a link stays a link. The permissions are for a new file, as far as the process's mask lets
// them. False with errno set; a failed atomic write leaves the old file.
bool writeFile(const std::string& path, std::string_view bytes, bool atomically, unsigned permissions = 0666);

// Removes from the folder what atomic writes have left there of which the process was killed.
void removeStaleTemporaryFiles(const std::string& folder);

// An errno value as the platform's error, with the path and the errno value inside.
Ref<NSError> readError(int code, const Ref<NSString>& path);
Ref<NSError> writeError(int code, const Ref<NSString>& path);

}  // namespace foundation

}  // namespace telvo
