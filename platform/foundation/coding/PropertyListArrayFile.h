#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "foundation/files/FileIO.h"
#include "foundation/runtime/NSObject.h"

inline namespace telvo {

class NSString;

namespace foundation {

// A file with an array as a property list (XML), for an array that is saved again and again while it grows. What stands
// before the first change is copied from the last file by the system, so that a save costs what is new; and the text of
// a large array is never in memory as a whole. One thread at a time.
class PropertyListArrayFile {
 public:
  // The array's element at the index; nil for one that is left out.
  using Elements = std::function<id(std::size_t index)>;

  // Replaces the file in one step by one with `count` elements. False when it cannot be written or one of them is of no
  // property-list type; the old file stays then.
  TELVO_EXPORTED_TO_LAYERS bool save(const Ref<NSString>& path, std::size_t count, const Elements& elementAt);
  // The element at the index is not what it was when it was saved.
  TELVO_EXPORTED_TO_LAYERS void noteChange(std::size_t index);

 private:
  // The first elements, by their number, stand in the first `length` bytes of the file.
  struct Mark {
    std::size_t elements = 0;
    off_t length = 0;
  };
  class Output;

  bool write(const FileDescriptor& file, std::size_t count, const Elements& elementAt);
  Mark copyUnchanged(const FileDescriptor& file) const;
  bool isLastFileUnchanged() const;

  FileDescriptor last_;  // the file that was saved last
  struct stat lastStatus_ {};
  std::vector<Mark> marks_;  // of it, at every so many elements; only those that still hold
};

}  // namespace foundation

}  // namespace telvo
