#pragma once

#include <string_view>

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

class NSDictionary;

namespace foundation {

// The texts of a ".strings" file, by key:
//   /* What the button does */
//   "Upload" = "Hochladen";
// Keys and values may do without quotation marks where they hold nothing but letters, digits and _ $ : . / -; a key
// without a value stands for itself. Escapes: \n and the like, \" \\, \Uxxxx, up to three octal digits. The bytes are
// UTF-8, or UTF-16 with a byte order mark. Nil when they are not such a file.
Ref<NSDictionary> stringTableFromBytes(std::string_view bytes);

}  // namespace foundation

}  // namespace telvo
