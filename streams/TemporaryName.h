#pragma once

#include <string>

#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSString;

namespace streams {

// The name beside a file's own under which it is stored until it is complete, never longer than file systems allow.
// With the text of a RunIdentity in it, two uploads at a time do not write into each other's file, and what an earlier
// run of the same upload has left over is replaced.
Ref<NSString> temporaryName(const Ref<NSString>& name, const std::string& runIdentity);

}  // namespace streams

}  // namespace telvo
