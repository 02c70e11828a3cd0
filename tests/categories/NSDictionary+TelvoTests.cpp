#include <gtest/gtest.h>

#include "categories/NSDictionary+Telvo.h"
#include "foundation/Foundation.h"

namespace {

bool boolOf(const id& value) { return telvo_boolForKey(NSDictionary::dictionary({{"key"_ns, value}}), "key"_ns); }

TEST(NSDictionaryTelvo, BoolIsTrueForYesAndForIntegersOtherThanZero) {
  EXPECT_TRUE(boolOf("YES"_ns));
  EXPECT_TRUE(boolOf("yes"_ns));
  EXPECT_TRUE(boolOf("Yes"_ns));
  EXPECT_TRUE(boolOf("7"_ns));
  EXPECT_TRUE(boolOf("-1"_ns));
  EXPECT_TRUE(boolOf("  2 of them"_ns));
  EXPECT_TRUE(boolOf(NSNumber::numberWithBool(true)));
  EXPECT_TRUE(boolOf(NSNumber::numberWithInteger(-3)));
}

TEST(NSDictionaryTelvo, BoolIsFalseForEverythingElse) {
  EXPECT_FALSE(boolOf("true"_ns));
  EXPECT_FALSE(boolOf("NO"_ns));
  EXPECT_FALSE(boolOf("0"_ns));
  EXPECT_FALSE(boolOf(""_ns));
  EXPECT_FALSE(boolOf(" yes"_ns));
  EXPECT_FALSE(boolOf("0.5"_ns));
  EXPECT_FALSE(boolOf(NSNumber::numberWithBool(false)));
  EXPECT_FALSE(boolOf(NSNull::null()));
  EXPECT_FALSE(telvo_boolForKey(NSDictionary::dictionary(), "absent"_ns));
  EXPECT_FALSE(telvo_boolForKey(nil, "key"_ns));
}

Ref<NSNumber> number(NSInteger value) { return NSNumber::numberWithInteger(value); }

// Every kind of value that the readers meet.
Ref<NSDictionary> sample() {
  return NSDictionary::dictionary({{"text"_ns, "12abc"_ns},
                                   {"real"_ns, NSNumber::numberWithDouble(3.9)},
                                   {"empty"_ns, ""_ns},
                                   {"null"_ns, NSNull::null()},
                                   {"list"_ns, NSArray::arrayWithObject("x"_ns)}});
}

TEST(NSDictionaryTelvo, IndexesDictionariesByTheirValueAndTheLaterOneWins) {
  const auto first = NSDictionary::dictionary({{"name"_ns, "Ann"_ns}, {"age"_ns, number(1)}});
  const auto second = NSDictionary::dictionary({{"name"_ns, "Ann"_ns}, {"age"_ns, number(2)}});
  const auto nameless = NSDictionary::dictionary({{"age"_ns, number(3)}});
  const auto array = NSArray::arrayWithObjects({first, nameless, "no dictionary"_ns, second});
  const auto byName = telvo_dictionaryWithArrayOfDictionaries_usingKey(array, "name"_ns);
  EXPECT_EQ(byName->count(), 1U);
  EXPECT_EQ(byName->objectForKey("Ann"_ns), second);
  EXPECT_EQ(telvo_dictionaryWithArrayOfDictionaries_usingKey(array, "age"_ns)->count(), 3U);
  EXPECT_EQ(telvo_dictionaryWithArrayOfDictionaries_usingKey(NSArray::array(), "age"_ns)->count(), 0U);
  EXPECT_EQ(telvo_dictionaryWithArrayOfDictionaries_usingKey(nil, "age"_ns), nil);
  EXPECT_EQ(telvo_dictionaryWithArrayOfDictionaries_usingKey(array, nil), nil);
}

TEST(NSDictionaryTelvo, DeepCopiesReachTheValuesAndKeepTheKeys) {
  const auto list = NSMutableArray::arrayWithObjects({NSMutableString::stringWithString("x"_ns)});
  const auto original = NSDictionary::dictionary({{"list"_ns, list}, {number(7), "seven"_ns}});
  const auto copy = telvo_deepCopy(original);
  const auto mutableCopy = telvo_deepMutableCopy(original);
  as<NSMutableString>(list->objectAtIndex(0))->appendString("y"_ns);
  list->addObject("z"_ns);
  const auto copied = as<NSMutableArray>(copy->objectForKey("list"_ns));
  EXPECT_TRUE(copied->isEqual(NSArray::arrayWithObject("x"_ns)));
  EXPECT_EQ(as<NSMutableString>(copied->objectAtIndex(0)), nil);
  const auto mutableCopied = as<NSMutableArray>(mutableCopy->objectForKey("list"_ns));
  EXPECT_TRUE(mutableCopied->isEqual(NSArray::arrayWithObject("x"_ns)));
  EXPECT_NE(as<NSMutableString>(mutableCopied->objectAtIndex(0)), nil);
  EXPECT_EQ(as<NSMutableString>(copy->objectForKey(number(7))), nil);
  EXPECT_NE(as<NSMutableString>(mutableCopy->objectForKey(number(7))), nil);
  EXPECT_EQ(telvo_deepCopy(Ref<NSDictionary>()), nil);
  EXPECT_EQ(telvo_deepMutableCopy(Ref<NSDictionary>()), nil);
}

TEST(NSDictionaryTelvo, DeepCopiesKeepValuesThatOnlyCopyAndRaiseForTheRest) {
  const auto numbers = NSDictionary::dictionary({{"n"_ns, number(1)}});
  EXPECT_TRUE(telvo_deepMutableCopy(numbers)->isEqual(numbers));
  const auto uncopyable = NSDictionary::dictionary({{"o"_ns, make<NSObject>()}});
  EXPECT_THROW(telvo_deepCopy(uncopyable), Ref<NSException>);
  EXPECT_THROW(telvo_deepMutableCopy(uncopyable), Ref<NSException>);
}

TEST(NSDictionaryTelvo, TheNullMarkerReadsAsAbsentWhereTheReaderSaysSo) {
  const auto dictionary = sample();
  EXPECT_EQ(telvo_nilOrObjectForKey(dictionary, "null"_ns), nil);
  EXPECT_EQ(telvo_nilOrObjectForKey(dictionary, "absent"_ns), nil);
  EXPECT_TRUE(NSEqualObjects(telvo_nilOrObjectForKey(dictionary, "text"_ns), "12abc"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_emptyStringOrObjectForKey(dictionary, "null"_ns), ""_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_emptyStringOrObjectForKey(dictionary, "absent"_ns), ""_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_emptyStringOrObjectForKey(dictionary, "real"_ns), NSNumber::numberWithDouble(3.9)));
}

TEST(NSDictionaryTelvo, TheNullMarkerIsAValueAllTheSame) {
  const auto dictionary = sample();
  EXPECT_TRUE(telvo_hasKey(dictionary, "null"_ns));
  EXPECT_TRUE(telvo_hasKey(dictionary, "empty"_ns));
  EXPECT_FALSE(telvo_hasKey(dictionary, "absent"_ns));
  EXPECT_FALSE(telvo_hasKey(dictionary, nil));
  EXPECT_TRUE(telvo_containsSomethingForKey(dictionary, "null"_ns));
  EXPECT_FALSE(telvo_containsSomethingForKey(dictionary, "empty"_ns));
  EXPECT_FALSE(telvo_containsSomethingForKey(dictionary, "absent"_ns));
  EXPECT_TRUE(telvo_containsSomethingForKey(dictionary, "real"_ns));
  EXPECT_EQ(telvo_objectForKey_defaultValue(dictionary, "null"_ns, "x"_ns), NSNull::null());
  EXPECT_EQ(telvo_objectForKey_orBool(dictionary, "null"_ns, true), NSNull::null());
}

TEST(NSDictionaryTelvo, KeysAreSortedWithoutRegardToCase) {
  const auto dictionary = NSDictionary::dictionary({{"b"_ns, "1"_ns}, {"C"_ns, "2"_ns}, {"a"_ns, "3"_ns}});
  EXPECT_EQ(telvo_sortedKeys(dictionary)->componentsJoinedByString(""_ns)->UTF8String(), "abC");
  const auto mixed = NSDictionary::dictionary({{"b"_ns, "1"_ns}, {number(1), "2"_ns}});
  EXPECT_THROW(telvo_sortedKeys(mixed), Ref<NSException>);
}

TEST(NSDictionaryTelvo, NumbersAreReadFromTheDescription) {
  const auto dictionary = sample();
  EXPECT_EQ(telvo_integerForKey(dictionary, "text"_ns), 12);
  EXPECT_EQ(telvo_integerForKey(dictionary, "real"_ns), 3);
  EXPECT_EQ(telvo_integerForKey(dictionary, "absent"_ns), 0);
  EXPECT_EQ(telvo_integerForKey(dictionary, "null"_ns), 0);
  EXPECT_EQ(telvo_integerForKey(NSDictionary::dictionary({{"k"_ns, NSNumber::numberWithBool(true)}}), "k"_ns), 1);
  EXPECT_EQ(telvo_timeIntervalForKey(dictionary, "real"_ns), 3.9);
  EXPECT_EQ(telvo_timeIntervalForKey(dictionary, "text"_ns), 12.0);
  EXPECT_EQ(telvo_timeIntervalForKey(dictionary, "absent"_ns), 0.0);
  EXPECT_EQ(telvo_floatForKey(dictionary, "absent"_ns), 0.0);
}

TEST(NSDictionaryTelvo, AFloatHasSinglePrecision) {
  const auto dictionary = sample();
  EXPECT_EQ(telvo_floatForKey(dictionary, "real"_ns), static_cast<double>(3.9F));
  EXPECT_NE(telvo_floatForKey(dictionary, "real"_ns), 3.9);
}

TEST(NSDictionaryTelvo, DescriptionsOfValues) {
  const auto dictionary = sample();
  EXPECT_EQ(telvo_descriptionForKey(dictionary, "list"_ns)->UTF8String(), "(\n    x\n)");
  EXPECT_EQ(telvo_descriptionForKey(dictionary, "null"_ns)->UTF8String(), "<null>");
  EXPECT_EQ(telvo_descriptionForKey(dictionary, "absent"_ns), nil);
  EXPECT_EQ(telvo_stringLengthForKey(dictionary, "text"_ns), 5U);
  EXPECT_EQ(telvo_stringLengthForKey(dictionary, "real"_ns), 3U);
  EXPECT_EQ(telvo_stringLengthForKey(dictionary, "absent"_ns), 0U);
}

TEST(NSDictionaryTelvo, DefaultsStandForMissingKeysOnly) {
  const auto dictionary = sample();
  EXPECT_TRUE(NSEqualObjects(telvo_objectForKey_orBool(dictionary, "text"_ns, true), "12abc"_ns));
  EXPECT_TRUE(as<NSNumber>(telvo_objectForKey_orBool(dictionary, "absent"_ns, true))->isBool());
  EXPECT_FALSE(as<NSNumber>(telvo_objectForKey_orBool(dictionary, "absent"_ns, false))->boolValue());
  EXPECT_TRUE(NSEqualObjects(telvo_objectForKey_defaultValue(dictionary, "absent"_ns, "x"_ns), "x"_ns));
  EXPECT_EQ(telvo_objectForKey_defaultValue(dictionary, "absent"_ns, nil), nil);
  EXPECT_TRUE(NSEqualObjects(telvo_objectForKey_orInteger(dictionary, "text"_ns, 5), "12abc"_ns));
}

TEST(NSDictionaryTelvo, TheIntegerDefaultIsABooleanOfItsLowestByte) {
  const auto defaultFor = [](NSInteger value) {
    return as<NSNumber>(telvo_objectForKey_orInteger(NSDictionary::dictionary(), "absent"_ns, value));
  };
  EXPECT_TRUE(defaultFor(5)->isBool());
  EXPECT_EQ(defaultFor(5)->integerValue(), 1);
  EXPECT_EQ(defaultFor(0)->integerValue(), 0);
  EXPECT_TRUE(defaultFor(256)->isBool());
  EXPECT_EQ(defaultFor(256)->integerValue(), 0);
  EXPECT_EQ(defaultFor(257)->integerValue(), 1);
  EXPECT_EQ(defaultFor(-1)->integerValue(), 1);
  EXPECT_EQ(defaultFor(-256)->integerValue(), 0);
}

TEST(NSDictionaryTelvo, TheFirstKeyOfAnEqualObjectIsFound) {
  const auto dictionary = NSDictionary::dictionary({{"a"_ns, "x"_ns}, {"b"_ns, number(1)}, {"c"_ns, "x"_ns}});
  EXPECT_TRUE(NSEqualObjects(telvo_keyForObject(dictionary, "x"_ns), "a"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_keyForObject(dictionary, NSNumber::numberWithDouble(1.0)), "b"_ns));
  EXPECT_EQ(telvo_keyForObject(dictionary, "1"_ns), nil);
  EXPECT_EQ(telvo_keyForObject(dictionary, nil), nil);
}

TEST(NSMutableDictionaryTelvo, ScalarsAreStoredAsNumbersOfTheirKind) {
  const auto dictionary = NSMutableDictionary::dictionary();
  telvo_setBool_forKey(dictionary, true, "bool"_ns);
  telvo_setInteger_forKey(dictionary, -5, "integer"_ns);
  telvo_setFloat_forKey(dictionary, 0.1, "float"_ns);
  telvo_setTimeInterval_forKey(dictionary, 1.5, "interval"_ns);
  EXPECT_TRUE(as<NSNumber>(dictionary->objectForKey("bool"_ns))->isBool());
  EXPECT_EQ(as<NSNumber>(dictionary->objectForKey("integer"_ns))->integerValue(), -5);
  EXPECT_FALSE(as<NSNumber>(dictionary->objectForKey("integer"_ns))->isReal());
  EXPECT_EQ(as<NSNumber>(dictionary->objectForKey("float"_ns))->doubleValue(), 0.1);
  EXPECT_EQ(as<NSNumber>(dictionary->objectForKey("interval"_ns))->doubleValue(), 1.5);
  EXPECT_THROW(telvo_setBool_forKey(dictionary, true, nil), Ref<NSException>);
}

TEST(NSMutableDictionaryTelvo, ADefaultValueIsStoredOnlyWhereNoneIs) {
  const auto dictionary = NSMutableDictionary::dictionary({{"a"_ns, "old"_ns}, {"n"_ns, NSNull::null()}});
  telvo_setDefaultValue_forKey(dictionary, "new"_ns, "a"_ns);
  telvo_setDefaultValue_forKey(dictionary, "new"_ns, "n"_ns);
  telvo_setDefaultValue_forKey(dictionary, "new"_ns, "b"_ns);
  telvo_setDefaultValue_forKey(dictionary, nil, "c"_ns);
  EXPECT_TRUE(dictionary->isEqual(
      NSDictionary::dictionary({{"a"_ns, "old"_ns}, {"n"_ns, NSNull::null()}, {"b"_ns, "new"_ns}})));
}

TEST(NSMutableDictionaryTelvo, ANilObjectGivesWayToTheDefaultAndBothNilToTheOldValue) {
  const auto dictionary = NSMutableDictionary::dictionary({{"k"_ns, "old"_ns}});
  telvo_setObject_forKey_defaultValue(dictionary, nil, "k"_ns, nil);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("k"_ns), "old"_ns));
  telvo_setObject_forKey_defaultValue(dictionary, nil, "k"_ns, "default"_ns);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("k"_ns), "default"_ns));
  telvo_setObject_forKey_defaultValue(dictionary, "object"_ns, "k"_ns, "default"_ns);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("k"_ns), "object"_ns));
}

