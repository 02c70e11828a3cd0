#pragma once

#include <string>

#include "foundation/runtime/NSObject.h"

using GVariant = struct _GVariant;

inline namespace telvo {

class NSDictionary;

// Property-list values as they travel over the bus:
//   text s, boolean b, signed integer x, unsigned integer t, real d, date (d) in seconds since 1970, data ay,
//   array av, dictionary a{sv}
// For .cpp files of the platform only.
namespace foundation {

// The text as the bus can carry it: what is no Unicode character, and NUL, becomes U+FFFD.
Ref<NSString> textForBus(const Ref<NSString>& text);
std::string UTF8ForBus(const Ref<NSString>& text);

// The dictionary as a{sv}, a floating reference; null when it is nested more deeply than the bus allows. Values that
// are no property list, and keys that are no text, are left out.
GVariant* variantFromDictionary(const Ref<NSDictionary>& dictionary);

// The dictionary in an a{sv}. Integers of every size are read; values of other types than those above are left out.
Ref<NSDictionary> dictionaryFromVariant(GVariant* variant);

}  // namespace foundation

}  // namespace telvo
