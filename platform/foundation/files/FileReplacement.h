#pragma once

#include <functional>
#include <string>

#include "foundation/files/FileIO.h"

inline namespace telvo {

namespace foundation {

// What to do with the new file, which is empty and open for writing. False, with errno set, gives it up.
using FileWriter = std::function<bool(const FileDescriptor& file)>;

// Puts a new file in the place of the old one in one step, permissions included, once it is complete and on the disk; a
// link stays a link. The permissions are for where there is no old one, as far as the process's mask lets them. False,
// with errno set, leaves the old file, as it does what is no regular file. Any thread.
bool replaceFile(const std::string& path, unsigned permissions, const FileWriter& write);

}  // namespace foundation

}  // namespace telvo
