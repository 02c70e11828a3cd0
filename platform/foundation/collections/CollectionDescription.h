#pragma once

#include <string>

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

namespace foundation {

// The text of a collection the way property lists are shown, nested collections indented by four spaces a level.
// Texts other than plain words stand in quotes with quotes, backslashes and control characters escaped, so two
// collections have the same description only when they hold the same texts. Inside itself, from a depth of 512 levels
// on, and as a key within eight keys, a collection is shown as "...".
std::u16string collectionDescription(const NSObject& collection);

}  // namespace foundation

}  // namespace telvo
