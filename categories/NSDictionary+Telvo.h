#pragma once

#include "foundation/NSDictionary.h"

// Extensions of dictionaries. A nil dictionary answers as an empty one.

// True for a value whose description begins with an integer other than 0, or is "yes" in any letter case. "true" is
// not taken for true.
bool telvo_boolForKey(const Ref<NSDictionary>& dictionary, const id& key);
