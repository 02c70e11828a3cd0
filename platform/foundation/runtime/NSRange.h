#pragma once

#include "foundation/runtime/NSObjCRuntime.h"

TELVO_NAMESPACE_BEGIN

// A run of UTF-16 units, bytes or elements.
struct NSRange {
  NSUInteger location = 0;
  NSUInteger length = 0;

  bool operator==(const NSRange&) const = default;
};

constexpr NSRange NSMakeRange(NSUInteger location, NSUInteger length) { return {location, length}; }
constexpr NSUInteger NSMaxRange(NSRange range) { return range.location + range.length; }

TELVO_NAMESPACE_END