TEST(NSMutableDictionaryTelvo, ANilObjectTakesTheKeyOutOnlyWhenAsked) {
  const auto dictionary = NSMutableDictionary::dictionary({{"k"_ns, "old"_ns}});
  telvo_setObject_forKey_removeIfNil(dictionary, nil, "k"_ns, false);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("k"_ns), "old"_ns));
  telvo_setObject_forKey_removeIfNil(dictionary, "new"_ns, "k"_ns, true);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("k"_ns), "new"_ns));
  telvo_setObject_forKey_removeIfNil(dictionary, nil, "k"_ns, true);
  telvo_setObject_forKey_removeIfNil(dictionary, nil, "absent"_ns, true);
  EXPECT_EQ(dictionary->count(), 0U);
}

TEST(NSMutableDictionaryTelvo, OnlyTheFirstKeyOfAnObjectIsReplaced) {
  const auto dictionary = NSMutableDictionary::dictionary({{"a"_ns, "x"_ns}, {"b"_ns, "x"_ns}});
  telvo_replaceObject_withObject(dictionary, "x"_ns, nil);
  telvo_replaceObject_withObject(dictionary, "y"_ns, "z"_ns);
  telvo_replaceObject_withObject(dictionary, nil, "z"_ns);
  telvo_replaceObject_withObject(dictionary, "x"_ns, "z"_ns);
  EXPECT_TRUE(dictionary->isEqual(NSDictionary::dictionary({{"a"_ns, "z"_ns}, {"b"_ns, "x"_ns}})));
}

