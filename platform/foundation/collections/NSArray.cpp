#include "foundation/collections/NSArray.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "foundation/collections/CollectionContent.h"
#include "foundation/collections/CollectionDescription.h"
#include "foundation/collections/NSEnumerator.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSortDescriptor.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

void requireObject(const id& object) {
  if (!object) NSException::raise_format(NSInvalidArgumentException(), "object cannot be nil"_ns);
}

void requireIndex(NSUInteger index, NSUInteger bound) {
  if (index < bound) return;
  NSException::raise_format(NSRangeException(), "index %lu beyond bounds of array of %lu"_ns, index, bound);
}

void requireRange(NSRange range, NSUInteger count) {
  if (range.location <= count && range.length <= count - range.location) return;
  NSException::raise_format(NSRangeException(), "range {%lu, %lu} extends beyond bounds of array of %lu"_ns,
                            range.location, range.length, count);
}

NSComparisonResult comparisonResult(const id& answer) {
  const NSInteger value = foundation::integerFromObject(answer);
  return value < 0 ? NSOrderedAscending : value > 0 ? NSOrderedDescending : NSOrderedSame;
}

class ForwardEnumerator final : public NSEnumerator {
 public:
  explicit ForwardEnumerator(const NSArray& array) : array_(as<NSArray>(array.self())) {}

  id nextObject() override {
    if (!array_) return nil;
    if (next_ < array_->count()) return array_->objectAtIndex(next_++);
    array_ = nil;
    return nil;
  }

 private:
  Ref<NSArray> array_;
  NSUInteger next_ = 0;
};

class ReverseEnumerator final : public NSEnumerator {
 public:
  explicit ReverseEnumerator(const NSArray& array) : array_(as<NSArray>(array.self())), rest_(array.count()) {}

  id nextObject() override {
    rest_ = array_ ? std::min(rest_, array_->count()) : 0;
    if (rest_ > 0) return array_->objectAtIndex(--rest_);
    array_ = nil;
    return nil;
  }

 private:
  Ref<NSArray> array_;
  NSUInteger rest_;
};

// An object with the values that the descriptors order it by.
struct SortEntry {
  id object;
  std::vector<id> values;
};

std::vector<id> sortedByDescriptors(const std::vector<id>& objects, const std::vector<Ref<NSSortDescriptor>>& order) {
  std::vector<SortEntry> entries;
  entries.reserve(objects.size());
  for (const id& object : objects) {
    SortEntry& entry = entries.emplace_back(SortEntry{object, {}});
    for (const auto& descriptor : order) entry.values.push_back(descriptor->sortValueOfObject(object));
  }
  std::ranges::stable_sort(entries, [&](const SortEntry& left, const SortEntry& right) {
    for (std::size_t i = 0; i < order.size(); ++i) {
      const NSComparisonResult result = order[i]->compareSortValue_toSortValue(left.values[i], right.values[i]);
      if (result != NSOrderedSame) return result == NSOrderedAscending;
    }
    return false;
  });
  std::vector<id> sorted;
  sorted.reserve(entries.size());
  for (SortEntry& entry : entries) sorted.push_back(std::move(entry.object));
  return sorted;
}

std::vector<Ref<NSSortDescriptor>> sortDescriptors(const Ref<NSArray>& descriptors) {
  std::vector<Ref<NSSortDescriptor>> result;
  if (!descriptors) return result;
  for (const id& each : *descriptors) {
    if (const auto descriptor = as<NSSortDescriptor>(each)) result.push_back(descriptor);
  }
  return result;
}

// Whether the method of that name takes the other object for its argument: both have the same one, or the one has its
// own in place of the one that it inherits from the other's class.
bool areOfOneKind(const NSObject& left, const NSObject& right, SEL selector) {
  return left.isKindOfClass(right.isa()) || right.isKindOfClass(left.isa()) ||
         left.isa()->methodForSelector(selector) == right.isa()->methodForSelector(selector);
}

}  // namespace

NSComparator NSComparatorWithSelector(SEL selector) {
  return [selector](const id& left, const id& right) {
    // A method that is given an object of another class would take it for nil, and find an order.
    if (!right->respondsToSelector(selector)) {
      return comparisonResult(right->performSelector_withObject(selector, left));
    }
    if (!areOfOneKind(*left, *right, selector)) {
      NSException::raise_format(NSInvalidArgumentException(), "-[%@ %s]: the argument is a %@"_ns, left->className(),
                                selector.text(), right->className());
    }
    return comparisonResult(left->performSelector_withObject(selector, right));
  };
}

