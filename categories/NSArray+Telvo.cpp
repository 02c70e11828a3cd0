#include "categories/DeepCopy.h"
#include "categories/NSArray+Telvo.h"
#include "categories/NSObject+Telvo.h"
#include "foundation/collections/NSEnumerator.h"
#include "foundation/collections/NSSortDescriptor.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

using ElementPredicate = std::function<bool(const id&)>;

// The count is read afresh for each step: an element's description or answer may shorten a mutable array.
NSUInteger indexOfFirst(const Ref<NSArray>& array, const ElementPredicate& matches) {
  if (!array) return NSNotFound;
  for (NSUInteger index = 0; index < array->count(); ++index) {
    const id element = array->objectAtIndex(index);
    if (matches(element)) return index;
  }
  return NSNotFound;
}

id firstWhere(const Ref<NSArray>& array, const ElementPredicate& matches) {
  id found;
  indexOfFirst(array, [&](const id& element) {
    if (!matches(element)) return false;
    found = element;
    return true;
  });
  return found;
}

void forEach(const Ref<NSArray>& array, const std::function<void(const id&)>& visit) {
  indexOfFirst(array, [&](const id& element) {
    visit(element);
    return false;
  });
}

Ref<NSMutableArray> allWhere(const Ref<NSArray>& array, const ElementPredicate& matches) {
  if (!array) return nil;
  const auto found = NSMutableArray::array();
  forEach(array, [&](const id& element) {
    if (matches(element)) found->addObject(element);
  });
  return found;
}

Ref<NSMutableArray> mutableCopy(const Ref<NSArray>& array) {
  return array ? NSMutableArray::arrayWithArray(array) : Ref<NSMutableArray>();
}

ElementPredicate matchingByKey(const id& value, const id& key) {
  return [value, key](const id& element) {
    return element->respondsToSelector("objectForKey:"_sel) &&
           telvo_isEquivalentTo(element->performSelector_withObject("objectForKey:"_sel, key), value);
  };
}

ElementPredicate matchingBySelector(const id& value, SEL selector) {
  return
      [value, selector](const id& element) { return telvo_isEquivalentTo(element->performSelector(selector), value); };
}

const NSCategory arrayCategory(
    NSArray::classObject(),
    {
        method("telvo_isValidIndex:"_sel, &telvo_isValidIndex),
        method("telvo_objectMatching:usingKey:"_sel, &telvo_objectMatching_usingKey),
        method("telvo_indexOfObjectMatching:usingKey:"_sel, &telvo_indexOfObjectMatching_usingKey),
        method("telvo_objectMatching:usingSelector:"_sel, &telvo_objectMatching_usingSelector),
        method("telvo_objectMatching:orDefault:orFirst:usingSelector:"_sel,
               &telvo_objectMatching_orDefault_orFirst_usingSelector),
        method("telvo_arrayWithObjectsMatching:usingKey:"_sel, &telvo_arrayWithObjectsMatching_usingKey),
        method("telvo_arrayWithObjectsMatching:usingSelector:"_sel, &telvo_arrayWithObjectsMatching_usingSelector),
        method("telvo_arrayUsingSelector:"_sel, &telvo_arrayUsingSelector),
        method("telvo_containsObjectIdenticalTo:"_sel, &telvo_containsObjectIdenticalTo),
        method("telvo_containsObjectEquivalentTo:"_sel, &telvo_containsObjectEquivalentTo),
        method("telvo_indexOfObjectEquivalentTo:"_sel, &telvo_indexOfObjectEquivalentTo),
        method("telvo_penultimateObject"_sel, &telvo_penultimateObject),
        method("telvo_arrayByRemovingObject:"_sel, &telvo_arrayByRemovingObject),
        method("telvo_arrayByRemovingObjectAtIndex:"_sel, &telvo_arrayByRemovingObjectAtIndex),
        method("telvo_arrayByRemovingObjectsInArray:"_sel, &telvo_arrayByRemovingObjectsInArray),
        method("telvo_reverseArray"_sel, &telvo_reverseArray),
        method("telvo_sortedArrayUsingFinderOrder"_sel, &telvo_sortedArrayUsingFinderOrder),
        method("telvo_sortedArrayUsingKey:ascending:"_sel, &telvo_sortedArrayUsingKey_ascending),
    });

