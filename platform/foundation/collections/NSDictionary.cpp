#include "foundation/collections/NSDictionary.h"

#include <algorithm>
#include <utility>

#include "foundation/collections/CollectionContent.h"
#include "foundation/collections/CollectionDescription.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSEnumerator.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

Class NSDictionary::classObject() {
  static const NSClass object("NSDictionary", NSObject::classObject(),
                              {
                                  method("count"_sel, &NSDictionary::count),
                                  method("objectForKey:"_sel, &NSDictionary::objectForKey),
                                  method("allKeys"_sel, &NSDictionary::allKeys),
                                  method("allValues"_sel, &NSDictionary::allValues),
                                  method("keyEnumerator"_sel, &NSDictionary::keyEnumerator),
                                  method("objectEnumerator"_sel, &NSDictionary::objectEnumerator),
                              });
  return &object;
}

Class NSMutableDictionary::classObject() {
  static const NSClass object("NSMutableDictionary", NSDictionary::classObject(),
                              {
                                  method("setObject:forKey:"_sel, &NSMutableDictionary::setObject_forKey),
                                  method("removeObjectForKey:"_sel, &NSMutableDictionary::removeObjectForKey),
                                  method("removeAllObjects"_sel, &NSMutableDictionary::removeAllObjects),
                              });
  return &object;
}

NSDictionary::NSDictionary(const std::vector<Entry>& entries) {
  entries_.reserve(entries.size());
  for (const Entry& entry : entries) set(entry.second, entry.first);
}

Ref<NSDictionary> NSDictionary::dictionary() { return make<NSDictionary>(); }
Ref<NSDictionary> NSDictionary::dictionary(std::initializer_list<Entry> entries) {
  return make<NSDictionary>(std::vector<Entry>(entries));
}
Ref<NSDictionary> NSDictionary::dictionaryWithObject_forKey(const id& object, const id& key) {
  return dictionary({{key, object}});
}
Ref<NSDictionary> NSDictionary::dictionaryWithEntries(std::vector<Entry> entries) {
  return make<NSDictionary>(std::move(entries));
}
Ref<NSDictionary> NSDictionary::dictionaryWithDictionary(const Ref<NSDictionary>& other) {
  return make<NSDictionary>(other ? other->entries() : std::vector<Entry>());
}

void NSDictionary::set(const id& object, const id& key) {
  if (!key) NSException::raise_format(NSInvalidArgumentException(), "key cannot be nil"_ns);
  if (!object) NSException::raise_format(NSInvalidArgumentException(), "object cannot be nil (key: %@)"_ns, key);
  if (Entry* entry = entries_.find(key)) {
    // The old object is let go last: what is destroyed with it may look into the dictionary.
    id replaced = object;
    entry->second.swap(replaced);
  } else {
    entries_.add({key->copy(), object});
  }
}

id NSDictionary::objectForKey(const id& key) const {
  const Entry* entry = entryForKey(key);
  return entry ? entry->second : id();
}

const NSDictionary::Entry* NSDictionary::entryForKey(const id& key) const { return entries_.find(key); }

Ref<NSArray> NSDictionary::allKeys() const {
  std::vector<id> keys;
  keys.reserve(entries_.size());
  for (const auto& [key, object] : entries_) keys.push_back(key);
  return NSArray::arrayWithVector(std::move(keys));
}

Ref<NSArray> NSDictionary::allValues() const {
  std::vector<id> values;
  values.reserve(entries_.size());
  for (const auto& [key, object] : entries_) values.push_back(object);
  return NSArray::arrayWithVector(std::move(values));
}

Ref<NSArray> NSDictionary::allKeysForObject(const id& object) const {
  std::vector<id> keys;
  for (const auto& [key, each] : entries_) {
    if (NSEqualObjects(each, object)) keys.push_back(key);
  }
  return NSArray::arrayWithVector(std::move(keys));
}

Ref<NSEnumerator> NSDictionary::keyEnumerator() const { return allKeys()->objectEnumerator(); }
Ref<NSEnumerator> NSDictionary::objectEnumerator() const { return allValues()->objectEnumerator(); }

Ref<NSString> NSDictionary::description() const {
  return NSString::stringWithUnits(foundation::collectionDescription(*this));
}

bool NSDictionary::isEqual(const id& other) const {
  return as<NSDictionary>(other) && foundation::equalCollections(*this, *other);
}

NSUInteger NSDictionary::hash() const { return foundation::hashOfCollection(*this); }
id NSDictionary::copy() const { return self(); }
id NSDictionary::mutableCopy() const { return make<NSMutableDictionary>(entries()); }

Ref<NSMutableDictionary> NSMutableDictionary::dictionary() { return make<NSMutableDictionary>(); }

Ref<NSMutableDictionary> NSMutableDictionary::dictionary(std::initializer_list<Entry> entries) {
  return make<NSMutableDictionary>(std::vector<Entry>(entries));
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionaryWithCapacity(NSUInteger capacity) {
  constexpr NSUInteger largestHint = 1U << 20U;
  auto dictionary = NSMutableDictionary::dictionary();
  dictionary->entries_.reserve(std::min(capacity, largestHint));
  return dictionary;
}

Ref<NSMutableDictionary> NSMutableDictionary::dictionaryWithDictionary(const Ref<NSDictionary>& other) {
  return make<NSMutableDictionary>(other ? std::vector<Entry>(other->begin(), other->end()) : std::vector<Entry>());
}

void NSMutableDictionary::setObject_forKey(const id& object, const id& key) { set(object, key); }

void NSMutableDictionary::removeObjectForKey(const id& key) {
  const id removed = key;  // kept: the argument may be the dictionary's own key
  entries_.remove(removed);
}

void NSMutableDictionary::removeObjectsForKeys(const Ref<NSArray>& keys) {
  if (!keys) return;
  for (const id& key : *keys) removeObjectForKey(key);
}

void NSMutableDictionary::removeAllObjects() { entries_.clear(); }

void NSMutableDictionary::addEntriesFromDictionary(const Ref<NSDictionary>& other) {
  if (!other || other.get() == this) return;
  for (const auto& [key, object] : *other) set(object, key);
}

id NSMutableDictionary::copy() const { return make<NSDictionary>(entries()); }

}  // namespace telvo