Class NSArray::classObject() {
  static const NSClass object("NSArray", NSObject::classObject(),
                              {
                                  method("count"_sel, &NSArray::count),
                                  method("objectAtIndex:"_sel, &NSArray::objectAtIndex),
                                  method("firstObject"_sel, &NSArray::firstObject),
                                  method("lastObject"_sel, &NSArray::lastObject),
                                  method("containsObject:"_sel, &NSArray::containsObject),
                                  method("indexOfObject:"_sel, &NSArray::indexOfObject),
                                  method("componentsJoinedByString:"_sel, &NSArray::componentsJoinedByString),
                                  method("objectEnumerator"_sel, &NSArray::objectEnumerator),
                                  method("reverseObjectEnumerator"_sel, &NSArray::reverseObjectEnumerator),
                              });
  return &object;
}

Class NSMutableArray::classObject() {
  static const NSClass object("NSMutableArray", NSArray::classObject(),
                              {
                                  method("addObject:"_sel, &NSMutableArray::addObject),
                                  method("removeObject:"_sel, &NSMutableArray::removeObject),
                                  method("removeLastObject"_sel, &NSMutableArray::removeLastObject),
                                  method("removeAllObjects"_sel, &NSMutableArray::removeAllObjects),
                              });
  return &object;
}

NSArray::NSArray(std::vector<id> objects) : objects_(std::move(objects)) {
  for (const id& object : objects_) requireObject(object);
}

Ref<NSArray> NSArray::array() { return make<NSArray>(); }
Ref<NSArray> NSArray::arrayWithObject(const id& object) { return make<NSArray>(std::vector<id>{object}); }
Ref<NSArray> NSArray::arrayWithObjects(std::initializer_list<id> objects) {
  return make<NSArray>(std::vector<id>(objects));
}
Ref<NSArray> NSArray::arrayWithVector(std::vector<id> objects) { return make<NSArray>(std::move(objects)); }
Ref<NSArray> NSArray::arrayWithArray(const Ref<NSArray>& other) {
  return make<NSArray>(other ? other->objects() : std::vector<id>());
}

const id& NSArray::objectAtIndex(NSUInteger index) const {
  requireIndex(index, count());
  return objects_[taken_ + index];
}

id NSArray::firstObject() const { return count() == 0 ? id() : *begin(); }
id NSArray::lastObject() const { return count() == 0 ? id() : objects_.back(); }

Ref<NSEnumerator> NSArray::objectEnumerator() const { return make<ForwardEnumerator>(*this); }
Ref<NSEnumerator> NSArray::reverseObjectEnumerator() const { return make<ReverseEnumerator>(*this); }

bool NSArray::containsObject(const id& object) const { return indexOfObject(object) != NSNotFound; }

NSUInteger NSArray::indexOfObject(const id& object) const {
  const auto found = std::find_if(begin(), end(), [&](const id& each) { return NSEqualObjects(each, object); });
  return found == end() ? NSNotFound : static_cast<NSUInteger>(found - begin());
}

NSUInteger NSArray::indexOfObjectIdenticalTo(const id& object) const {
  const auto found = std::find(begin(), end(), object);
  return found == end() ? NSNotFound : static_cast<NSUInteger>(found - begin());
}

Ref<NSArray> NSArray::arrayByAddingObject(const id& object) const {
  std::vector<id> objects = this->objects();
  objects.push_back(object);
  return arrayWithVector(std::move(objects));
}

Ref<NSArray> NSArray::arrayByAddingObjectsFromArray(const Ref<NSArray>& other) const {
  std::vector<id> objects = this->objects();
  if (other) objects.insert(objects.end(), other->begin(), other->end());
  return arrayWithVector(std::move(objects));
}

Ref<NSArray> NSArray::subarrayWithRange(NSRange range) const {
  requireRange(range, count());
  const auto from = begin() + static_cast<std::ptrdiff_t>(range.location);
  return arrayWithVector({from, from + static_cast<std::ptrdiff_t>(range.length)});
}

Ref<NSArray> NSArray::sortedArrayUsingComparator(const NSComparator& comparator) const {
  const auto sorted = NSMutableArray::arrayWithArray(Ref<NSArray>(const_cast<NSArray*>(this)));
  sorted->sortUsingComparator(comparator);
  return as<NSArray>(sorted->copy());
}

Ref<NSArray> NSArray::sortedArrayUsingSelector(SEL comparator) const {
  return sortedArrayUsingComparator(NSComparatorWithSelector(comparator));
}

Ref<NSArray> NSArray::sortedArrayUsingDescriptors(const Ref<NSArray>& descriptors) const {
  return arrayWithVector(sortedByDescriptors(objects(), sortDescriptors(descriptors)));
}

Ref<NSString> NSArray::componentsJoinedByString(const Ref<NSString>& separator) const {
  std::u16string joined;
  bool first = true;
  for (const id& object : *this) {
    if (!std::exchange(first, false) && separator) joined.append(separator->units());
    joined.append(object->description()->units());
  }
  return NSString::stringWithUnits(std::move(joined));
}

void NSArray::makeObjectsPerformSelector(SEL selector) const {
  for (const id& object : objects()) object->performSelector(selector);  // a copy: the method may change this array
}

