#pragma once

#include <vector>

#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

// What the platform's for-in loop goes through, as it is now: the elements of an array, the members of a set, the keys
// of a dictionary, the rest of an enumerator. Nothing for nil and for other objects.
std::vector<id> NSFastEnumeration(const id& collection);

TELVO_NAMESPACE_END
