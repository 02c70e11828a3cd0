#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/collections/NSEnumerator.h"

namespace {

TEST(NSEnumerator, HandsOutEachElementOnceAndThenNil) {
  const auto enumerator = NSArray::arrayWithObjects({"a"_ns, "b"_ns})->objectEnumerator();
  EXPECT_TRUE(NSEqualObjects(enumerator->nextObject(), "a"_ns));
  EXPECT_TRUE(NSEqualObjects(enumerator->nextObject(), "b"_ns));
  EXPECT_EQ(enumerator->nextObject(), nil);
  EXPECT_EQ(enumerator->nextObject(), nil);
}

TEST(NSEnumerator, AllObjectsAreTheOnesLeft) {
  const auto enumerator = NSArray::arrayWithObjects({"a"_ns, "b"_ns, "c"_ns})->reverseObjectEnumerator();
  enumerator->nextObject();
  EXPECT_TRUE(enumerator->allObjects()->isEqual(NSArray::arrayWithObjects({"b"_ns, "a"_ns})));
  EXPECT_EQ(enumerator->allObjects()->count(), 0U);
}

TEST(NSEnumerator, SurvivesChangesOfTheArray) {
  const auto array = NSMutableArray::arrayWithObjects({"a"_ns, "b"_ns, "c"_ns, "d"_ns});
  const auto enumerator = array->reverseObjectEnumerator();
  NSUInteger seen = 0;
  while (const id object = enumerator->nextObject()) {
    array->removeObject(object);
    ++seen;
  }
  EXPECT_EQ(seen, 4U);
  const auto forward = array->objectEnumerator();
  EXPECT_EQ(forward->nextObject(), nil);
  array->addObject("late"_ns);
  EXPECT_EQ(forward->nextObject(), nil);
}

TEST(NSEnumerator, EnumeratesKeysAndObjectsOfADictionary) {
  const auto dictionary = NSDictionary::dictionary({{"a"_ns, "1"_ns}, {"b"_ns, "2"_ns}});
  EXPECT_TRUE(dictionary->keyEnumerator()->allObjects()->isEqual(dictionary->allKeys()));
  EXPECT_TRUE(dictionary->objectEnumerator()->allObjects()->isEqual(dictionary->allValues()));
}

TEST(NSEnumerator, IsUsableByName) {
  const id enumerator = NSArray::arrayWithObject("a"_ns)->performSelector("objectEnumerator"_sel);
  EXPECT_TRUE(NSEqualObjects(enumerator->performSelector("nextObject"_sel), "a"_ns));
}

}  // namespace
