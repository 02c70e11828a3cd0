#pragma once

#include "foundation/NSObject.h"

// Extensions of every object.

// Two names for one test: whether the descriptions of both are equal, letter case ignored. So the number 5 and the
// text "5" are equivalent. Nil is equivalent to nothing.
bool telvo_isEquivalent(const id& object, const id& other);
bool telvo_isEquivalentTo(const id& object, const id& other);

// Calls the method with the array's elements as its arguments; its result is dropped. A method with another number of
// arguments is not called and a line is logged; the empty selector does nothing. A selector that the object does not
// respond to raises NSInvalidArgumentException.
void telvo_performSelector_withArguments(const id& object, SEL selector, const Ref<NSArray>& arguments);
