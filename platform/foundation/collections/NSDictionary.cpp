#include "foundation/collections/NSDictionary.h"

#include <algorithm>

#include "foundation/collections/CollectionDescription.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSEnumerator.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

namespace {

constexpr std::size_t indexedFrom = 9;

// Whether the object holds no others.
bool isPlain(const id& object) {
  const Class type = object->isa();
  return type->isSubclassOfClass(NSString::classObject()) || type->isSubclassOfClass(NSNumber::classObject()) ||
         type->isSubclassOfClass(NSDate::classObject());
}

// Spreads a pair of hashes over all bits, so that a sum of pairs tells which belong together.
NSUInteger hashOfPair(NSUInteger key, NSUInteger value) {
  constexpr NSUInteger keyFactor = 31;  // key and value are not the same thing
  constexpr NSUInteger mixer = 0xBF58476D1CE4E5B9U;
  NSUInteger hash = key * keyFactor + value;
  hash = (hash ^ (hash >> 30U)) * mixer;
  return hash ^ (hash >> 27U);
}

}  // namespace

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
  return make<NSDictionary>(other ? other->entries_ : std::vector<Entry>());
}

std::size_t NSDictionary::find(const id& key) const {
  if (!key) return entries_.size();
  if (!index_.empty()) {
    const auto found = index_.find(key);
    return found == index_.end() ? entries_.size() : found->second;
  }
  std::size_t position = 0;
  while (position < entries_.size() && !NSEqualObjects(entries_[position].first, key)) ++position;
  return position;
}

void NSDictionary::set(const id& object, const id& key) {
  if (!key) NSException::raise_format(NSInvalidArgumentException(), "key cannot be nil"_ns);
  if (!object) NSException::raise_format(NSInvalidArgumentException(), "object cannot be nil (key: %@)"_ns, key);
  const std::size_t position = find(key);
  if (position < entries_.size()) {
    entries_[position].second = object;
    return;
  }
  entries_.emplace_back(key->copy(), object);
  if (!index_.empty()) {
    index_.emplace(entries_.back().first, position);
  } else if (entries_.size() >= indexedFrom) {
    reindex();
  }
}

void NSDictionary::reindex() {
  index_.clear();
  if (entries_.size() < indexedFrom) return;
  index_.reserve(entries_.size());
  for (std::size_t position = 0; position < entries_.size(); ++position) {
    index_.emplace(entries_[position].first, position);
  }
}

id NSDictionary::objectForKey(const id& key) const {
  const std::size_t position = find(key);
  return position < entries_.size() ? entries_[position].second : id();
}

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
  const auto dictionary = as<NSDictionary>(other);
  if (!dictionary || dictionary->count() != count()) return false;
  return std::ranges::all_of(entries_, [&](const Entry& entry) {
    return NSEqualObjects(dictionary->objectForKey(entry.first), entry.second);
  });
}

NSUInteger NSDictionary::hash() const {
  // A sum, because equal dictionaries may have their entries in another order; and of plain ones only, because others
  // may hold each other many times over, or this very dictionary.
  NSUInteger hash = count();
  for (const auto& [key, value] : entries_) {
    if (isPlain(key) && isPlain(value)) hash += hashOfPair(key->hash(), value->hash());
  }
  return hash;
}

id NSDictionary::copy() const { return self(); }
id NSDictionary::mutableCopy() const { return make<NSMutableDictionary>(entries_); }
id NSDictionary::valueForKey(const Ref<NSString>& key) const { return objectForKey(key); }

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
  const std::size_t position = find(key);
  if (position >= entries_.size()) return;
  index_.clear();
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
  reindex();
}

void NSMutableDictionary::removeObjectsForKeys(const Ref<NSArray>& keys) {
  if (!keys) return;
  for (const id& key : *keys) removeObjectForKey(key);
}

void NSMutableDictionary::removeAllObjects() {
  index_.clear();
  entries_.clear();
}

void NSMutableDictionary::addEntriesFromDictionary(const Ref<NSDictionary>& other) {
  if (!other || other.get() == this) return;
  for (const auto& [key, object] : *other) set(object, key);
}

id NSMutableDictionary::copy() const { return make<NSDictionary>(entries_); }

void NSMutableDictionary::setValue_forKey(const id& value, const Ref<NSString>& key) {
  if (value) {
    set(value, key);
  } else {
    removeObjectForKey(key);
  }
}
