#include "categories/NSArray+Telvo.h"
#include "categories/NSObject+Telvo.h"

NSUInteger telvo_indexOfObjectEquivalentTo(const Ref<NSArray>& array, const id& object) {
  if (!array) return NSNotFound;
  // The count is read afresh for each step: an element's description may shorten a mutable array.
  for (NSUInteger index = 0; index < array->count(); ++index) {
    const id element = array->objectAtIndex(index);
    if (telvo_isEquivalentTo(element, object)) return index;
  }
  return NSNotFound;
}

bool telvo_containsObjectEquivalentTo(const Ref<NSArray>& array, const id& object) {
  return telvo_indexOfObjectEquivalentTo(array, object) != NSNotFound;
}
