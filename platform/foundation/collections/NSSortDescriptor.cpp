#include "foundation/collections/NSSortDescriptor.h"

#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

NSComparisonResult reversed(NSComparisonResult order) {
  if (order == NSOrderedSame) return NSOrderedSame;
  return order == NSOrderedAscending ? NSOrderedDescending : NSOrderedAscending;
}

NSComparisonResult comparisonOfNil(const id& left, const id& right) {
  if (left) return NSOrderedDescending;
  return right ? NSOrderedAscending : NSOrderedSame;
}

}  // namespace

Class NSSortDescriptor::classObject() {
  static const NSClass object("NSSortDescriptor", NSObject::classObject(),
                              {
                                  method("key"_sel, &NSSortDescriptor::key),
                                  method("ascending"_sel, &NSSortDescriptor::ascending),
                              });
  return &object;
}

NSSortDescriptor::NSSortDescriptor(Ref<NSString> key, bool ascending, NSComparator comparator)
    : key_(std::move(key)), ascending_(ascending), comparator_(std::move(comparator)) {}

Ref<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKey_ascending(const Ref<NSString>& key, bool ascending) {
  return sortDescriptorWithKey_ascending_selector(key, ascending, "compare:"_sel);
}

Ref<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKey_ascending_selector(const Ref<NSString>& key,
                                                                                 bool ascending, SEL selector) {
  return make<NSSortDescriptor>(key, ascending, NSComparatorWithSelector(selector));
}

Ref<NSSortDescriptor> NSSortDescriptor::sortDescriptorWithKey_ascending_comparator(const Ref<NSString>& key,
                                                                                   bool ascending,
                                                                                   NSComparator comparator) {
  return make<NSSortDescriptor>(key, ascending, std::move(comparator));
}

Ref<NSSortDescriptor> NSSortDescriptor::reversedSortDescriptor() const {
  return make<NSSortDescriptor>(key_, !ascending_, comparator_);
}

NSComparisonResult NSSortDescriptor::compareObject_toObject(const id& left, const id& right) const {
  return compareSortValue_toSortValue(sortValueOfObject(left), sortValueOfObject(right));
}

id NSSortDescriptor::sortValueOfObject(const id& object) const {
  return key_ && object ? object->valueForKeyPath(key_) : object;
}

NSComparisonResult NSSortDescriptor::compareSortValue_toSortValue(const id& left, const id& right) const {
  const NSComparisonResult order = left && right ? comparator_(left, right) : comparisonOfNil(left, right);
  return ascending_ ? order : reversed(order);
}

}  // namespace telvo
