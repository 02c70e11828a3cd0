#pragma once

#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSString;

namespace streams {

// The name beside a file's own under which it is stored until it is complete: the same one in every run, so that what
// was left over is replaced, and never longer than file systems allow.
Ref<NSString> temporaryName(const Ref<NSString>& name);

}  // namespace streams

}  // namespace telvo