Ref<NSDictionary> holding(const id& value) { return NSDictionary::dictionary({{"k"_ns, value}}); }

TEST(NSDictionaryTelvo, DatesAreReadAsTheyAreAndFromTexts) {
  const auto date = NSDate::dateWithTimeIntervalSince1970(86400);
  for (auto* read : {&telvo_dateForKey, &telvo_timeForKey}) {
    EXPECT_EQ(read(holding(date), "k"_ns), date);
    EXPECT_TRUE(NSEqualObjects(read(holding("1970-01-02T00:00:00Z"_ns), "k"_ns), date));
    EXPECT_TRUE(NSEqualObjects(read(holding("/Date(86400000)/"_ns), "k"_ns), date));
  }
}

TEST(NSDictionaryTelvo, PlaceholderDatesAreTimesButNoDates) {
  for (const auto& placeholder : {"0001-01-01T00:00:00Z"_ns, "1899-12-30T08:30:00Z"_ns}) {
    EXPECT_EQ(telvo_dateForKey(holding(placeholder), "k"_ns), nil);
    EXPECT_NE(telvo_timeForKey(holding(placeholder), "k"_ns), nil);
  }
}

TEST(NSDictionaryTelvo, AnythingElseIsNoDate) {
  for (auto* read : {&telvo_dateForKey, &telvo_timeForKey}) {
    EXPECT_EQ(read(holding(number(86400)), "k"_ns), nil);
    EXPECT_EQ(read(holding(NSNull::null()), "k"_ns), nil);
    EXPECT_EQ(read(holding("tomorrow"_ns), "k"_ns), nil);
    EXPECT_EQ(read(NSDictionary::dictionary(), "k"_ns), nil);
    EXPECT_EQ(read(nil, "k"_ns), nil);
  }
}

