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

TEST(NSMutableString, ARangeBeyondItsEndRaisesAndChangesNothing) {
  const auto text = NSMutableString::stringWithString("abc"_ns);
  for (const NSRange range : {NSRange{2, 2}, NSRange{4, 0}, NSRange{1, NSUIntegerMax}}) {
    EXPECT_THROW(text->replaceCharactersInRange_withString(range, "x"_ns), Ref<NSException>);
    EXPECT_THROW(text->deleteCharactersInRange(range), Ref<NSException>);
  }
  EXPECT_EQ(text->UTF8String(), "abc");
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

TEST(NSDictionary, KeepsItsOrderWhileKeysAreRemovedAndSet) {
  const auto dictionary = NSMutableDictionary::dictionary();
  const auto key = [](NSInteger number) { return NSString::stringWithFormat("key %ld"_ns, number); };
  for (NSInteger number = 0; number < 100; ++number) {
    dictionary->setObject_forKey(NSNumber::numberWithInteger(number), key(number));
  }
  std::vector<NSInteger> expected;
  for (NSInteger number = 0; number < 100; ++number) {
    if (number % 3 == 0 || number < 20 || number > 90) {
      dictionary->removeObjectForKey(key(number));
    } else {
      expected.push_back(number);
    }
  }
  dictionary->setObject_forKey(NSNumber::numberWithInteger(0), key(0));
  expected.push_back(0);
  const auto order = [&] {
    std::vector<NSInteger> numbers;
    for (const auto& [each, object] : *dictionary) numbers.push_back(foundation::integerFromObject(object));
    return numbers;
  };
  EXPECT_EQ(order(), expected);
  EXPECT_EQ(dictionary->count(), expected.size());
  EXPECT_EQ(dictionary->allKeys()->count(), expected.size());
  for (const NSInteger number : expected) {
    EXPECT_EQ(foundation::integerFromObject(dictionary->objectForKey(key(number))), number);
  }
  EXPECT_EQ(dictionary->objectForKey(key(3)), nil);
  EXPECT_TRUE(dictionary->isEqual(dictionary->copy()));
  // From the front, as a queue is drained.
  for (const NSInteger number : expected) {
    EXPECT_EQ(foundation::integerFromObject(dictionary->begin()->second), number);
    dictionary->removeObjectForKey(key(number));
  }
  EXPECT_EQ(dictionary->count(), 0U);
  EXPECT_TRUE(dictionary->begin() == dictionary->end());
}

TEST(NSSet, KeepsItsOrderWhileMembersAreRemovedAndAdded) {
  const auto set = NSMutableSet::set();
  for (NSInteger number = 0; number < 50; ++number) set->addObject(NSNumber::numberWithInteger(number));
  for (NSInteger number = 0; number < 50; ++number) {
    if (number % 7 != 0) set->removeObject(NSNumber::numberWithInteger(number));
  }
  set->addObject(NSNumber::numberWithInteger(1));
  std::vector<NSInteger> members;
  for (const id& member : *set) members.push_back(foundation::integerFromObject(member));
  EXPECT_EQ(members, (std::vector<NSInteger>{0, 7, 14, 21, 28, 35, 42, 49, 1}));
  EXPECT_FALSE(set->containsObject(NSNumber::numberWithInteger(2)));
  EXPECT_EQ(set->allObjects()->count(), 9U);
}

TEST(NSString, SearchesUpToTheEndOfTheRangeAndNoFurther) {
  const auto text = "abcabc"_ns;
  for (const NSUInteger options : {0U, 1U}) {
    EXPECT_EQ(text->rangeOfString_options_range("abc"_ns, options, {1, 5}).location, 3U);
    EXPECT_EQ(text->rangeOfString_options_range("abc"_ns, options, {1, 4}).location, NSNotFound);
    EXPECT_EQ(text->rangeOfString_options_range("c"_ns, options, {0, 3}).location, 2U);
    EXPECT_EQ(text->rangeOfString_options_range("c"_ns, options, {0, 2}).location, NSNotFound);
    EXPECT_EQ(text->rangeOfString_options_range("a"_ns, options, {6, 0}).location, NSNotFound);
    const NSUInteger backwards = options | NSBackwardsSearch;
    EXPECT_EQ(text->rangeOfString_options_range("abc"_ns, backwards, {0, 6}).location, 3U);
    EXPECT_EQ(text->rangeOfString_options_range("abc"_ns, backwards, {0, 5}).location, 0U);
    EXPECT_EQ(text->rangeOfString_options_range("abc"_ns, backwards, {1, 4}).location, NSNotFound);
    EXPECT_EQ(text->rangeOfString_options_range("bc"_ns, backwards | NSAnchoredSearch, {0, 3}).location, 1U);
    EXPECT_EQ(text->rangeOfString_options_range("bc"_ns, backwards | NSAnchoredSearch, {0, 4}).location, NSNotFound);
    EXPECT_EQ(text->rangeOfString_options_range("ca"_ns, options | NSAnchoredSearch, {2, 4}).location, 2U);
    EXPECT_EQ(text->rangeOfString_options_range("ca"_ns, options | NSAnchoredSearch, {2, 1}).location, NSNotFound);
    EXPECT_EQ(text->rangeOfString_options_range("ca"_ns, options | NSAnchoredSearch, {1, 4}).location, NSNotFound);
  }
  EXPECT_EQ("Straße"_ns->rangeOfString_options_range("SS"_ns, NSCaseInsensitiveSearch, {0, 5}).location, 4U);
  EXPECT_EQ("Straße"_ns->rangeOfString_options_range("SS"_ns, NSCaseInsensitiveSearch, {0, 4}).location, NSNotFound);
  EXPECT_EQ("xß"_ns->rangeOfString_options_range("S"_ns, NSCaseInsensitiveSearch | NSBackwardsSearch, {0, 2}).location,
            NSNotFound);
}

TEST(NSString, ComparesWithoutCaseByCanonicalEquivalence) {
  const auto same = [](const Ref<NSString>& left, const Ref<NSString>& right) {
    EXPECT_EQ(left->caseInsensitiveCompare(right), NSOrderedSame) << left->UTF8String() << " " << right->UTF8String();
    EXPECT_TRUE(left->foldedString()->isEqualToString(right->foldedString()));
  };
  same("\u00E9"_ns, "e\u0301"_ns);
  same("\u00C9"_ns, "e\u0301"_ns);
  same("e\u0323\u0301"_ns, "E\u0301\u0323"_ns);
  same("\u212B"_ns, "\u00E5"_ns);              // the sign for Angstrom
  same("\uAC01"_ns, "\u1100\u1161\u11A8"_ns);  // Hangul
  same("Stra\u00DFe"_ns, "STRASSE"_ns);
  same("\u1F80"_ns, "\u1F00\u03B9"_ns);  // an iota that is written below
  EXPECT_NE("e"_ns->caseInsensitiveCompare("\u00E9"_ns), NSOrderedSame);
  EXPECT_NE("e\u0301\u0300"_ns->caseInsensitiveCompare("e\u0300\u0301"_ns), NSOrderedSame);
  // Equality of texts, and with it that of file names, stays one of units.
  EXPECT_FALSE("\u00E9"_ns->isEqualToString("e\u0301"_ns));
  EXPECT_FALSE("\u00E9"_ns->isEqual("e\u0301"_ns));
}

TEST(NSString, DecomposesAsUnicodeSaysHoweverManyMarksThereAre) {
  EXPECT_EQ("\u1EC7\u0344"_ns->decomposedStringWithCanonicalMapping()->UTF8String(), "e\u0323\u0302\u0308\u0301");
  EXPECT_EQ("a\u0301\u0323b\u0323"_ns->decomposedStringWithCanonicalMapping()->UTF8String(), "a\u0323\u0301b\u0323");
  EXPECT_EQ("\uAC01"_ns->decomposedStringWithCanonicalMapping()->UTF8String(), "\u1100\u1161\u11A8");
  EXPECT_EQ("\U0001D15E"_ns->decomposedStringWithCanonicalMapping()->UTF8String(), "\U0001D157\U0001D165");
  EXPECT_EQ("e\u0323\u0301"_ns->precomposedStringWithCanonicalMapping()->UTF8String(), "\u1EB9\u0301");
  const auto lone = NSString::stringWithUnits({u'e', 0xDC80, u'\u0301', 0xD800, u'\u00E9'});
  EXPECT_EQ(lone->decomposedStringWithCanonicalMapping()->units(),
            (std::u16string{u'e', 0xDC80, u'\u0301', 0xD800, u'e', u'\u0301'}));
  std::u16string marks = u"e";
  for (int i = 0; i < 100'000; ++i) marks += i % 2 == 0 ? u'\u0301' : u'\u0323';
  const auto sorted = u"e" + std::u16string(50'000, u'\u0323') + std::u16string(50'000, u'\u0301');
  EXPECT_TRUE(NSString::stringWithUnits(marks)->decomposedStringWithCanonicalMapping()->units() == sorted);
}

TEST(NSString, FieldsArePaddedToTheirWidthAndNoFurther) {
  const auto formatted = [](const Ref<NSString>& format, const NSFormatArgument& argument) {
    return NSString::stringWithFormat(format, argument)->UTF8String();
  };
  EXPECT_EQ(formatted("[%5@]"_ns, "abc"_ns), "[  abc]");
  EXPECT_EQ(formatted("[%-5@]"_ns, "abc"_ns), "[abc  ]");
  EXPECT_EQ(formatted("[%3@]"_ns, "abc"_ns), "[abc]");
  EXPECT_EQ(formatted("[%2@]"_ns, "abc"_ns), "[abc]");
  EXPECT_EQ(formatted("[%4.2@]"_ns, "abc"_ns), "[  ab]");
  EXPECT_EQ(formatted("[%.4@]"_ns, "abc"_ns), "[abc]");
  EXPECT_EQ(formatted("[%8.1f KB]"_ns, 1536.0 / 1024), "[     1.5 KB]");
  EXPECT_EQ(formatted("[%-8.1f KB]"_ns, 1.5), "[1.5      KB]");
  EXPECT_EQ(formatted("[%08.1f]"_ns, -1.5), "[-00001.5]");
}

TEST(NSArray, AnElementMayTakeItsOwnPlace) {
  const auto array = NSMutableArray::arrayWithObjects({NSString::stringWithFormat("%d"_ns, 1)});
  array->replaceObjectAtIndex_withObject(0, array->objectAtIndex(0));
  EXPECT_TRUE(NSEqualObjects(array->objectAtIndex(0), "1"_ns));
  array->removeObject(array->objectAtIndex(0));
  EXPECT_EQ(array->count(), 0U);
}

TEST(NSDictionary, AnEntryMayTakeItsOwnPlace) {
  const auto dictionary = NSMutableDictionary::dictionary({{"key"_ns, NSString::stringWithFormat("%d"_ns, 1)}});
  const auto& [key, object] = *dictionary->begin();
  dictionary->setObject_forKey(object, key);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("key"_ns), "1"_ns));
  dictionary->removeObjectForKey(dictionary->begin()->first);
  EXPECT_EQ(dictionary->count(), 0U);
}

}  // namespace
