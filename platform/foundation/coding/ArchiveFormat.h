#pragma once

#include <cstddef>

#include "foundation/text/NSString.h"

inline namespace telvo {

// What writer and reader of keyed archives share: the property list that an archive is.
namespace foundation {

// The archive itself is a dictionary.
inline const Ref<NSString>& archiveVersionKey() { return "$version"_ns; }
inline const Ref<NSString>& archiveArchiverKey() { return "$archiver"_ns; }
inline const Ref<NSString>& archiveTopKey() { return "$top"_ns; }          // values by key, references to objects
inline const Ref<NSString>& archiveObjectsKey() { return "$objects"_ns; }  // an array; a reference is an index into it
inline constexpr NSInteger archiveVersion = 100000;
inline const Ref<NSString>& archiveArchiver() { return "NSKeyedArchiver"_ns; }
inline const Ref<NSString>& archiveNullEntry() { return "$null"_ns; }  // the first object, which stands for nil

// An object is a dictionary of its values and of a reference to its class.
inline const Ref<NSString>& archiveClassKey() { return "$class"_ns; }

// A class is a dictionary of its name and the names of itself and its superclasses.
inline const Ref<NSString>& archiveClassNameKey() { return "$classname"_ns; }
inline const Ref<NSString>& archiveClassesKey() { return "$classes"_ns; }
// And, of some writers, the names of classes to be taken when the first one is not known.
inline const Ref<NSString>& archiveClassHintsKey() { return "$classhints"_ns; }

// An object's own key as it stands in the archive: one that begins with "$" gets another one.
inline Ref<NSString> archiveKey(const Ref<NSString>& key) {
  return key && key->hasPrefix("$"_ns) ? "$"_ns->stringByAppendingString(key) : key;
}

// Objects within each other; bounds the recursion on both sides.
inline constexpr std::size_t archiveMaximumDepth = 512;

}  // namespace foundation

}  // namespace telvo
