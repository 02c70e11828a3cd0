#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"

namespace {

TEST(NSString, CarriesInvalidUTF8Losslessly) {
  const std::string bytes = "a\xff\xc3(\xed\xa0\x80z\xf0\x9f\x98\x80";
  const auto text = NSString::stringWithUTF8String(bytes);
  EXPECT_EQ(text->characterAtIndex(1), 0xDCFF);
  EXPECT_EQ(text->UTF8String(), bytes);
}

TEST(NSString, FormatsObjectsAndNumbers) {
  EXPECT_EQ(NSString::stringWithFormat("%@ %d%% %05.1f|%-4s|%x"_ns, "a"_ns, 33, 2.25, "ab", 255)->UTF8String(),
            "a 33% 002.2|ab  |ff");
  EXPECT_EQ(NSString::stringWithFormat("%2$@ %1$@"_ns, "a"_ns, "b"_ns)->UTF8String(), "b a");
  EXPECT_EQ(NSString::stringWithFormat("%@ %d"_ns, nil)->UTF8String(), "(null) %d");
  EXPECT_EQ(NSString::stringWithFormat("%0.10ld"_ns, 42)->UTF8String(), "0000000042");
}

TEST(NSString, ComparesWithFullCaseFolding) {
  EXPECT_EQ("Straße"_ns->caseInsensitiveCompare("STRASSE"_ns), NSOrderedSame);
  EXPECT_EQ("ÉTÉ"_ns->caseInsensitiveCompare("été"_ns), NSOrderedSame);
  EXPECT_EQ("xxSTRASSExx"_ns->rangeOfString("straße"_ns, NSCaseInsensitiveSearch), NSMakeRange(2, 7));
  EXPECT_EQ("abc"_ns->rangeOfString(""_ns).location, NSNotFound);
}

TEST(NSString, ReadsLeadingNumbers) {
  EXPECT_EQ(" -12abc"_ns->integerValue(), -12);
  EXPECT_EQ("99999999999999999999"_ns->integerValue(), NSIntegerMax);
  EXPECT_EQ("-9223372036854775808"_ns->integerValue(), std::numeric_limits<NSInteger>::min());
  EXPECT_DOUBLE_EQ("+2.5e1x"_ns->doubleValue(), 25.0);
  EXPECT_DOUBLE_EQ("."_ns->doubleValue(), 0.0);
}

TEST(NSMutableString, ReplacesEveryOccurrenceOnce) {
  const auto text = NSMutableString::stringWithString("aAaA"_ns);
  EXPECT_EQ(text->replaceOccurrencesOfString_withString_options_range("a"_ns, "aa"_ns, NSCaseInsensitiveSearch,
                                                                      {0, text->length()}),
            4U);
  EXPECT_EQ(text->UTF8String(), "aaaaaaaa");
}

TEST(NSNumber, EqualityGoesByValue) {
  EXPECT_TRUE(NSNumber::numberWithBool(true)->isEqual(NSNumber::numberWithInteger(1)));
  EXPECT_TRUE(NSNumber::numberWithDouble(1)->isEqual(NSNumber::numberWithUnsignedInteger(1)));
  EXPECT_FALSE(NSNumber::numberWithInteger(-1)->isEqual(NSNumber::numberWithUnsignedInteger(NSUIntegerMax)));
  EXPECT_EQ(NSNumber::numberWithBool(true)->description()->UTF8String(), "1");
  EXPECT_EQ(NSNumber::numberWithDouble(0.1)->description()->UTF8String(), "0.1");
  EXPECT_EQ(NSNumber::numberWithDouble(1e30)->integerValue(), NSIntegerMax);
}

TEST(NSDictionary, EqualDictionariesHaveEqualDescriptions) {
  const auto one = NSDictionary::dictionary({{"b"_ns, "x y"_ns}, {"a"_ns, NSNumber::numberWithBool(false)}});
  const auto other = NSDictionary::dictionary({{"a"_ns, NSNumber::numberWithBool(false)}, {"b"_ns, "x y"_ns}});
  EXPECT_EQ(one->description()->UTF8String(), "{\n    a = 0;\n    b = \"x y\";\n}");
  EXPECT_TRUE(one->description()->isEqual(other->description()));
  EXPECT_TRUE(one->isEqual(other));
}

TEST(NSDictionary, DescriptionsKeepDifferentTextsApart) {
  const auto one = NSDictionary::dictionary({{"a"_ns, "x\";\n    b = \"y"_ns}});
  const auto other = NSDictionary::dictionary({{"a"_ns, "x"_ns}, {"b"_ns, "y"_ns}});
  EXPECT_FALSE(one->description()->isEqual(other->description()));
}

TEST(NSDictionary, HoldsManyKeysAndForgetsRemovedOnes) {
  const auto dictionary = NSMutableDictionary::dictionary();
  for (NSInteger i = 0; i < 1000; ++i)
    dictionary->setObject_forKey(NSNumber::numberWithInteger(i), NSString::stringWithFormat("%ld"_ns, i));
  for (NSInteger i = 0; i < 1000; i += 2) dictionary->removeObjectForKey(NSString::stringWithFormat("%ld"_ns, i));
  EXPECT_EQ(dictionary->count(), 500U);
  EXPECT_EQ(dictionary->objectForKey("4"_ns), nil);
  EXPECT_EQ(as<NSNumber>(dictionary->objectForKey("5"_ns))->integerValue(), 5);
  EXPECT_THROW(dictionary->setObject_forKey(nil, "a"_ns), Ref<NSException>);
}

TEST(NSArray, RefusesNilAndWrongIndexes) {
  EXPECT_THROW(NSArray::arrayWithObjects({nil}), Ref<NSException>);
  EXPECT_THROW(NSArray::array()->objectAtIndex(0), Ref<NSException>);
  const auto array = NSMutableArray::arrayWithObjects({"b"_ns, "a"_ns, "b"_ns});
  array->removeObject(array->objectAtIndex(0));
  EXPECT_EQ(array->count(), 1U);
}

id integers(NSInteger count, NSInteger last = 0) {
  const auto array = NSMutableArray::array();
  for (NSInteger i = 1; i < count; ++i) array->addObject(NSNumber::numberWithInteger(i));
  array->addObject(NSNumber::numberWithInteger(last));
  return array;
}

TEST(NSArray, EqualArraysHaveEqualHashesHoweverTheyAreNested) {
  const auto nested = [](const id& innermost) {
    id array = innermost;
    for (int depth = 0; depth < 600; ++depth) array = NSArray::arrayWithObjects({array, "x"_ns, array});
    return array;
  };
  const std::vector<std::pair<id, id>> equals{
      {NSArray::array(), NSMutableArray::array()},
      {NSArray::arrayWithObjects({"a"_ns, NSNumber::numberWithInteger(1)}),
       NSMutableArray::arrayWithObjects({NSMutableString::stringWithString("a"_ns), NSNumber::numberWithDouble(1.0)})},
      {NSArray::arrayWithObject(integers(5)), NSMutableArray::arrayWithObjects({integers(5)->copy()})},
      {integers(100'000), integers(100'000)},
      {nested(integers(3)), nested(integers(3))},
  };
  for (const auto& [left, right] : equals) EXPECT_EQ(left->hash(), right->hash());
}

TEST(NSArray, HashesTellArraysOfOneLengthApart) {
  std::set<NSUInteger> hashes;
  constexpr NSInteger arrays = 1000;
  for (NSInteger i = 0; i < arrays; ++i) {
    hashes.insert(NSArray::arrayWithObjects({"record"_ns, NSNumber::numberWithInteger(i)})->hash());
    hashes.insert(NSArray::arrayWithObjects({NSArray::arrayWithObject(NSNumber::numberWithInteger(i))})->hash());
    hashes.insert(integers(500, i)->hash());
  }
  EXPECT_GT(hashes.size(), 2700U);
}

TEST(NSDictionary, EqualDictionariesHaveEqualHashesWhateverTheirOrder) {
  const auto date = NSDate::dateWithTimeIntervalSince1970(0.5);
  const auto nested = NSArray::arrayWithObjects({"x"_ns, NSDictionary::dictionary()});
  const auto dictionary = NSDictionary::dictionary({{"a"_ns, NSNumber::numberWithInteger(1)},
                                                    {"b"_ns, date},
                                                    {NSNumber::numberWithInteger(2), "two"_ns},
                                                    {"list"_ns, nested}});
  const auto other = NSMutableDictionary::dictionary({{"list"_ns, nested->mutableCopy()},
                                                      {NSNumber::numberWithDouble(2.0), NSMutableString::string()},
                                                      {"b"_ns, NSDate::dateWithTimeIntervalSince1970(0.5)},
                                                      {"a"_ns, NSNumber::numberWithBool(true)}});
  other->setObject_forKey(NSMutableString::stringWithString("two"_ns), NSNumber::numberWithInteger(2));
  ASSERT_TRUE(dictionary->isEqual(other));
  EXPECT_EQ(dictionary->hash(), other->hash());
}

TEST(NSDictionary, HashesTellRecordsWithTheSameKeysApart) {
  std::set<NSUInteger> hashes;
  constexpr NSInteger records = 1000;
  for (NSInteger i = 0; i < records; ++i) {
    const auto small = NSNumber::numberWithInteger(i % 10);
    const auto large = NSNumber::numberWithInteger(i / 10);
    hashes.insert(NSDictionary::dictionary({{"a"_ns, small}, {"b"_ns, large}})->hash());
  }
  EXPECT_GT(hashes.size(), 900U);
  const auto itself = NSMutableDictionary::dictionary();
  itself->setObject_forKey(itself, "self"_ns);
  EXPECT_EQ(itself->hash(), itself->hash());
  itself->removeAllObjects();
}

TEST(NSArray, AnArrayThatHoldsItselfHasAHash) {
  const auto array = NSMutableArray::arrayWithObjects({"a"_ns});
  array->addObject(array);
  array->addObject(array);
  EXPECT_EQ(array->hash(), array->hash());
  array->removeAllObjects();
}

TEST(NSMutableArray, ReplacesARangeByAnotherArrayItselfIncluded) {
  const auto array = NSMutableArray::arrayWithObjects({"a"_ns, "b"_ns, "c"_ns});
  array->replaceObjectsInRange_withObjectsFromArray({1, 1}, array);
  EXPECT_EQ(array->componentsJoinedByString(""_ns)->UTF8String(), "aabcc");
  array->replaceObjectsInRange_withObjectsFromArray({0, 5}, nil);
  EXPECT_EQ(array->count(), 0U);
  EXPECT_THROW(array->replaceObjectsInRange_withObjectsFromArray({1, 0}, nil), Ref<NSException>);
}

TEST(NSFastEnumeration, GoesThroughEveryKindOfCollection) {
  const auto array = NSArray::arrayWithObjects({"a"_ns, "b"_ns});
  EXPECT_EQ(NSFastEnumeration(array), array->objects());
  EXPECT_EQ(NSFastEnumeration(NSSet::setWithArray(array)), array->objects());
  EXPECT_EQ(NSFastEnumeration(array->objectEnumerator()), array->objects());
  const auto dictionary = NSDictionary::dictionary({{"a"_ns, "1"_ns}});
  EXPECT_EQ(NSFastEnumeration(dictionary), dictionary->allKeys()->objects());
  EXPECT_TRUE(NSFastEnumeration(nil).empty());
  EXPECT_TRUE(NSFastEnumeration("abc"_ns).empty());
}

TEST(NSDate, DescriptionCutsToTheWholeSecond) {
  EXPECT_EQ(NSDate::dateWithTimeIntervalSince1970(0.9)->description()->UTF8String(), "1970-01-01 00:00:00 +0000");
  EXPECT_EQ(NSDate::dateWithTimeIntervalSince1970(-0.1)->description()->UTF8String(), "1969-12-31 23:59:59 +0000");
}

TEST(NSData, DescriptionIsHexadecimal) {
  EXPECT_EQ(NSData::dataWithBytes("hello")->description()->UTF8String(), "<68656c6c 6f>");
}

}  // namespace