const NSCategory mutableArrayCategory(
    NSMutableArray::classObject(),
    {
        method("telvo_insertObject:atIndex:orEnd:"_sel, &telvo_insertObject_atIndex_orEnd),
        method("telvo_insertObjectsFromArray:atIndex:"_sel, &telvo_insertObjectsFromArray_atIndex),
        method("telvo_insertOrMoveObjectsFromArray:atIndex:"_sel, &telvo_insertOrMoveObjectsFromArray_atIndex),
        method("telvo_addOrMoveObjectsFromArray:"_sel, &telvo_addOrMoveObjectsFromArray),
        method("telvo_arrayWithIndexEnumerator:"_sel, &telvo_arrayWithIndexEnumerator),
        method("telvo_removeObjectsFromIndexEnumerator:"_sel, &telvo_removeObjectsFromIndexEnumerator),
        method("telvo_removeObjectsMatching:usingKey:"_sel, &telvo_removeObjectsMatching_usingKey),
        method("telvo_makeObjectsSafelyPerformSelector:"_sel, &telvo_makeObjectsSafelyPerformSelector),
        method("telvo_enqueue:"_sel, &telvo_enqueue),
        method("telvo_dequeue"_sel, &telvo_dequeue),
        method("telvo_push:"_sel, &telvo_push),
        method("telvo_pop"_sel, &telvo_pop),
    });

}  // namespace

bool telvo_isValidIndex(const Ref<NSArray>& array, NSUInteger index) { return array && index < array->count(); }

id telvo_objectMatching_usingKey(const Ref<NSArray>& array, const id& value, const id& key) {
  return firstWhere(array, matchingByKey(value, key));
}

NSUInteger telvo_indexOfObjectMatching_usingKey(const Ref<NSArray>& array, const id& value, const id& key) {
  return indexOfFirst(array, matchingByKey(value, key));
}

id telvo_objectMatching_usingSelector(const Ref<NSArray>& array, const id& value, SEL selector) {
  return firstWhere(array, matchingBySelector(value, selector));
}

id telvo_objectMatching_orDefault_orFirst_usingSelector(const Ref<NSArray>& array, const id& value,
                                                        const id& defaultValue, bool orFirst, SEL selector) {
  if (!value && !defaultValue && !orFirst) return nil;
  id defaultElement;
  id firstElement;
  const id match = firstWhere(array, [&](const id& element) {
    const id answer = element->performSelector(selector);
    if (telvo_isEquivalentTo(answer, value)) return true;
    if (telvo_isEquivalentTo(answer, defaultValue)) defaultElement = element;
    if (orFirst && !firstElement) firstElement = element;
    return false;
  });
  if (match) return match;
  return defaultElement ? defaultElement : firstElement;
}

id telvo_objectPassingTest(const Ref<NSArray>& array, const TelvoElementTest& test) {
  if (!array || !test) return nil;
  bool stop = false;
  for (NSUInteger index = 0; index < array->count() && !stop; ++index) {
    const id element = array->objectAtIndex(index);
    if (test(element, index, stop)) return element;
  }
  return nil;
}

Ref<NSMutableArray> telvo_arrayWithObjectsMatching_usingKey(const Ref<NSArray>& array, const id& value, const id& key) {
  return allWhere(array, matchingByKey(value, key));
}

Ref<NSMutableArray> telvo_arrayWithObjectsMatching_usingSelector(const Ref<NSArray>& array, const id& value,
                                                                 SEL selector) {
  return allWhere(array, matchingBySelector(value, selector));
}

Ref<NSMutableArray> telvo_arrayUsingSelector(const Ref<NSArray>& array, SEL selector) {
  if (!array) return nil;
  const auto answers = NSMutableArray::array();
  forEach(array, [&](const id& element) { answers->addObject(element->performSelector(selector)); });
  return answers;
}

bool telvo_containsObjectIdenticalTo(const Ref<NSArray>& array, const id& object) {
  return array && array->indexOfObjectIdenticalTo(object) != NSNotFound;
}

NSUInteger telvo_indexOfObjectEquivalentTo(const Ref<NSArray>& array, const id& object) {
  return indexOfFirst(array, [&](const id& element) { return telvo_isEquivalentTo(element, object); });
}

bool telvo_containsObjectEquivalentTo(const Ref<NSArray>& array, const id& object) {
  return telvo_indexOfObjectEquivalentTo(array, object) != NSNotFound;
}

id telvo_penultimateObject(const Ref<NSArray>& array) {
  return array && array->count() >= 2 ? array->objectAtIndex(array->count() - 2) : id();
}

Ref<NSMutableArray> telvo_arrayByRemovingObject(const Ref<NSArray>& array, const id& object) {
  const auto rest = mutableCopy(array);
  if (rest) rest->removeObject(object);
  return rest;
}

Ref<NSMutableArray> telvo_arrayByRemovingObjectAtIndex(const Ref<NSArray>& array, NSUInteger index) {
  const auto rest = mutableCopy(array);
  if (rest) rest->removeObjectAtIndex(index);
  return rest;
}

Ref<NSMutableArray> telvo_arrayByRemovingObjectsInArray(const Ref<NSArray>& array, const Ref<NSArray>& others) {
  const auto rest = mutableCopy(array);
  if (rest) rest->removeObjectsInArray(others);
  return rest;
}

Ref<NSMutableArray> telvo_reverseArray(const Ref<NSArray>& array) {
  if (!array) return nil;
  const auto reversed = NSMutableArray::arrayWithCapacity(array->count());
  const auto enumerator = array->reverseObjectEnumerator();
  while (const id object = enumerator->nextObject()) reversed->addObject(object);
  return reversed;
}

