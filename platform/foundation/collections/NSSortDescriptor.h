#pragma once

#include "foundation/collections/NSArray.h"
#include "foundation/runtime/NSObjCRuntime.h"
#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// One criterion of an order: a key path, a direction, and how two values of the key path are compared. A nil value
// comes before every other value in ascending order; two nil values are the same. Immutable, any thread.
class NSSortDescriptor : public NSObject {
  NS_OBJECT(NSSortDescriptor, NSObject)

 public:
  NSSortDescriptor(Ref<NSString> key, bool ascending, NSComparator comparator);

  // Values are compared with "compare:", or with the selector given; values that do not respond to it raise
  // NSInvalidArgumentException while they are compared. A nil key compares the objects themselves.
  static Ref<NSSortDescriptor> sortDescriptorWithKey_ascending(const Ref<NSString>& key, bool ascending);
  static Ref<NSSortDescriptor> sortDescriptorWithKey_ascending_selector(const Ref<NSString>& key, bool ascending,
                                                                        SEL selector);
  static Ref<NSSortDescriptor> sortDescriptorWithKey_ascending_comparator(const Ref<NSString>& key, bool ascending,
                                                                          NSComparator comparator);

  const Ref<NSString>& key() const { return key_; }
  bool ascending() const { return ascending_; }
  Ref<NSSortDescriptor> reversedSortDescriptor() const;

  NSComparisonResult compareObject_toObject(const id& left, const id& right) const;
  // The value that an object is ordered by, and the order of two such values: a sort reads each value only once.
  id sortValueOfObject(const id& object) const;
  NSComparisonResult compareSortValue_toSortValue(const id& left, const id& right) const;

 private:
  Ref<NSString> key_;
  bool ascending_;
  NSComparator comparator_;
};

TELVO_NAMESPACE_END
