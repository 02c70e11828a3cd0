#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/collections/NSSet.h"

namespace {

TEST(NSSet, HoldsEqualObjectsOnceAndKeepsTheFirst) {
  const auto first = NSMutableString::stringWithString("a"_ns);
  const auto set = NSSet::setWithObjects({first, "a"_ns, "b"_ns});
  EXPECT_EQ(set->count(), 2U);
  EXPECT_EQ(set->member("a"_ns), first);
  EXPECT_TRUE(set->containsObject("b"_ns));
  EXPECT_FALSE(set->containsObject("c"_ns));
  EXPECT_FALSE(set->containsObject(nil));
  EXPECT_EQ(set->member(nil), nil);
}

TEST(NSSet, NumbersAreOneMemberByValue) {
  const auto set = NSSet::setWithObjects({NSNumber::numberWithInteger(1), NSNumber::numberWithDouble(1.0)});
  EXPECT_EQ(set->count(), 1U);
  EXPECT_TRUE(set->containsObject(NSNumber::numberWithBool(true)));
}

TEST(NSSet, ListsItsMembersInTheOrderOfAdding) {
  const auto set = NSMutableSet::setWithObjects({"c"_ns, "a"_ns, "b"_ns});
  set->removeObject("a"_ns);
  set->addObject("a"_ns);
  EXPECT_TRUE(set->allObjects()->isEqual(NSArray::arrayWithObjects({"c"_ns, "b"_ns, "a"_ns})));
  EXPECT_TRUE(set->objectEnumerator()->allObjects()->isEqual(set->allObjects()));
  EXPECT_EQ(NSSet::set()->anyObject(), nil);
}

TEST(NSSet, EqualityAndDescriptionIgnoreTheOrder) {
  const auto one = NSSet::setWithObjects({"a"_ns, NSNumber::numberWithInteger(2)});
  const auto other = NSSet::setWithObjects({NSNumber::numberWithInteger(2), "a"_ns});
  EXPECT_TRUE(one->isEqual(other));
  EXPECT_EQ(one->hash(), other->hash());
  EXPECT_EQ(one->description()->UTF8String(), "{(\n    2,\n    a\n)}");
  EXPECT_TRUE(one->description()->isEqual(other->description()));
  EXPECT_EQ(NSSet::set()->description()->UTF8String(), "{(\n)}");
  EXPECT_FALSE(one->isEqual(NSSet::setWithObject("a"_ns)));
  EXPECT_FALSE(one->isEqual("a"_ns));
  EXPECT_EQ(NSArray::arrayWithObject(NSSet::setWithObject("a"_ns))->description()->UTF8String(),
            "(\n    {(\n        a\n    )}\n)");
}

TEST(NSSet, RefusesNil) {
  EXPECT_THROW(NSSet::setWithObject(nil), Ref<NSException>);
  EXPECT_THROW(NSMutableSet::set()->addObject(nil), Ref<NSException>);
  EXPECT_EQ(NSSet::setWithArray(nil)->count(), 0U);
}

TEST(NSSet, CopiesAreIndependent) {
  const auto set = NSMutableSet::setWithObjects({"a"_ns});
  const auto copy = as<NSSet>(set->copy());
  const auto mutableCopy = as<NSMutableSet>(copy->mutableCopy());
  mutableCopy->addObject("b"_ns);
  set->removeAllObjects();
  EXPECT_EQ(as<NSMutableSet>(copy), nil);
  EXPECT_EQ(copy->count(), 1U);
  EXPECT_EQ(mutableCopy->count(), 2U);
  EXPECT_EQ(copy->copy(), copy);
}

TEST(NSMutableSet, UnionMinusAndIntersectionTakeItselfToo) {
  const auto set = NSMutableSet::setWithObjects({"a"_ns, "b"_ns});
  set->unionSet(NSSet::setWithObjects({"b"_ns, "c"_ns}));
  EXPECT_EQ(set->count(), 3U);
  set->minusSet(NSSet::setWithObject("a"_ns));
  EXPECT_FALSE(set->containsObject("a"_ns));
  set->intersectSet(NSSet::setWithObjects({"c"_ns, "d"_ns}));
  EXPECT_TRUE(set->isEqualToSet(NSSet::setWithObject("c"_ns)));
  set->unionSet(set);
  set->intersectSet(set);
  EXPECT_EQ(set->count(), 1U);
  set->minusSet(set);
  EXPECT_EQ(set->count(), 0U);
  EXPECT_FALSE(set->containsObject("c"_ns));
}

TEST(NSSet, ComparesAsSubsetAndByIntersection) {
  const auto set = NSSet::setWithObjects({"a"_ns, "b"_ns});
  EXPECT_TRUE(NSSet::setWithObject("a"_ns)->isSubsetOfSet(set));
  EXPECT_FALSE(set->isSubsetOfSet(NSSet::setWithObject("a"_ns)));
  EXPECT_TRUE(NSSet::set()->isSubsetOfSet(nil));
  EXPECT_TRUE(set->intersectsSet(NSSet::setWithObjects({"z"_ns, "b"_ns})));
  EXPECT_FALSE(set->intersectsSet(NSSet::set()));
  EXPECT_FALSE(set->intersectsSet(nil));
}

}  // namespace
