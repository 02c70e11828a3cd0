#include "foundation/collections/NSSet.h"

#include <algorithm>

#include "foundation/collections/CollectionContent.h"
#include "foundation/collections/CollectionDescription.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSEnumerator.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

std::vector<id> objectsOf(const Ref<NSArray>& array) { return array ? array->objects() : std::vector<id>(); }

std::vector<id> membersOf(const Ref<NSSet>& set) {
  return set ? std::vector<id>(set->begin(), set->end()) : std::vector<id>();
}

}  // namespace

Class NSSet::classObject() {
  static const NSClass object("NSSet", NSObject::classObject(),
                              {
                                  method("count"_sel, &NSSet::count),
                                  method("containsObject:"_sel, &NSSet::containsObject),
                                  method("member:"_sel, &NSSet::member),
                                  method("anyObject"_sel, &NSSet::anyObject),
                                  method("allObjects"_sel, &NSSet::allObjects),
                                  method("objectEnumerator"_sel, &NSSet::objectEnumerator),
                              });
  return &object;
}

Class NSMutableSet::classObject() {
  static const NSClass object("NSMutableSet", NSSet::classObject(),
                              {
                                  method("addObject:"_sel, &NSMutableSet::addObject),
                                  method("removeObject:"_sel, &NSMutableSet::removeObject),
                                  method("removeAllObjects"_sel, &NSMutableSet::removeAllObjects),
                              });
  return &object;
}

NSSet::NSSet(const std::vector<id>& objects) {
  for (const id& object : objects) add(object);
}

Ref<NSSet> NSSet::set() { return make<NSSet>(); }
Ref<NSSet> NSSet::setWithObject(const id& object) { return setWithObjects({object}); }
Ref<NSSet> NSSet::setWithObjects(std::initializer_list<id> objects) { return make<NSSet>(std::vector<id>(objects)); }
Ref<NSSet> NSSet::setWithArray(const Ref<NSArray>& array) { return make<NSSet>(objectsOf(array)); }
Ref<NSSet> NSSet::setWithSet(const Ref<NSSet>& other) { return make<NSSet>(membersOf(other)); }

void NSSet::add(const id& object) {
  if (!object) NSException::raise_format(NSInvalidArgumentException(), "object cannot be nil"_ns);
  if (!members_.find(object)) members_.add(object);
}

bool NSSet::containsObject(const id& object) const { return entryForKey(object); }
const id* NSSet::entryForKey(const id& object) const { return members_.find(object); }

id NSSet::member(const id& object) const {
  const id* found = entryForKey(object);
  return found ? *found : id();
}

id NSSet::anyObject() const { return count() == 0 ? id() : *begin(); }
Ref<NSArray> NSSet::allObjects() const { return NSArray::arrayWithVector(members()); }
Ref<NSEnumerator> NSSet::objectEnumerator() const { return allObjects()->objectEnumerator(); }

bool NSSet::isEqualToSet(const Ref<NSSet>& other) const { return other && foundation::equalCollections(*this, *other); }

bool NSSet::isSubsetOfSet(const Ref<NSSet>& other) const {
  return std::ranges::all_of(*this, [&](const id& each) { return other && other->containsObject(each); });
}

bool NSSet::intersectsSet(const Ref<NSSet>& other) const {
  return other && std::ranges::any_of(*this, [&](const id& each) { return other->containsObject(each); });
}

Ref<NSSet> NSSet::setByAddingObject(const id& object) const {
  std::vector<id> objects = members();
  objects.push_back(object);
  return make<NSSet>(objects);
}

Ref<NSSet> NSSet::setByAddingObjectsFromSet(const Ref<NSSet>& other) const {
  std::vector<id> objects = members();
  if (other) objects.insert(objects.end(), other->begin(), other->end());
  return make<NSSet>(objects);
}

Ref<NSSet> NSSet::setByAddingObjectsFromArray(const Ref<NSArray>& array) const {
  return setByAddingObjectsFromSet(setWithArray(array));
}

Ref<NSString> NSSet::description() const { return NSString::stringWithUnits(foundation::collectionDescription(*this)); }

bool NSSet::isEqual(const id& other) const { return isEqualToSet(as<NSSet>(other)); }
NSUInteger NSSet::hash() const { return foundation::hashOfCollection(*this); }
id NSSet::copy() const { return self(); }
id NSSet::mutableCopy() const { return make<NSMutableSet>(members()); }

Ref<NSMutableSet> NSMutableSet::set() { return make<NSMutableSet>(); }

Ref<NSMutableSet> NSMutableSet::setWithCapacity(NSUInteger capacity) {
  // The capacity is a hint from a caller who may have it from elsewhere: no allocation beyond reason.
  constexpr NSUInteger largestHint = 1U << 20U;
  auto set = NSMutableSet::set();
  set->members_.reserve(std::min(capacity, largestHint));
  return set;
}

Ref<NSMutableSet> NSMutableSet::setWithObjects(std::initializer_list<id> objects) {
  return make<NSMutableSet>(std::vector<id>(objects));
}
Ref<NSMutableSet> NSMutableSet::setWithArray(const Ref<NSArray>& array) { return make<NSMutableSet>(objectsOf(array)); }
Ref<NSMutableSet> NSMutableSet::setWithSet(const Ref<NSSet>& other) { return make<NSMutableSet>(membersOf(other)); }

void NSMutableSet::addObject(const id& object) { add(object); }

void NSMutableSet::addObjectsFromArray(const Ref<NSArray>& array) {
  for (const id& object : objectsOf(array)) add(object);
}

void NSMutableSet::removeObject(const id& object) {
  const id removed = object;  // kept: the argument may be the set's own member
  members_.remove(removed);
}

void NSMutableSet::removeAllObjects() { members_.clear(); }

void NSMutableSet::unionSet(const Ref<NSSet>& other) {
  if (!other || other.get() == this) return;
  for (const id& object : *other) add(object);
}

void NSMutableSet::minusSet(const Ref<NSSet>& other) {
  if (!other) return;
  if (other.get() == this) return removeAllObjects();
  for (const id& object : *other) removeObject(object);
}

void NSMutableSet::intersectSet(const Ref<NSSet>& other) {
  if (!other) return removeAllObjects();
  for (const id& object : members()) {
    if (!other->containsObject(object)) removeObject(object);
  }
}

id NSMutableSet::copy() const { return make<NSSet>(members()); }

}  // namespace telvo
