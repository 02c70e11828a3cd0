#pragma once

#include <functional>
#include <initializer_list>
#include <vector>

#include "foundation/runtime/NSObject.h"
#include "foundation/runtime/NSRange.h"

TELVO_NAMESPACE_BEGIN

class NSEnumerator;
class NSSortDescriptor;
class NSString;

// Orders two elements.
using NSComparator = std::function<NSComparisonResult(const id&, const id&)>;
// Sends the selector to the first element with the second as its argument; it must answer an NSComparisonResult. An
// element that does not respond to it raises NSInvalidArgumentException, the second one too.
NSComparator NSComparatorWithSelector(SEL selector);

// An ordered sequence of objects, never nil. Immutable and safe on any thread that may use its elements. Indexes out
// of bounds raise NSRangeException, nil elements NSInvalidArgumentException.
class NSArray : public NSObject {
  NS_OBJECT(NSArray, NSObject)

 public:
  explicit NSArray(std::vector<id> objects = {});

  static Ref<NSArray> array();
  static Ref<NSArray> arrayWithObject(const id& object);
  static Ref<NSArray> arrayWithObjects(std::initializer_list<id> objects);
  static Ref<NSArray> arrayWithVector(std::vector<id> objects);
  static Ref<NSArray> arrayWithArray(const Ref<NSArray>& other);
  // From a property list in a file (XML or binary); nil when there is none or its root is something else.
  static Ref<NSArray> arrayWithContentsOfFile(const Ref<NSString>& path);

  NSUInteger count() const { return objects_.size() - taken_; }
  const id& objectAtIndex(NSUInteger index) const;
  id firstObject() const;  // nil when empty
  id lastObject() const;
  // For range-based loops; not to be changed meanwhile.
  std::vector<id>::const_iterator begin() const { return objects_.begin() + static_cast<std::ptrdiff_t>(taken_); }
  std::vector<id>::const_iterator end() const { return objects_.end(); }
  std::vector<id> objects() const { return {begin(), end()}; }
  // A mutable array is read at each step: elements that it has lost or gained meanwhile are not or also handed out.
  Ref<NSEnumerator> objectEnumerator() const;
  Ref<NSEnumerator> reverseObjectEnumerator() const;

  bool containsObject(const id& object) const;
  NSUInteger indexOfObject(const id& object) const;             // by isEqual(); NSNotFound
  NSUInteger indexOfObjectIdenticalTo(const id& object) const;  // by identity; NSNotFound

  Ref<NSArray> arrayByAddingObject(const id& object) const;
  Ref<NSArray> arrayByAddingObjectsFromArray(const Ref<NSArray>& other) const;
  Ref<NSArray> subarrayWithRange(NSRange range) const;
  // Stable.
  Ref<NSArray> sortedArrayUsingComparator(const NSComparator& comparator) const;
  // The elements must answer the selector with an NSComparisonResult, for example "caseInsensitiveCompare:".
  Ref<NSArray> sortedArrayUsingSelector(SEL comparator) const;
  // By the first NSSortDescriptor, then among equals by the next, and so on. Stable.
  Ref<NSArray> sortedArrayUsingDescriptors(const Ref<NSArray>& descriptors) const;
  Ref<NSString> componentsJoinedByString(const Ref<NSString>& separator) const;
  void makeObjectsPerformSelector(SEL selector) const;

  // As an XML property list, in place or atomically (NSData). False when it cannot be written or holds something else
  // than property lists do; see NSPropertyList.h.
  bool writeToFile_atomically(const Ref<NSString>& path, bool atomically) const;

  // One element a line, in parentheses, the way property lists are shown.
  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override;
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }
  // The elements' values for the key, NSNull for nil; "@count" and its like are values of the array itself. Arrays
  // nested more than 512 levels deep, which one that holds itself is, raise NSInvalidArgumentException.
  id valueForKey(const Ref<NSString>& key) const override;

 protected:
  std::vector<id> objects_;
  std::size_t taken_ = 0;  // so many of them, nil by now, were taken from the front of a mutable array
};

// An array that can be changed. One thread at a time.
class NSMutableArray : public NSArray {
  NS_OBJECT(NSMutableArray, NSArray)

 public:
  using NSArray::NSArray;

  static Ref<NSMutableArray> array();
  static Ref<NSMutableArray> arrayWithCapacity(NSUInteger capacity);
  static Ref<NSMutableArray> arrayWithArray(const Ref<NSArray>& other);
  static Ref<NSMutableArray> arrayWithObjects(std::initializer_list<id> objects);

  void addObject(const id& object);
  void addObjectsFromArray(const Ref<NSArray>& other);
  void insertObject_atIndex(const id& object, NSUInteger index);
  void replaceObjectAtIndex_withObject(NSUInteger index, const id& object);
  void removeObjectAtIndex(NSUInteger index);
  // The elements in the range give way to those of the other array, however many; an empty range inserts.
  void replaceObjectsInRange_withObjectsFromArray(NSRange range, const Ref<NSArray>& other);
  void removeObject(const id& object);  // every element that is equal
  void removeObjectsInArray(const Ref<NSArray>& other);
  void removeLastObject();
  void removeAllObjects();
  void setArray(const Ref<NSArray>& other);
  // Stable. When the comparator raises, the array stays as it was.
  void sortUsingComparator(const NSComparator& comparator);
  void sortUsingDescriptors(const Ref<NSArray>& descriptors);

  id copy() const override;

 private:
  std::vector<id>::iterator at(NSUInteger index);
  void setObjects(std::vector<id> objects);
};

TELVO_NAMESPACE_END