TEST(NSMutableDictionaryTelvo, JSONDatesAreStoredAsTexts) {
  const auto dictionary = NSMutableDictionary::dictionary();
  telvo_setJSONDate_forKey_removeIfNil(dictionary, NSDate::dateWithTimeIntervalSince1970(86400), "k"_ns, false);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("k"_ns), "1970-01-02T00:00:00Z"_ns));
  telvo_setJSONDate_forKey_removeIfNil(dictionary, nil, "k"_ns, false);
  EXPECT_EQ(dictionary->count(), 1U);
  telvo_setJSONDate_forKey_removeIfNil(dictionary, nil, "k"_ns, true);
  EXPECT_EQ(dictionary->count(), 0U);
}

TEST(NSMutableDictionaryTelvo, AValueThatIsNoDateIsLoggedAndThenFails) {
  const auto dictionary = NSMutableDictionary::dictionary({{"k"_ns, "old"_ns}});
  testing::internal::CaptureStderr();
  EXPECT_THROW(telvo_setJSONDate_forKey_removeIfNil(dictionary, "today"_ns, "k"_ns, true), Ref<NSException>);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Detected non-date value: today; this will crash"),
            std::string::npos);
  EXPECT_TRUE(NSEqualObjects(dictionary->objectForKey("k"_ns), "old"_ns));
}

