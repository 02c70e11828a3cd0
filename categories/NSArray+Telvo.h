#pragma once

#include <functional>

#include "foundation/collections/NSArray.h"

TELVO_NAMESPACE_BEGIN

class NSEnumerator;

// Extensions of arrays. In a nil array nothing is found, so an index in it is NSNotFound; its copies are nil. Where an
// extension gives a new array, the receiver is left as it is. Threads: those of the arrays themselves.

// ---- Searching ----
// A value matches by key when the element's value for the key is equivalent to it (telvo_isEquivalentTo); elements that
// do not respond to "objectForKey:" are passed over. It matches by selector when the element's answer to the selector,
// sent without an argument, is equivalent to it; an element that does not respond raises NSInvalidArgumentException.

// Whether the index is below the count; a negative one, which arrives as a huge number, never is.
bool telvo_isValidIndex(const Ref<NSArray>& array, NSUInteger index);

// The first element that matches, or nil; its index, or NSNotFound.
id telvo_objectMatching_usingKey(const Ref<NSArray>& array, const id& value, const id& key);
NSUInteger telvo_indexOfObjectMatching_usingKey(const Ref<NSArray>& array, const id& value, const id& key);
id telvo_objectMatching_usingSelector(const Ref<NSArray>& array, const id& value, SEL selector);
// The first element that matches the value; else the last one that matches the default value; else, when orFirst is
// set, the first element; else nil.
id telvo_objectMatching_orDefault_orFirst_usingSelector(const Ref<NSArray>& array, const id& value,
                                                        const id& defaultValue, bool orFirst, SEL selector);
// The first element for which the test answers true, or nil. A test that sets `stop` is asked no more.
using TelvoElementTest = std::function<bool(const id& element, NSUInteger index, bool& stop)>;
id telvo_objectPassingTest(const Ref<NSArray>& array, const TelvoElementTest& test);

// All elements that match, in order.
Ref<NSMutableArray> telvo_arrayWithObjectsMatching_usingKey(const Ref<NSArray>& array, const id& value, const id& key);
Ref<NSMutableArray> telvo_arrayWithObjectsMatching_usingSelector(const Ref<NSArray>& array, const id& value,
                                                                 SEL selector);
// Each element's answer to the selector, in order; nil for an answer raises NSInvalidArgumentException.
Ref<NSMutableArray> telvo_arrayUsingSelector(const Ref<NSArray>& array, SEL selector);

// Whether the very same object is in the array.
bool telvo_containsObjectIdenticalTo(const Ref<NSArray>& array, const id& object);
// The lowest index of an element equivalent to the object (telvo_isEquivalentTo), or NSNotFound.
NSUInteger telvo_indexOfObjectEquivalentTo(const Ref<NSArray>& array, const id& object);
bool telvo_containsObjectEquivalentTo(const Ref<NSArray>& array, const id& object);
// The last element but one; nil when there are fewer than two.
id telvo_penultimateObject(const Ref<NSArray>& array);

// ---- Copies ----

// Without every element equal to the object, or to one in the other array.
Ref<NSMutableArray> telvo_arrayByRemovingObject(const Ref<NSArray>& array, const id& object);
Ref<NSMutableArray> telvo_arrayByRemovingObjectsInArray(const Ref<NSArray>& array, const Ref<NSArray>& others);
// An index out of bounds raises NSRangeException.
Ref<NSMutableArray> telvo_arrayByRemovingObjectAtIndex(const Ref<NSArray>& array, NSUInteger index);

Ref<NSMutableArray> telvo_reverseArray(const Ref<NSArray>& array);

// Texts in the order of a file browser (localizedStandardCompare); other elements raise NSInvalidArgumentException.
Ref<NSArray> telvo_sortedArrayUsingFinderOrder(const Ref<NSArray>& array);
// By the value of the key path, the way sort descriptors compare: values that have no order in common, such as a number
// and a text, raise NSInvalidArgumentException.
Ref<NSArray> telvo_sortedArrayUsingKey_ascending(const Ref<NSArray>& array, const Ref<NSString>& key, bool ascending);

// Each element copied in depth when it responds to the selector of the same name, else by its mutableCopy() when a
// mutable one is asked for and the class has one, else by its copy(). Elements that cannot be copied, and collections
// nested endlessly, raise NSInvalidArgumentException.
Ref<NSMutableArray> telvo_deepCopy(const Ref<NSArray>& array);
Ref<NSMutableArray> telvo_deepMutableCopy(const Ref<NSArray>& array);

// ---- Changing mutable arrays ----

// An index beyond the count stands for the end, or for the front when orEnd is not set.
void telvo_insertObject_atIndex_orEnd(const Ref<NSMutableArray>& array, const id& object, NSUInteger index, bool orEnd);
// The first object at the index and each next one behind it. An index beyond the count raises NSRangeException.
void telvo_insertObjectsFromArray_atIndex(const Ref<NSMutableArray>& array, const Ref<NSArray>& objects,
                                          NSUInteger index);
// Takes out the first element equal to each object and then puts all objects in front of the element that the index
// meant before that. Returns the index of the first of them; when it is beyond the last element, the objects are
// appended and their number is returned, not a position.
NSUInteger telvo_insertOrMoveObjectsFromArray_atIndex(const Ref<NSMutableArray>& array, const Ref<NSArray>& objects,
                                                      NSUInteger index);
// The same at the end; returns the number of objects.
NSUInteger telvo_addOrMoveObjectsFromArray(const Ref<NSMutableArray>& array, const Ref<NSArray>& objects);

// The elements at the enumerated numbers' integer values, in the enumerator's order. An index out of bounds raises
// NSRangeException.
Ref<NSMutableArray> telvo_arrayWithIndexEnumerator(const Ref<NSMutableArray>& array,
                                                   const Ref<NSEnumerator>& enumerator);
// Removes every element equal to one of those; equal elements at other indexes go too.
void telvo_removeObjectsFromIndexEnumerator(const Ref<NSMutableArray>& array, const Ref<NSEnumerator>& enumerator);
// Removes every element equal to one that matches by key.
void telvo_removeObjectsMatching_usingKey(const Ref<NSMutableArray>& array, const id& value, const id& key);

// Sends the selector to each element that the array has now; the elements may change the array meanwhile.
void telvo_makeObjectsSafelyPerformSelector(const Ref<NSMutableArray>& array, SEL selector);

// A queue takes in at the end and gives out at the front, a stack takes in and gives out at the end. Nil comes out of
// an empty one.
void telvo_enqueue(const Ref<NSMutableArray>& array, const id& object);
id telvo_dequeue(const Ref<NSMutableArray>& array);
void telvo_push(const Ref<NSMutableArray>& array, const id& object);
id telvo_pop(const Ref<NSMutableArray>& array);

TELVO_NAMESPACE_END