Ref<NSString> NSArray::description() const {
  return NSString::stringWithUnits(foundation::collectionDescription(*this));
}

bool NSArray::isEqual(const id& other) const {
  return as<NSArray>(other) && foundation::equalCollections(*this, *other);
}

NSUInteger NSArray::hash() const { return foundation::hashOfCollection(*this); }
id NSArray::copy() const { return self(); }
id NSArray::mutableCopy() const { return make<NSMutableArray>(objects()); }

Ref<NSMutableArray> NSMutableArray::array() { return make<NSMutableArray>(); }

Ref<NSMutableArray> NSMutableArray::arrayWithCapacity(NSUInteger capacity) {
  // The capacity is a hint from a caller who may have it from elsewhere: no allocation beyond reason.
  constexpr NSUInteger largestHint = 1U << 20U;
  auto array = NSMutableArray::array();
  array->objects_.reserve(std::min(capacity, largestHint));
  return array;
}

Ref<NSMutableArray> NSMutableArray::arrayWithArray(const Ref<NSArray>& other) {
  return make<NSMutableArray>(other ? other->objects() : std::vector<id>());
}

Ref<NSMutableArray> NSMutableArray::arrayWithObjects(std::initializer_list<id> objects) {
  return make<NSMutableArray>(std::vector<id>(objects));
}

void NSMutableArray::addObject(const id& object) {
  requireObject(object);
  objects_.push_back(object);
}

void NSMutableArray::addObjectsFromArray(const Ref<NSArray>& other) {
  if (!other) return;
  const std::vector<id> added = other->objects();  // a copy: the other array may be this one
  objects_.insert(objects_.end(), added.begin(), added.end());
}

void NSMutableArray::insertObject_atIndex(const id& object, NSUInteger index) {
  requireObject(object);
  requireIndex(index, count() + 1);
  objects_.insert(at(index), object);
}

void NSMutableArray::replaceObjectAtIndex_withObject(NSUInteger index, const id& object) {
  requireObject(object);
  requireIndex(index, count());
  id replaced = object;  // let go last: what is destroyed with it may look into the array
  at(index)->swap(replaced);
}

void NSMutableArray::removeObjectAtIndex(NSUInteger index) {
  requireIndex(index, count());
  const id removed = std::move(*at(index));
  if (index > 0) {
    objects_.erase(at(index));
  } else if (++taken_ > objects_.size() / 2) {
    // Moving the others only now and then keeps the draining of a queue from taking quadratic time.
    objects_.erase(objects_.begin(), at(0));
    taken_ = 0;
  }
}

void NSMutableArray::replaceObjectsInRange_withObjectsFromArray(NSRange range, const Ref<NSArray>& other) {
  requireRange(range, count());
  const std::vector<id> added = other ? other->objects() : std::vector<id>();  // a copy: it may be this very array
  const auto gap = objects_.erase(at(range.location), at(NSMaxRange(range)));
  objects_.insert(gap, added.begin(), added.end());
}

void NSMutableArray::removeObject(const id& object) {
  const id searched = object;  // kept: the argument may be a reference into this array
  objects_.erase(std::remove_if(at(0), objects_.end(), [&](const id& each) { return NSEqualObjects(each, searched); }),
                 objects_.end());
}

void NSMutableArray::removeObjectsInArray(const Ref<NSArray>& other) {
  if (!other) return;
  const std::unordered_set<id, NSObjectHash, NSObjectEqual> removed(other->begin(), other->end());
  objects_.erase(std::remove_if(at(0), objects_.end(), [&](const id& each) { return removed.contains(each); }),
                 objects_.end());
}

void NSMutableArray::removeLastObject() {
  requireIndex(0, count());
  objects_.pop_back();
}

void NSMutableArray::removeAllObjects() { setObjects({}); }

void NSMutableArray::setArray(const Ref<NSArray>& other) { setObjects(other ? other->objects() : std::vector<id>()); }

void NSMutableArray::setObjects(std::vector<id> objects) {
  // What is destroyed with the old ones may look into the array.
  std::swap(objects_, objects);
  taken_ = 0;
}

std::vector<id>::iterator NSMutableArray::at(NSUInteger index) {
  return objects_.begin() + static_cast<std::ptrdiff_t>(taken_ + index);
}

void NSMutableArray::sortUsingComparator(const NSComparator& comparator) {
  // Sorted aside: an exception in the middle of a sort leaves moved-from elements, and the comparator is any code.
  std::vector<id> sorted = objects();
  std::ranges::stable_sort(
      sorted, [&](const id& left, const id& right) { return comparator(left, right) == NSOrderedAscending; });
  setObjects(std::move(sorted));
}

void NSMutableArray::sortUsingDescriptors(const Ref<NSArray>& descriptors) {
  setObjects(sortedByDescriptors(objects(), sortDescriptors(descriptors)));
}

id NSMutableArray::copy() const { return make<NSArray>(objects()); }

}  // namespace telvo
