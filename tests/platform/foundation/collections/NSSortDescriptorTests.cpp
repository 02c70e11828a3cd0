#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/collections/NSSortDescriptor.h"

namespace {

Ref<NSDictionary> person(const Ref<NSString>& name, NSInteger age) {
  return NSDictionary::dictionary({{"name"_ns, name}, {"age"_ns, NSNumber::numberWithInteger(age)}});
}

std::string names(const Ref<NSArray>& people) {
  return as<NSArray>(people->valueForKey("name"_ns))->componentsJoinedByString(" "_ns)->UTF8String();
}

const Ref<NSArray>& people() {
  static const Ref<NSArray> array =
      NSArray::arrayWithObjects({person("Cid"_ns, 9), person("Ann"_ns, 30), person("Bob"_ns, 9)});
  return array;
}

TEST(NSSortDescriptor, SortsByKeyPathAndKeepsEqualsInTheirOrder) {
  const auto byAge = NSSortDescriptor::sortDescriptorWithKey_ascending("age"_ns, true);
  EXPECT_EQ(names(people()->sortedArrayUsingDescriptors(NSArray::arrayWithObject(byAge))), "Cid Bob Ann");
  EXPECT_EQ(names(people()->sortedArrayUsingDescriptors(NSArray::arrayWithObject(byAge->reversedSortDescriptor()))),
            "Ann Cid Bob");
  const auto byLength = NSSortDescriptor::sortDescriptorWithKey_ascending("name.length"_ns, true);
  EXPECT_EQ(names(people()->sortedArrayUsingDescriptors(NSArray::arrayWithObject(byLength))), "Cid Ann Bob");
}

TEST(NSSortDescriptor, LaterDescriptorsDecideAmongEquals) {
  const auto order = NSArray::arrayWithObjects({NSSortDescriptor::sortDescriptorWithKey_ascending("age"_ns, false),
                                                NSSortDescriptor::sortDescriptorWithKey_ascending("name"_ns, true)});
  EXPECT_EQ(names(people()->sortedArrayUsingDescriptors(order)), "Ann Bob Cid");
}

TEST(NSSortDescriptor, NilValuesComeFirstAscendingAndLastDescending) {
  const auto nameless = NSDictionary::dictionary();
  const auto named = person("Ann"_ns, 1);
  const auto ascending = NSSortDescriptor::sortDescriptorWithKey_ascending("name"_ns, true);
  EXPECT_EQ(ascending->compareObject_toObject(nameless, named), NSOrderedAscending);
  EXPECT_EQ(ascending->compareObject_toObject(named, nameless), NSOrderedDescending);
  EXPECT_EQ(ascending->compareObject_toObject(nameless, nameless), NSOrderedSame);
  EXPECT_EQ(ascending->reversedSortDescriptor()->compareObject_toObject(nameless, named), NSOrderedDescending);
}

TEST(NSSortDescriptor, ComparesWithAnotherSelectorOrComparator) {
  const auto words = NSArray::arrayWithObjects({"b"_ns, "C"_ns, "a"_ns});
  const auto insensitive =
      NSSortDescriptor::sortDescriptorWithKey_ascending_selector(nil, true, "caseInsensitiveCompare:"_sel);
  EXPECT_EQ(words->sortedArrayUsingDescriptors(NSArray::arrayWithObject(insensitive))
                ->componentsJoinedByString(""_ns)
                ->UTF8String(),
            "abC");
  const auto none = NSSortDescriptor::sortDescriptorWithKey_ascending_comparator(
      nil, true, [](const id&, const id&) { return NSOrderedSame; });
  const auto mutableWords = NSMutableArray::arrayWithArray(words);
  mutableWords->sortUsingDescriptors(NSArray::arrayWithObject(none));
  EXPECT_TRUE(mutableWords->isEqual(words));
}

TEST(NSSortDescriptor, ValuesThatCannotBeComparedRaiseAndLeaveTheArray) {
  const auto array = NSMutableArray::arrayWithObjects({NSNull::null(), "a"_ns, NSNull::null()});
  const auto order =
      NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKey_ascending("missing.key"_ns, true));
  EXPECT_THROW(array->sortUsingDescriptors(order), Ref<NSException>);
  const auto plain = NSSortDescriptor::sortDescriptorWithKey_ascending(nil, true);
  EXPECT_THROW(array->sortUsingDescriptors(NSArray::arrayWithObject(plain)), Ref<NSException>);
  EXPECT_THROW(array->sortUsingComparator(NSComparatorWithSelector("compare:"_sel)), Ref<NSException>);
  EXPECT_TRUE(array->isEqual(NSArray::arrayWithObjects({NSNull::null(), "a"_ns, NSNull::null()})));
}

// A comparison by a method of one class finds no order among the objects of another.
TEST(NSSortDescriptor, ValuesOfClassesThatHaveNoCommonOrderRaise) {
  const auto plain = NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKey_ascending(nil, true));
  const id number = NSNumber::numberWithInteger(3);
  const id text = "a"_ns;
  const id date = NSDate::dateWithTimeIntervalSince1970(0);
  for (const auto& mixed : {NSArray::arrayWithObjects({number, text}), NSArray::arrayWithObjects({text, number}),
                            NSArray::arrayWithObjects({date, number}), NSArray::arrayWithObjects({text, date})}) {
    const auto sorted = NSMutableArray::arrayWithArray(mixed);
    EXPECT_THROW(sorted->sortUsingDescriptors(plain), Ref<NSException>);
    EXPECT_TRUE(sorted->isEqual(mixed));
  }
}

TEST(NSSortDescriptor, ComparesObjectsOfASubclassWithThoseOfItsBase) {
  const auto texts = NSArray::arrayWithObjects({"b"_ns, NSMutableString::stringWithString("a"_ns), "c"_ns});
  const auto plain = NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKey_ascending(nil, true));
  EXPECT_EQ(texts->sortedArrayUsingDescriptors(plain)->componentsJoinedByString(""_ns)->UTF8String(), "abc");
}

}  // namespace