Ref<NSArray> telvo_sortedArrayUsingFinderOrder(const Ref<NSArray>& array) {
  return array ? array->sortedArrayUsingSelector("localizedStandardCompare:"_sel) : Ref<NSArray>();
}

Ref<NSArray> telvo_sortedArrayUsingKey_ascending(const Ref<NSArray>& array, const Ref<NSString>& key, bool ascending) {
  if (!array) return nil;
  const auto descriptor = NSSortDescriptor::sortDescriptorWithKey_ascending(key, ascending);
  return array->sortedArrayUsingDescriptors(NSArray::arrayWithObject(descriptor));
}

Ref<NSMutableArray> telvo_deepCopy(const Ref<NSArray>& array) {
  if (!array) return nil;
  const auto copy = NSMutableArray::array();
  forEach(array, [&](const id& element) { copy->addObject(categories::deepCopyOfElement(element)); });
  return copy;
}

Ref<NSMutableArray> telvo_deepMutableCopy(const Ref<NSArray>& array) {
  if (!array) return nil;
  const auto copy = NSMutableArray::array();
  forEach(array, [&](const id& element) { copy->addObject(categories::deepMutableCopyOfElement(element)); });
  return copy;
}

void telvo_insertObject_atIndex_orEnd(const Ref<NSMutableArray>& array, const id& object, NSUInteger index,
                                      bool orEnd) {
  if (!array) return;
  const NSUInteger substitute = orEnd ? array->count() : 0;
  array->insertObject_atIndex(object, index > array->count() ? substitute : index);
}

void telvo_insertObjectsFromArray_atIndex(const Ref<NSMutableArray>& array, const Ref<NSArray>& objects,
                                          NSUInteger index) {
  if (!array || !objects || objects->count() == 0) return;
  array->replaceObjectsInRange_withObjectsFromArray({index, 0}, objects);
}

NSUInteger telvo_insertOrMoveObjectsFromArray_atIndex(const Ref<NSMutableArray>& array, const Ref<NSArray>& objects,
                                                      NSUInteger index) {
  if (!array) return 0;
  const auto moved = NSArray::arrayWithArray(objects);  // kept: the objects may be the array itself
  NSUInteger target = index;
  for (const id& object : *moved) {
    const NSUInteger position = array->indexOfObject(object);
    if (position == NSNotFound) continue;
    array->removeObjectAtIndex(position);
    if (position < target) --target;
  }
  if (telvo_isValidIndex(array, target)) {
    telvo_insertObjectsFromArray_atIndex(array, moved, target);
    return target;
  }
  // Not a position: callers that append are told how many objects went in.
  array->addObjectsFromArray(moved);
  return moved->count();
}

NSUInteger telvo_addOrMoveObjectsFromArray(const Ref<NSMutableArray>& array, const Ref<NSArray>& objects) {
  return telvo_insertOrMoveObjectsFromArray_atIndex(array, objects, NSUIntegerMax);
}

Ref<NSMutableArray> telvo_arrayWithIndexEnumerator(const Ref<NSMutableArray>& array,
                                                   const Ref<NSEnumerator>& enumerator) {
  if (!array) return nil;
  const auto picked = NSMutableArray::array();
  if (!enumerator) return picked;
  while (const id number = enumerator->nextObject()) {
    // By name: whatever has no integer value raises, instead of standing for the first element.
    const NSInteger index = foundation::integerFromObject(number->performSelector("integerValue"_sel));
    picked->addObject(array->objectAtIndex(static_cast<NSUInteger>(index)));
  }
  return picked;
}

void telvo_removeObjectsFromIndexEnumerator(const Ref<NSMutableArray>& array, const Ref<NSEnumerator>& enumerator) {
  if (array) array->removeObjectsInArray(telvo_arrayWithIndexEnumerator(array, enumerator));
}

void telvo_removeObjectsMatching_usingKey(const Ref<NSMutableArray>& array, const id& value, const id& key) {
  if (array) array->removeObjectsInArray(telvo_arrayWithObjectsMatching_usingKey(array, value, key));
}

void telvo_makeObjectsSafelyPerformSelector(const Ref<NSMutableArray>& array, SEL selector) {
  if (array) as<NSArray>(array->copy())->makeObjectsPerformSelector(selector);
}

void telvo_enqueue(const Ref<NSMutableArray>& array, const id& object) {
  if (array) array->addObject(object);
}

id telvo_dequeue(const Ref<NSMutableArray>& array) {
  const id first = array ? array->firstObject() : id();
  if (first) array->removeObjectAtIndex(0);
  return first;
}

void telvo_push(const Ref<NSMutableArray>& array, const id& object) {
  if (array) array->addObject(object);
}

id telvo_pop(const Ref<NSMutableArray>& array) {
  const id last = array ? array->lastObject() : id();
  if (last) array->removeLastObject();
  return last;
}

}  // namespace telvo
