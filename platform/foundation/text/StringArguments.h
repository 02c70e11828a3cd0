#pragma once

#include "foundation/runtime/NSRange.h"
#include "foundation/runtime/Ref.h"

inline namespace telvo {

class NSString;

// What the methods of NSString demand of what they are given. Both raise when it is something else.
namespace foundation {

void requireText(const Ref<NSString>& text);
void requireRange(NSRange range, NSUInteger length);

}  // namespace foundation

}  // namespace telvo
