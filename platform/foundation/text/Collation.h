#pragma once

#include <string_view>

#include "foundation/runtime/NSObjCRuntime.h"

inline namespace telvo {

namespace foundation {

// The order of a file browser: letters the way the user's language sorts them, runs of digits by value, and only then
// by the texts themselves, so that only equal texts are the same (canonically equivalent ones are equal). The language
// is the one of LC_ALL, LC_COLLATE or LANG, the first that is set, read on every call; "C", "POSIX" and none of them
// give the order that is common to all languages. Any thread.
NSComparisonResult compareInFileBrowserOrder(std::u16string_view left, std::u16string_view right);

}  // namespace foundation

}  // namespace telvo
