#include "foundation/coding/PropertyListArrayFile.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "foundation/coding/NSPropertyList.h"
#include "foundation/coding/PropertyListCoding.h"
#include "foundation/collections/NSArray.h"
#include "foundation/files/FileReplacement.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace foundation {

namespace {

constexpr unsigned everybody = 0666;
constexpr std::size_t elementsBetweenMarks = 256;

bool isSameState(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino && left.st_size == right.st_size &&
         left.st_mtim.tv_sec == right.st_mtim.tv_sec && left.st_mtim.tv_nsec == right.st_mtim.tv_nsec;
}

// Copies the first `length` bytes of one file to another. Some file systems cannot.
bool copyBeginning(const FileDescriptor& from, const FileDescriptor& to, off_t length) {
  off_t offset = 0;
  while (offset < length) {
    const ssize_t copied =
        copy_file_range(from.get(), &offset, to.get(), nullptr, static_cast<std::size_t>(length - offset), 0);
    if (copied < 0 && errno == EINTR) continue;
    if (copied <= 0) return false;
  }
  return true;
}

}  // namespace

// Gathers text into writes of a good size, and counts it.
class PropertyListArrayFile::Output {
 public:
  Output(const FileDescriptor& file, off_t length) : file_(file), length_(length) {}

  bool append(std::string_view text) {
    constexpr std::size_t goodSize = 256 << 10;
    length_ += static_cast<off_t>(text.size());
    gathered_ += text;
    return gathered_.size() < goodSize || flush();
  }
  bool flush() {
    const bool isWritten = writeAll(file_, gathered_);
    gathered_.clear();
    return isWritten;
  }
  // With what is not in the file yet.
  off_t length() const { return length_; }

 private:
  const FileDescriptor& file_;
  std::string gathered_;
  off_t length_;
};

bool PropertyListArrayFile::save(const Ref<NSString>& path, std::size_t count, const Elements& elementAt) try {
  const auto name = systemPath(path);
  struct stat written {};
  const bool isSaved = name && replaceFile(*name, everybody, [&](const FileDescriptor& file) {
                         return write(file, count, elementAt) && fstat(file.get(), &written) == 0;
                       });
  if (!isSaved) marks_.clear();
  last_ = isSaved && !marks_.empty() ? openRegularFile(*name, O_RDONLY) : FileDescriptor();
  lastStatus_ = written;
  return isSaved;
} catch (const PropertyListFailure&) {
  // Perhaps the other format can hold it.
  marks_.clear();
  const auto array = NSMutableArray::arrayWithCapacity(count);
  for (std::size_t index = 0; index < count; ++index) {
    if (const id element = elementAt(index)) array->addObject(element);
  }
  return writePropertyList(array, path, true);
}

void PropertyListArrayFile::noteChange(std::size_t index) {
  while (!marks_.empty() && marks_.back().elements > index) marks_.pop_back();
}

bool PropertyListArrayFile::write(const FileDescriptor& file, std::size_t count, const Elements& elementAt) {
  const Mark unchanged = copyUnchanged(file);
  Output output(file, unchanged.length);
  bool isEmpty = unchanged.elements == 0;
  std::vector<Mark> marks(marks_.begin(), std::ranges::find_if(marks_, [&](const Mark& mark) {
                            return mark.elements >= unchanged.elements;
                          }));
  for (std::size_t index = unchanged.elements; index < count; ++index) {
    if (index % elementsBetweenMarks == 0 && !isEmpty) marks.push_back({index, output.length()});
    const id element = elementAt(index);
    if (!element) continue;
    if (std::exchange(isEmpty, false) && !output.append(XMLArrayBeginning())) return false;
    if (!output.append(XMLArrayElement(element))) return false;
  }
  marks_ = std::move(marks);
  if (isEmpty) return writeAll(file, XMLFromPropertyList(NSArray::array()));
  return output.append(XMLArrayEnd()) && output.flush();
}

// The beginning of the last file, as far as it still holds; nothing of it when it cannot be copied.
PropertyListArrayFile::Mark PropertyListArrayFile::copyUnchanged(const FileDescriptor& file) const {
  if (marks_.empty() || !isLastFileUnchanged()) return {};
  const Mark last = marks_.back();
  if (copyBeginning(last_, file, last.length)) return last;
  const bool isEmptied = ftruncate(file.get(), 0) == 0 && lseek(file.get(), 0, SEEK_SET) == 0;
  if (!isEmptied) throw PropertyListFailure("the file cannot be written");
  return {};
}

// Another program may have written into it, or have replaced it before it was opened again.
bool PropertyListArrayFile::isLastFileUnchanged() const {
  struct stat status {};
  return last_ && fstat(last_.get(), &status) == 0 && isSameState(status, lastStatus_);
}

}  // namespace foundation

}  // namespace telvo
