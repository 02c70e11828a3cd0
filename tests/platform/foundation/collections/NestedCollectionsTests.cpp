// Collections nested deeper than any stack, collections that hold themselves, and collections of many alike.

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/collections/NSSet.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

namespace {

using Wrap = id (*)(const id&);

id inArray(const id& object) { return NSArray::arrayWithObject(object); }
id inDictionary(const id& object) { return NSDictionary::dictionaryWithObject_forKey(object, "key"_ns); }
id inSet(const id& object) { return NSSet::setWithObject(object); }
id asKey(const id& object) { return NSDictionary::dictionaryWithObject_forKey("value"_ns, object); }

id nested(id innermost, int levels, Wrap wrap) {
  for (int level = 0; level < levels; ++level) innermost = wrap(innermost);
  return innermost;
}

class NestedCollections : public testing::TestWithParam<Wrap> {};

TEST_P(NestedCollections, EqualWhenTheyHoldTheSame) {
  constexpr int levels = 100'000;
  const id one = nested("a"_ns, levels, GetParam());
  const id same = nested("a"_ns, levels, GetParam());
  const id other = nested("b"_ns, levels, GetParam());
  const id deeper = nested("a"_ns, levels + 1, GetParam());
  EXPECT_TRUE(NSEqualObjects(one, same));
  EXPECT_EQ(one->hash(), same->hash());
  EXPECT_FALSE(NSEqualObjects(one, other));
  EXPECT_FALSE(NSEqualObjects(one, deeper));
}

TEST_P(NestedCollections, AreReleasedWithoutRunningOutOfStack) {
  constexpr int levels = 1'000'000;
  id innermost = NSMutableArray::array();
  const Ref<NSObject> probe = innermost;
  id outermost = nested(std::move(innermost), levels, GetParam());
  EXPECT_NE(outermost, nil);
  outermost = nil;
  // The innermost object is held by nothing but the probe.
  EXPECT_TRUE(probe->isKindOfClass(NSMutableArray::classObject()));
}

TEST_P(NestedCollections, AreDescribedToACertainDepth) {
  const auto few = nested("innermost"_ns, 8, GetParam())->description();
  EXPECT_NE(few->rangeOfString("innermost"_ns).location, NSNotFound);
  const auto many = nested("innermost"_ns, 100'000, GetParam())->description();
  EXPECT_EQ(many->rangeOfString("innermost"_ns).location, NSNotFound);
  EXPECT_NE(many->rangeOfString("..."_ns).location, NSNotFound);
}

INSTANTIATE_TEST_SUITE_P(EveryKind, NestedCollections, testing::Values(&inArray, &inDictionary, &inSet, &asKey));

TEST(NestedCollection, OfManyKindsIsComparedThrough) {
  const auto wrapped = [](id object) {
    for (int level = 0; level < 10'000; ++level) object = inSet(inDictionary(inArray(object)));
    return object;
  };
  EXPECT_TRUE(NSEqualObjects(wrapped("a"_ns), wrapped("a"_ns)));
  EXPECT_FALSE(NSEqualObjects(wrapped("a"_ns), wrapped("b"_ns)));
}

TEST(NestedCollection, HeldManyTimesOverIsComparedOnce) {
  // 2^60 leaves.
  const auto doubled = [](id object) {
    for (int level = 0; level < 60; ++level) object = NSArray::arrayWithObjects({object, object});
    return object;
  };
  EXPECT_TRUE(NSEqualObjects(doubled("a"_ns), doubled("a"_ns)));
  EXPECT_FALSE(NSEqualObjects(doubled("a"_ns), doubled("b"_ns)));
  EXPECT_EQ(doubled("a"_ns)->hash(), doubled("a"_ns)->hash());
}

TEST(NestedCollection, ThatHoldsItselfEqualsOneOfTheSameShape) {
  const auto ring = NSMutableArray::array();
  ring->addObject(ring);
  const auto alike = NSMutableArray::array();
  alike->addObject(alike);
  EXPECT_TRUE(ring->isEqual(ring));
  EXPECT_TRUE(ring->isEqual(alike));
  EXPECT_EQ(ring->hash(), alike->hash());
  alike->addObject("more"_ns);
  EXPECT_FALSE(ring->isEqual(alike));
  const auto dictionary = NSMutableDictionary::dictionary();
  dictionary->setObject_forKey(dictionary, "self"_ns);
  EXPECT_TRUE(dictionary->isEqual(dictionary));
  EXPECT_FALSE(dictionary->isEqual(NSDictionary::dictionaryWithObject_forKey("x"_ns, "self"_ns)));
  ring->removeAllObjects();
  alike->removeAllObjects();
  dictionary->removeAllObjects();
}

TEST(NestedCollection, ThatHoldsItselfIsDescribedOnce) {
  const auto ring = NSMutableArray::array();
  ring->addObject(ring);
  ring->addObject(ring);
  ring->addObject("end"_ns);
  EXPECT_EQ(ring->description()->UTF8String(), "(\n    ...,\n    ...,\n    end\n)");
  const auto set = NSMutableSet::set();
  set->addObject(inDictionary(set));
  EXPECT_EQ(set->description()->UTF8String(), "{(\n    {\n        key = ...;\n    }\n)}");
  const auto dictionary = NSMutableDictionary::dictionary();
  dictionary->setObject_forKey("value"_ns, inArray(dictionary));
  dictionary->setObject_forKey(dictionary, "self"_ns);
  EXPECT_EQ(dictionary->description()->UTF8String(), "{\n    \"(\\n    ...\\n)\" = value;\n    self = ...;\n}");
  EXPECT_EQ(NSArray::arrayWithObjects({ring, ring})->componentsJoinedByString(" "_ns)->UTF8String(),
            "(\n    ...,\n    ...,\n    end\n) (\n    ...,\n    ...,\n    end\n)");
  ring->removeAllObjects();
  set->removeAllObjects();
  dictionary->removeAllObjects();
}

TEST(NestedCollection, HasNoValuesForAKeyWhenItIsEndless) {
  const auto ring = NSMutableArray::array();
  ring->addObject(ring);
  EXPECT_THROW(ring->valueForKey("length"_ns), Ref<NSException>);
  ring->removeAllObjects();
  EXPECT_THROW(nested("a"_ns, 100'000, &inArray)->valueForKey("length"_ns), Ref<NSException>);
  EXPECT_TRUE(NSEqualObjects(nested("abc"_ns, 100, &inArray)->valueForKey("length"_ns),
                             nested(NSNumber::numberWithInteger(3), 100, &inArray)));
}

// Records that differ in what lies deeper inside them.
template <class MakeRecord>
std::size_t differentHashes(const MakeRecord& makeRecord) {
  std::vector<NSUInteger> hashes;
  for (NSInteger number = 0; number < 1000; ++number) hashes.push_back(makeRecord(number)->hash());
  std::ranges::sort(hashes);
  return static_cast<std::size_t>(std::unique(hashes.begin(), hashes.end()) - hashes.begin());
}

TEST(NestedCollection, HashTellsContentsApart) {
  const auto number = [](NSInteger value) -> id { return NSNumber::numberWithInteger(value); };
  const auto name = [](NSInteger value) -> id { return NSString::stringWithFormat("name %ld"_ns, value); };
  EXPECT_GT(differentHashes([&](NSInteger value) { return inSet(number(value)); }), 990U);
  EXPECT_GT(differentHashes([&](NSInteger value) { return inDictionary(inArray(number(value))); }), 990U);
  EXPECT_GT(differentHashes([&](NSInteger value) { return inDictionary(inDictionary(inSet(name(value)))); }), 990U);
  EXPECT_GT(differentHashes([&](NSInteger value) { return asKey(inArray(name(value))); }), 990U);
}

TEST(NestedCollection, HashDoesNotDependOnTheOrderOfWhatHasNone) {
  const auto first = NSDictionary::dictionary({{"a"_ns, inArray("1"_ns)}, {"b"_ns, inSet("2"_ns)}});
  const auto second = NSDictionary::dictionary({{"b"_ns, inSet("2"_ns)}, {"a"_ns, inArray("1"_ns)}});
  EXPECT_EQ(first->hash(), second->hash());
  EXPECT_EQ(NSSet::setWithObjects({first, "x"_ns})->hash(), NSSet::setWithObjects({"x"_ns, second})->hash());
}

TEST(NestedCollection, EqualSetsOfCollectionsAreFoundEqualInAnyOrder) {
  const auto set = [](std::initializer_list<id> members) { return NSSet::setWithObjects(members); };
  const id one = set({inArray("1"_ns), inArray("2"_ns), inDictionary("3"_ns)});
  const id same = set({inDictionary("3"_ns), inArray("2"_ns), inArray("1"_ns)});
  const id other = set({inDictionary("3"_ns), inArray("2"_ns), inArray("4"_ns)});
  EXPECT_TRUE(NSEqualObjects(one, same));
  EXPECT_FALSE(NSEqualObjects(one, other));
}

}  // namespace
