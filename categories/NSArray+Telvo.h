#pragma once

#include "foundation/NSArray.h"

// Extensions of arrays. A nil array answers as an empty one.

// The lowest index of an element equivalent to the object (telvo_isEquivalentTo), or NSNotFound.
NSUInteger telvo_indexOfObjectEquivalentTo(const Ref<NSArray>& array, const id& object);
bool telvo_containsObjectEquivalentTo(const Ref<NSArray>& array, const id& object);