TEST(NSMutableDictionaryTelvo, ANilDictionaryAnswersNothingAndIsLeftAlone) {
  const Ref<NSMutableDictionary> none;
  EXPECT_EQ(telvo_integerForKey(none, "k"_ns), 0);
  EXPECT_EQ(telvo_emptyStringOrObjectForKey(none, "k"_ns), nil);
  EXPECT_EQ(telvo_objectForKey_defaultValue(none, "k"_ns, "x"_ns), nil);
  EXPECT_EQ(telvo_sortedKeys(none), nil);
  telvo_setBool_forKey(none, true, "k"_ns);
  telvo_setObject_forKey_removeIfNil(none, nil, "k"_ns, true);
  telvo_replaceObject_withObject(none, "a"_ns, "b"_ns);
}

TEST(NSMutableDictionaryTelvo, ExtensionsAreCalledByName) {
  const auto dictionary = NSMutableDictionary::dictionary();
  dictionary->performSelector_withObject_withObject("telvo_setDefaultValue:forKey:"_sel, "7x"_ns, "k"_ns);
  const id read = dictionary->performSelector_withObject("telvo_integerForKey:"_sel, "k"_ns);
  EXPECT_EQ(as<NSNumber>(read)->integerValue(), 7);
}

TEST(NSDictionaryTelvo, RealNumbersAreReadByTheirWholeValue) {
  const auto reals = NSDictionary::dictionary({{"hundred thousand"_ns, NSNumber::numberWithDouble(100000)},
                                               {"million"_ns, NSNumber::numberWithDouble(1e6)},
                                               {"more"_ns, NSNumber::numberWithDouble(2.5e9)},
                                               {"little"_ns, NSNumber::numberWithDouble(0.0001)}});
  EXPECT_EQ(telvo_integerForKey(reals, "hundred thousand"_ns), 100000);
  EXPECT_EQ(telvo_integerForKey(reals, "million"_ns), 1000000);
  EXPECT_EQ(telvo_integerForKey(reals, "more"_ns), 2500000000);
  EXPECT_FALSE(telvo_boolForKey(reals, "little"_ns));
  EXPECT_EQ(telvo_timeIntervalForKey(reals, "little"_ns), 0.0001);
}

TEST(NSDictionaryTelvo, SortingKeysRaisesWhereverTheKeyStandsThatIsNoText) {
  const auto withKeys = [](const id& first, const id& second) {
    return NSDictionary::dictionary({{first, "1"_ns}, {second, "2"_ns}});
  };
  EXPECT_THROW(telvo_sortedKeys(withKeys("a"_ns, NSNumber::numberWithInteger(3))), Ref<NSException>);
  EXPECT_THROW(telvo_sortedKeys(withKeys(NSNumber::numberWithInteger(3), "a"_ns)), Ref<NSException>);
}

}  // namespace
