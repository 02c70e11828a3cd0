#include "foundation/collections/CollectionContent.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSSet.h"
#include "foundation/collections/NestingLevel.h"

inline namespace telvo {

namespace {

enum class Kind { Other, Array, Dictionary, Set };

Kind kindOf(const NSObject& object) {
  const Class type = object.isa();
  if (type->isSubclassOfClass(NSArray::classObject())) return Kind::Array;
  if (type->isSubclassOfClass(NSDictionary::classObject())) return Kind::Dictionary;
  return type->isSubclassOfClass(NSSet::classObject()) ? Kind::Set : Kind::Other;
}

const NSArray& asArray(const NSObject& object) { return static_cast<const NSArray&>(object); }
const NSDictionary& asDictionary(const NSObject& object) { return static_cast<const NSDictionary&>(object); }
const NSSet& asSet(const NSObject& object) { return static_cast<const NSSet&>(object); }

const id& keyOf(const id& member) { return member; }
const id& keyOf(const NSDictionary::Entry& entry) { return entry.first; }

// Compares without recursion: collections inside collections wait in a list until their turn comes.
class Comparison {
 public:
  bool areEqual(const NSObject& left, const NSObject& right) {
    if (!mayBeEqual(left, right)) return false;
    while (!waiting_.empty()) {
      const auto [one, other] = waiting_.back();
      waiting_.pop_back();
      if (!holdTheSame(*one, *other)) return false;
    }
    return true;
  }

 private:
  using Pair = std::pair<const NSObject*, const NSObject*>;
  struct PairHash {
    std::size_t operator()(const Pair& pair) const {
      return std::hash<const void*>()(pair.first) * 31 + std::hash<const void*>()(pair.second);
    }
  };

  // False when they differ; true when they are equal, or will be shown to be by what waits now. Each two collections
  // wait once: what holds itself, or is held many times over, meets itself again.
  bool mayBeEqual(const NSObject& left, const NSObject& right) {
    if (&left == &right) return true;
    const Kind kind = kindOf(left);
    if (kind == Kind::Other) return left.isEqual(right.self());
    if (kindOf(right) != kind) return false;
    if (met_.emplace(&left, &right).second) waiting_.emplace_back(&left, &right);
    return true;
  }
  bool mayBeEqual(const id& left, const id& right) { return mayBeEqual(*left, *right); }

  bool holdTheSame(const NSObject& left, const NSObject& right) {
    switch (kindOf(left)) {
      case Kind::Array:
        return std::ranges::equal(asArray(left), asArray(right),
                                  [this](const id& one, const id& other) { return mayBeEqual(one, other); });
      case Kind::Dictionary:
        return haveTheSameEntries(asDictionary(left), asDictionary(right),
                                  [this](const NSDictionary::Entry& one, const NSDictionary::Entry& other) {
                                    return mayBeEqual(one.second, other.second);
                                  });
      default:
        return haveTheSameEntries(asSet(left), asSet(right), [](const id&, const id&) { return true; });
    }
  }

  // Whether each entry of the one has its like in the other: an entry with an equal key, for which the rest is equal.
  template <class Table, class SameRest>
  bool haveTheSameEntries(const Table& left, const Table& right, const SameRest& sameRest) {
    if (left.count() != right.count()) return false;
    using Entry = std::remove_cvref_t<decltype(*left.begin())>;
    std::unordered_multimap<NSUInteger, const Entry*> collections;  // that are keys on the right, by their hashes
    for (const Entry& entry : right) {
      if (kindOf(*keyOf(entry)) != Kind::Other) collections.emplace(keyOf(entry)->hash(), &entry);
    }
    return std::ranges::all_of(left, [&](const Entry& entry) {
      const Entry* like = nullptr;
      if (kindOf(*keyOf(entry)) == Kind::Other) {
        like = right.entryForKey(keyOf(entry));
      } else {
        like = likeOf(keyOf(entry), collections);
      }
      return like && sameRest(entry, *like);
    });
  }

  template <class Entry>
  const Entry* likeOf(const id& key, const std::unordered_multimap<NSUInteger, const Entry*>& collections) {
    const auto [first, last] = collections.equal_range(key->hash());
    if (first == last) return nullptr;
    // The only one with that hash has to be the equal one.
    if (std::next(first) == last) return mayBeEqual(key, keyOf(*first->second)) ? first->second : nullptr;
    const foundation::NestingLevel level;
    const auto found =
        std::find_if(first, last, [&](const auto& each) { return NSEqualObjects(key, keyOf(*each.second)); });
    return found == last ? nullptr : found->second;
  }

  std::vector<Pair> waiting_;
  std::unordered_set<Pair, PairHash> met_;
};

// Spreads a hash over all bits, so that a sum of several tells which there are.
NSUInteger mixed(NSUInteger hash) {
  constexpr NSUInteger mixer = 0xBF58476D1CE4E5B9U;
  hash = (hash ^ (hash >> 30U)) * mixer;
  return hash ^ (hash >> 27U);
}

constexpr NSUInteger multiplier = 1'000'003;  // odd, and large enough to spread small numbers

NSUInteger hashOf(const NSObject& object, NSUInteger affordable);

// What each of so many elements may cost. It halves from level to level, so that a collection that holds itself comes
// to an end; and it goes by nothing but counts, so that equal collections have equal hashes.
NSUInteger share(NSUInteger affordable, NSUInteger count) { return std::min((affordable - 1) / count, affordable / 2); }

NSUInteger hashOfArray(const NSArray& array, NSUInteger affordable) {
  constexpr NSUInteger mostSampled = 32;
  const NSUInteger count = array.count();
  NSUInteger hash = count;
  if (count == 0 || affordable == 0) return hash;
  const NSUInteger sampled = std::min({count, mostSampled, affordable});
  const NSUInteger step = (count + sampled - 1) / sampled;
  // From the end: records that differ often begin alike.
  for (NSUInteger rest = count; rest > 0; rest -= std::min(rest, step)) {
    hash = hash * multiplier + hashOf(*array.objectAtIndex(rest - 1), share(affordable, sampled));
  }
  return hash;
}

// A sum, because equal dictionaries and sets may have their entries in another order; for the same reason all entries
// are in it.
NSUInteger hashOfDictionary(const NSDictionary& dictionary, NSUInteger affordable) {
  NSUInteger hash = dictionary.count();
  if (hash == 0 || affordable == 0) return hash;
  const NSUInteger each = share(affordable, 2 * dictionary.count());
  for (const auto& [key, value] : dictionary) hash += mixed(hashOf(*key, each) * multiplier + hashOf(*value, each));
  return hash;
}

NSUInteger hashOfSet(const NSSet& set, NSUInteger affordable) {
  NSUInteger hash = set.count();
  if (hash == 0 || affordable == 0) return hash;
  const NSUInteger each = share(affordable, set.count());
  for (const id& member : set) hash += mixed(hashOf(*member, each));
  return hash;
}

NSUInteger hashOf(const NSObject& object, NSUInteger affordable) {
  switch (kindOf(object)) {
    case Kind::Array:
      return hashOfArray(asArray(object), affordable);
    case Kind::Dictionary:
      return hashOfDictionary(asDictionary(object), affordable);
    case Kind::Set:
      return hashOfSet(asSet(object), affordable);
    default:
      return object.hash();
  }
}

}  // namespace

bool foundation::equalCollections(const NSObject& left, const NSObject& right) {
  return Comparison().areEqual(left, right);
}

NSUInteger foundation::hashOfCollection(const NSObject& collection) {
  constexpr NSUInteger affordable = 1024;  // elements, roughly
  return hashOf(collection, affordable);
}

}  // namespace telvo
