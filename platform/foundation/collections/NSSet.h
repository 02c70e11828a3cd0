#pragma once

#include <initializer_list>
#include <vector>

#include "foundation/collections/OrderedTable.h"
#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSEnumerator;
class NSString;

// Objects without order, never nil, each only once by isEqual(). Enumerated in the order in which they were first
// added. Immutable and safe on any thread that may use its members. A nil object raises NSInvalidArgumentException.
class NSSet : public NSObject {
  NS_OBJECT(NSSet, NSObject)

  struct KeyOfMember {
    const id& operator()(const id& member) const { return member; }
  };

 public:
  using Table = foundation::OrderedTable<id, KeyOfMember>;

  // Of members that are equal, the first one is kept.
  explicit NSSet(const std::vector<id>& objects = {});

  static Ref<NSSet> set();
  static Ref<NSSet> setWithObject(const id& object);
  static Ref<NSSet> setWithObjects(std::initializer_list<id> objects);
  static Ref<NSSet> setWithArray(const Ref<NSArray>& array);
  static Ref<NSSet> setWithSet(const Ref<NSSet>& other);

  NSUInteger count() const { return members_.size(); }
  bool containsObject(const id& object) const;
  id member(const id& object) const;              // the member that is equal to the object, or nil
  const id* entryForKey(const id& object) const;  // the same; null when there is none; valid until the set changes
  id anyObject() const;                           // nil when empty
  Ref<NSArray> allObjects() const;
  Ref<NSEnumerator> objectEnumerator() const;
  // For range-based loops; not to be changed meanwhile.
  Table::const_iterator begin() const { return members_.begin(); }
  Table::const_iterator end() const { return members_.end(); }

  bool isEqualToSet(const Ref<NSSet>& other) const;
  bool isSubsetOfSet(const Ref<NSSet>& other) const;
  bool intersectsSet(const Ref<NSSet>& other) const;
  Ref<NSSet> setByAddingObject(const id& object) const;
  Ref<NSSet> setByAddingObjectsFromSet(const Ref<NSSet>& other) const;
  Ref<NSSet> setByAddingObjectsFromArray(const Ref<NSArray>& array) const;

  // One member a line, in "{(" and ")}"; the lines are in the order of the members' texts, so equal sets have equal
  // descriptions however they were filled.
  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override;
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }
  // The set of the members' values for the key.
  id valueForKey(const Ref<NSString>& key) const override;

 protected:
  void add(const id& object);
  std::vector<id> members() const { return {begin(), end()}; }

  Table members_;
};

// A set that can be changed. One thread at a time.
class NSMutableSet : public NSSet {
  NS_OBJECT(NSMutableSet, NSSet)

 public:
  using NSSet::NSSet;

  static Ref<NSMutableSet> set();
  static Ref<NSMutableSet> setWithCapacity(NSUInteger capacity);
  static Ref<NSMutableSet> setWithObjects(std::initializer_list<id> objects);
  static Ref<NSMutableSet> setWithArray(const Ref<NSArray>& array);
  static Ref<NSMutableSet> setWithSet(const Ref<NSSet>& other);

  void addObject(const id& object);  // nothing happens when an equal member is there
  void addObjectsFromArray(const Ref<NSArray>& array);
  void removeObject(const id& object);  // a missing object is no error
  void removeAllObjects();
  void unionSet(const Ref<NSSet>& other);
  void minusSet(const Ref<NSSet>& other);
  void intersectSet(const Ref<NSSet>& other);

  id copy() const override;
};

TELVO_NAMESPACE_END
