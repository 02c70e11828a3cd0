#pragma once

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

// Equality and hash of arrays, dictionaries and sets by what they hold, through all that is nested in them: as deep as
// it may be, held many times over, or holding itself.
namespace foundation {

// Both are collections. Two that hold themselves are equal when nothing tells them apart. Time linear in what is
// nested in the smaller one. Raises NSInvalidArgumentException for sets that hold hundreds of levels of other
// collections alike.
bool equalCollections(const NSObject& left, const NSObject& right);

// Equal collections have equal hashes. Takes in everything that a small collection holds, nested ones included; of
// large and of deeply nested collections only a part.
NSUInteger hashOfCollection(const NSObject& collection);

}  // namespace foundation

}  // namespace telvo
