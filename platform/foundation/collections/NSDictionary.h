#pragma once

#include <functional>
#include <initializer_list>
#include <utility>
#include <vector>

#include "foundation/collections/OrderedTable.h"
#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSArray;
class NSEnumerator;
class NSString;

// Objects by key, never nil, keys unique by isEqual(). Enumerated in the order in which the keys were first set.
// Immutable and safe on any thread that may use its content. Keys are copied when they are set. A nil key or object
// raises NSInvalidArgumentException.
class NSDictionary : public NSObject {
  NS_OBJECT(NSDictionary, NSObject)

  struct KeyOfEntry {
    const id& operator()(const std::pair<id, id>& entry) const { return entry.first; }
  };

 public:
  using Entry = std::pair<id, id>;  // key, object
  using Table = foundation::OrderedTable<Entry, KeyOfEntry>;

  NSDictionary() = default;
  explicit NSDictionary(const std::vector<Entry>& entries);

  static Ref<NSDictionary> dictionary();
  // A later entry wins over an earlier one of the same key.
  static Ref<NSDictionary> dictionary(std::initializer_list<Entry> entries);
  static Ref<NSDictionary> dictionaryWithObject_forKey(const id& object, const id& key);
  static Ref<NSDictionary> dictionaryWithEntries(std::vector<Entry> entries);
  static Ref<NSDictionary> dictionaryWithDictionary(const Ref<NSDictionary>& other);
  // From a property list in a file (XML or binary); nil when there is none or its root is something else.
  static Ref<NSDictionary> dictionaryWithContentsOfFile(const Ref<NSString>& path);

  NSUInteger count() const { return entries_.size(); }
  id objectForKey(const id& key) const;           // nil when there is none
  const Entry* entryForKey(const id& key) const;  // null when there is none; valid until the dictionary changes
  Ref<NSArray> allKeys() const;
  Ref<NSArray> allValues() const;
  Ref<NSArray> allKeysForObject(const id& object) const;
  // As an XML property list, in place or atomically (NSData). False when it cannot be written or holds something else
  // than property lists do; see NSPropertyList.h.
  bool writeToFile_atomically(const Ref<NSString>& path, bool atomically) const;
  // Over the keys or objects that are there now; later changes are not seen.
  Ref<NSEnumerator> keyEnumerator() const;
  Ref<NSEnumerator> objectEnumerator() const;
  // For range-based loops over key and object; not to be changed meanwhile.
  Table::const_iterator begin() const { return entries_.begin(); }
  Table::const_iterator end() const { return entries_.end(); }

  // "key = value;" lines in braces, the way property lists are shown; the lines are in the order of the keys' texts,
  // so equal dictionaries have equal descriptions however they were filled.
  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override;
  id mutableCopy() const override;
  bool conformsToCopying() const override { return true; }
  bool conformsToMutableCopying() const override { return true; }
  // objectForKey(); "@count" and its like, when there is no such entry, are values of the dictionary itself.
  id valueForKey(const Ref<NSString>& key) const override;

 protected:
  void set(const id& object, const id& key);
  std::vector<Entry> entries() const { return {begin(), end()}; }

  Table entries_;
};

// A dictionary that can be changed. One thread at a time.
class NSMutableDictionary : public NSDictionary {
  NS_OBJECT(NSMutableDictionary, NSDictionary)

 public:
  using NSDictionary::NSDictionary;

  static Ref<NSMutableDictionary> dictionary();
  static Ref<NSMutableDictionary> dictionary(std::initializer_list<Entry> entries);
  static Ref<NSMutableDictionary> dictionaryWithCapacity(NSUInteger capacity);
  static Ref<NSMutableDictionary> dictionaryWithDictionary(const Ref<NSDictionary>& other);

  void setObject_forKey(const id& object, const id& key);
  void removeObjectForKey(const id& key);  // a missing key is no error
  void removeObjectsForKeys(const Ref<NSArray>& keys);
  void removeAllObjects();
  void addEntriesFromDictionary(const Ref<NSDictionary>& other);

  id copy() const override;
  // setObject_forKey(); nil removes the key.
  void setValue_forKey(const id& value, const Ref<NSString>& key) override;
};

TELVO_NAMESPACE_END
