#include <gtest/gtest.h>

#include "categories/NSArray+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/EnvironmentVariable.h"
#include "tests/categories/Letters.h"

namespace {

using namespace elements;

Ref<NSArray> items(std::initializer_list<const char*> names) {
  const auto array = NSMutableArray::array();
  for (const char* name : names) array->addObject(make<Item>(NSString::stringWithUTF8String(name)));
  return array;
}

TEST(NSArrayTelvo, AnIndexIsValidBelowTheCountAndNeverWhenNegative) {
  const auto array = letters("abc");
  EXPECT_TRUE(telvo_isValidIndex(array, 0));
  EXPECT_TRUE(telvo_isValidIndex(array, 2));
  EXPECT_FALSE(telvo_isValidIndex(array, 3));
  EXPECT_FALSE(telvo_isValidIndex(array, static_cast<NSUInteger>(NSInteger{-1})));
  EXPECT_FALSE(telvo_isValidIndex(NSArray::array(), 0));
  EXPECT_FALSE(telvo_isValidIndex(nil, 0));
}

TEST(NSArrayTelvo, FindsTheFirstElementEquivalentByKey) {
  const auto array = people();
  EXPECT_EQ(telvo_objectMatching_usingKey(array, "30"_ns, "age"_ns), array->objectAtIndex(1));
  EXPECT_EQ(telvo_objectMatching_usingKey(array, "BOB"_ns, "name"_ns), array->objectAtIndex(3));
  EXPECT_EQ(telvo_indexOfObjectMatching_usingKey(array, number(9), "age"_ns), 3U);
}

TEST(NSArrayTelvo, ByKeyNothingIsFoundForMissingValuesKeysAndNil) {
  const auto array = people();
  EXPECT_EQ(telvo_objectMatching_usingKey(array, "Dan"_ns, "name"_ns), nil);
  EXPECT_EQ(telvo_objectMatching_usingKey(array, "Ann"_ns, "nickname"_ns), nil);
  EXPECT_EQ(telvo_objectMatching_usingKey(array, nil, "nickname"_ns), nil);
  EXPECT_EQ(telvo_objectMatching_usingKey(array, "Ann"_ns, nil), nil);
  EXPECT_EQ(telvo_objectMatching_usingKey(nil, "Ann"_ns, "name"_ns), nil);
  EXPECT_EQ(telvo_indexOfObjectMatching_usingKey(array, "Dan"_ns, "name"_ns), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectMatching_usingKey(NSArray::array(), "Ann"_ns, "name"_ns), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectMatching_usingKey(nil, "Ann"_ns, "name"_ns), NSNotFound);
}

// Answers the dictionary's message without being one.
class Lookup : public NSObject {
  NS_OBJECT(Lookup, NSObject)

 public:
  id objectForKey(const id& key) const { return key; }
};

Class Lookup::classObject() {
  static const NSClass object("Lookup", NSObject::classObject(), {method("objectForKey:"_sel, &Lookup::objectForKey)});
  return &object;
}

TEST(NSArrayTelvo, WhateverAnswersObjectForKeyTakesPartByKey) {
  const auto array = NSArray::arrayWithObjects({"x"_ns, make<Lookup>()});
  EXPECT_EQ(telvo_indexOfObjectMatching_usingKey(array, "X"_ns, "x"_ns), 1U);
}

TEST(NSArrayTelvo, GathersAllThatMatchByKeyInOrder) {
  const auto array = people();
  const auto found = telvo_arrayWithObjectsMatching_usingKey(array, number(30), "age"_ns);
  EXPECT_TRUE(found->isEqual(NSArray::arrayWithObjects({array->objectAtIndex(1), array->objectAtIndex(5)})));
  EXPECT_EQ(telvo_arrayWithObjectsMatching_usingKey(array, number(31), "age"_ns)->count(), 0U);
  found->addObject("mutable"_ns);
  EXPECT_EQ(telvo_arrayWithObjectsMatching_usingKey(nil, number(30), "age"_ns), nil);
}

TEST(NSArrayTelvo, FindsByTheAnswerToASelector) {
  const auto array = items({"a", "B", "b"});
  EXPECT_EQ(telvo_objectMatching_usingSelector(array, "b"_ns, "name"_sel), array->objectAtIndex(1));
  EXPECT_EQ(telvo_objectMatching_usingSelector(array, "c"_ns, "name"_sel), nil);
  EXPECT_EQ(telvo_objectMatching_usingSelector(letters("x"), number(1), "length"_sel)->description()->UTF8String(),
            "x");
  const auto found = telvo_arrayWithObjectsMatching_usingSelector(array, "B"_ns, "name"_sel);
  EXPECT_EQ(text(found), "Bb");
  EXPECT_EQ(telvo_arrayWithObjectsMatching_usingSelector(array, "z"_ns, "name"_sel)->count(), 0U);
}

TEST(NSArrayTelvo, BySelectorAnElementThatDoesNotRespondRaises) {
  const auto array = NSArray::arrayWithObjects({make<Item>("a"_ns), "text"_ns, make<Item>("b"_ns)});
  EXPECT_THROW(telvo_objectMatching_usingSelector(array, "b"_ns, "name"_sel), Ref<NSException>);
  EXPECT_THROW(telvo_arrayWithObjectsMatching_usingSelector(array, "a"_ns, "name"_sel), Ref<NSException>);
  EXPECT_THROW(telvo_arrayUsingSelector(array, "name"_sel), Ref<NSException>);
  // The walk ends at the first match, before the element that could not answer.
  EXPECT_EQ(name(telvo_objectMatching_usingSelector(array, "a"_ns, "name"_sel)), "a");
}

TEST(NSArrayTelvo, BySelectorANilAnswerMatchesNothing) {
  const auto array = NSArray::arrayWithObject(make<Item>(nil));
  EXPECT_EQ(telvo_objectMatching_usingSelector(array, nil, "name"_sel), nil);
  EXPECT_EQ(telvo_objectMatching_usingSelector(array, "nameless"_ns, "name"_sel), nil);
}

TEST(NSArrayTelvo, MapsElementsToTheirAnswersAndRefusesNil) {
  EXPECT_EQ(text(telvo_arrayUsingSelector(items({"x", "y"}), "name"_sel)), "xy");
  EXPECT_EQ(telvo_arrayUsingSelector(NSArray::array(), "name"_sel)->count(), 0U);
  const auto withNil = NSArray::arrayWithObjects({make<Item>("x"_ns), make<Item>(nil)});
  EXPECT_THROW(telvo_arrayUsingSelector(withNil, "name"_sel), Ref<NSException>);
}

constexpr auto bestMatch = &telvo_objectMatching_orDefault_orFirst_usingSelector;

TEST(NSArrayTelvo, AMatchIsPreferredToTheDefaultAndTheFirst) {
  EXPECT_EQ(name(bestMatch(items({"a", "d", "m", "d", "M"}), "m"_ns, "d"_ns, true, "name"_sel)), "m");
}

TEST(NSArrayTelvo, WithoutAMatchTheLastDefaultWins) {
  const auto array = items({"a", "d", "b", "D", "c"});
  EXPECT_EQ(name(bestMatch(array, "m"_ns, "d"_ns, true, "name"_sel)), "D");
  EXPECT_EQ(name(bestMatch(array, nil, "d"_ns, false, "name"_sel)), "D");
}

TEST(NSArrayTelvo, WithoutMatchAndDefaultTheFirstElementIsGivenOnlyWhenAskedFor) {
  const auto array = items({"a", "b"});
  EXPECT_EQ(name(bestMatch(array, "m"_ns, nil, true, "name"_sel)), "a");
  EXPECT_EQ(name(bestMatch(array, nil, nil, true, "name"_sel)), "a");
  EXPECT_EQ(bestMatch(array, "m"_ns, nil, false, "name"_sel), nil);
  EXPECT_EQ(bestMatch(array, "m"_ns, "d"_ns, false, "name"_sel), nil);
  EXPECT_EQ(bestMatch(NSArray::array(), "m"_ns, "d"_ns, true, "name"_sel), nil);
}

TEST(NSArrayTelvo, WithNothingToLookForNoElementIsAsked) {
  EXPECT_EQ(bestMatch(NSArray::arrayWithObject("does not respond"_ns), nil, nil, false, "name"_sel), nil);
  EXPECT_THROW(bestMatch(NSArray::arrayWithObject("does not respond"_ns), nil, nil, true, "name"_sel),
               Ref<NSException>);
}

TEST(NSArrayTelvo, TheWalkForTheBestMatchStopsAtTheMatch) {
  const auto array = NSArray::arrayWithObjects({make<Item>("m"_ns), "does not respond"_ns});
  EXPECT_EQ(name(bestMatch(array, "m"_ns, "d"_ns, true, "name"_sel)), "m");
}

TEST(NSArrayTelvo, FindsTheFirstElementThatPassesATest) {
  std::vector<NSUInteger> asked;
  const id found = telvo_objectPassingTest(letters("abcd"), [&](const id& element, NSUInteger index, bool&) {
    asked.push_back(index);
    return element->isEqual("c"_ns);
  });
  EXPECT_TRUE(NSEqualObjects(found, "c"_ns));
  EXPECT_EQ(asked, (std::vector<NSUInteger>{0, 1, 2}));
  EXPECT_EQ(telvo_objectPassingTest(letters("ab"), [](const id&, NSUInteger, bool&) { return false; }), nil);
  EXPECT_EQ(telvo_objectPassingTest(letters("ab"), nullptr), nil);
}

TEST(NSArrayTelvo, ATestThatSetsStopIsAskedNoMore) {
  int calls = 0;
  const auto stopping = [&](bool answer) {
    return telvo_objectPassingTest(letters("abc"), [&](const id&, NSUInteger, bool& stop) {
      ++calls;
      stop = true;
      return answer;
    });
  };
  EXPECT_EQ(stopping(false), nil);
  EXPECT_TRUE(NSEqualObjects(stopping(true), "a"_ns));
  EXPECT_EQ(calls, 2);
}

TEST(NSArrayTelvo, IdentityIsTheVerySameObject) {
  const auto object = NSMutableString::stringWithString("a"_ns);
  const auto array = NSArray::arrayWithObjects({NSMutableString::stringWithString("a"_ns), "b"_ns});
  EXPECT_TRUE(array->containsObject(object));
  EXPECT_FALSE(telvo_containsObjectIdenticalTo(array, object));
  EXPECT_TRUE(telvo_containsObjectIdenticalTo(array, array->objectAtIndex(0)));
  EXPECT_FALSE(telvo_containsObjectIdenticalTo(array, nil));
}

TEST(NSArrayTelvo, ThePenultimateObjectNeedsTwoElements) {
  EXPECT_TRUE(NSEqualObjects(telvo_penultimateObject(letters("abc")), "b"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_penultimateObject(letters("ab")), "a"_ns));
  EXPECT_EQ(telvo_penultimateObject(letters("a")), nil);
  EXPECT_EQ(telvo_penultimateObject(letters("")), nil);
}

TEST(NSArrayTelvo, CopiesWithoutEqualElementsLeaveTheReceiver) {
  const auto array = letters("abcab");
  EXPECT_EQ(text(telvo_arrayByRemovingObject(array, "a"_ns)), "bcb");
  EXPECT_EQ(text(telvo_arrayByRemovingObject(array, nil)), "abcab");
  EXPECT_EQ(text(telvo_arrayByRemovingObjectAtIndex(array, 1)), "acab");
  EXPECT_EQ(text(telvo_arrayByRemovingObjectsInArray(array, letters("bz"))), "aca");
  EXPECT_EQ(text(telvo_arrayByRemovingObjectsInArray(array, nil)), "abcab");
  EXPECT_EQ(text(telvo_arrayByRemovingObjectsInArray(array, array)), "");
  EXPECT_EQ(text(array), "abcab");
  EXPECT_THROW(telvo_arrayByRemovingObjectAtIndex(array, 5), Ref<NSException>);
}

TEST(NSArrayTelvo, ReversesIntoANewArray) {
  const auto array = letters("abc");
  const auto reversed = telvo_reverseArray(array);
  EXPECT_EQ(text(reversed), "cba");
  reversed->removeLastObject();
  EXPECT_EQ(text(array), "abc");
  EXPECT_EQ(telvo_reverseArray(NSArray::array())->count(), 0U);
}

TEST(NSArrayTelvo, FinderOrderTakesDigitRunsByValueAndIgnoresCase) {
  const EnvironmentVariable locale("LC_ALL", "en_US.UTF-8");
  const auto files = NSArray::arrayWithObjects(
      {"File 10"_ns, "file 9"_ns, "b"_ns, "File 2"_ns, "A"_ns, "a10b2"_ns, "a10b10"_ns, "a9"_ns, "été"_ns, "f"_ns});
  EXPECT_EQ(telvo_sortedArrayUsingFinderOrder(files)->componentsJoinedByString(","_ns)->UTF8String(),
            "A,a9,a10b2,a10b10,b,été,f,File 2,file 9,File 10");
}

TEST(NSArrayTelvo, FinderOrderNeedsTexts) {
  EXPECT_THROW(telvo_sortedArrayUsingFinderOrder(NSArray::arrayWithObjects({number(2), number(1)})), Ref<NSException>);
}

TEST(NSArrayTelvo, SortsByKeyPathInEitherDirection) {
  const auto array = items({"bbb", "a", "ccccc", "z"});
  EXPECT_EQ(text(telvo_sortedArrayUsingKey_ascending(array, "name.length"_ns, true)), "azbbbccccc");
  EXPECT_EQ(text(telvo_sortedArrayUsingKey_ascending(array, "name"_ns, false)), "zcccccbbba");
  EXPECT_THROW(telvo_sortedArrayUsingKey_ascending(array, "unknown"_ns, true), Ref<NSException>);
}

TEST(NSArrayTelvo, DeepCopiesReachThroughArraysAndDictionaries) {
  const auto text = NSMutableString::stringWithString("x"_ns);
  const auto inner = NSMutableArray::arrayWithObjects({text});
  const auto dictionary = NSMutableDictionary::dictionary({{"list"_ns, inner}});
  const auto copy = telvo_deepCopy(NSArray::arrayWithObjects({dictionary}));
  text->setString("y"_ns);
  inner->removeAllObjects();
  dictionary->removeAllObjects();
  const auto copiedList = as<NSMutableArray>(as<NSMutableDictionary>(copy->objectAtIndex(0))->objectForKey("list"_ns));
  EXPECT_TRUE(NSEqualObjects(copiedList->objectAtIndex(0), "x"_ns));
  EXPECT_EQ(as<NSMutableString>(copiedList->objectAtIndex(0)), nil);
}

TEST(NSArrayTelvo, DeepMutableCopiesMakeMutableWhatCanBe) {
  const auto copy = telvo_deepMutableCopy(
      NSArray::arrayWithObjects({"x"_ns, number(1), NSArray::arrayWithObject("y"_ns), NSSet::setWithObject("z"_ns)}));
  EXPECT_NE(as<NSMutableString>(copy->objectAtIndex(0)), nil);
  EXPECT_EQ(as<NSNumber>(copy->objectAtIndex(1))->integerValue(), 1);
  EXPECT_NE(as<NSMutableString>(as<NSMutableArray>(copy->objectAtIndex(2))->objectAtIndex(0)), nil);
  EXPECT_NE(as<NSMutableSet>(copy->objectAtIndex(3)), nil);
}

class DeepCopier : public NSObject {
  NS_OBJECT(DeepCopier, NSObject)

 public:
  Ref<NSString> deepCopy() const { return "deep"_ns; }
  id copy() const override { return "shallow"_ns; }
};

Class DeepCopier::classObject() {
  static const NSClass object("DeepCopier", NSObject::classObject(),
                              {method("telvo_deepCopy"_sel, &DeepCopier::deepCopy)});
  return &object;
}

TEST(NSArrayTelvo, DeepCopiesAskAnyClassThatAnswersTheSelector) {
  const auto array = NSArray::arrayWithObject(make<DeepCopier>());
  EXPECT_EQ(text(telvo_deepCopy(array)), "deep");
  EXPECT_EQ(text(telvo_deepMutableCopy(array)), "shallow");
  EXPECT_TRUE(array->respondsToSelector("telvo_deepCopy"_sel));
  EXPECT_TRUE(NSDictionary::dictionary()->respondsToSelector("telvo_deepMutableCopy"_sel));
}

TEST(NSArrayTelvo, DeepCopiesOfWhatCannotBeCopiedRaise) {
  const auto array = NSArray::arrayWithObject(make<Item>("a"_ns));
  EXPECT_THROW(telvo_deepCopy(array), Ref<NSException>);
  EXPECT_THROW(telvo_deepMutableCopy(array), Ref<NSException>);
  EXPECT_EQ(telvo_deepCopy(Ref<NSArray>()), nil);
}

TEST(NSArrayTelvo, DeepCopiesOfAnArrayThatHoldsItselfRaise) {
  const auto array = NSMutableArray::array();
  array->addObject(array);
  EXPECT_THROW(telvo_deepCopy(array), Ref<NSException>);
  EXPECT_THROW(telvo_deepMutableCopy(array), Ref<NSException>);
  array->removeAllObjects();
  EXPECT_EQ(telvo_deepCopy(array)->count(), 0U);
}

TEST(NSArrayTelvo, TheLowestEquivalentIndexWins) {
  const auto array = NSArray::arrayWithObjects({"a"_ns, "B"_ns, "b"_ns});
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, "b"_ns), 1U);
  EXPECT_TRUE(telvo_containsObjectEquivalentTo(array, "A"_ns));
}

TEST(NSArrayTelvo, NoMatchAnEmptyArrayAndNilGiveNotFound) {
  const auto array = NSArray::arrayWithObjects({"a"_ns, "B"_ns});
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, "c"_ns), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, nil), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(NSArray::array(), "a"_ns), NSNotFound);
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(nil, "a"_ns), NSNotFound);
  EXPECT_FALSE(telvo_containsObjectEquivalentTo(array, "c"_ns));
  EXPECT_FALSE(telvo_containsObjectEquivalentTo(nil, "c"_ns));
}

TEST(NSArrayTelvo, FindsRecordsWhateverTheOrderOfTheirKeys) {
  const auto record = NSDictionary::dictionary({{"LocalPath"_ns, "/A/x"_ns}, {"RemoteDirectory"_ns, "/"_ns}});
  const auto same = NSDictionary::dictionary({{"RemoteDirectory"_ns, "/"_ns}, {"LocalPath"_ns, "/a/X"_ns}});
  const auto array = NSArray::arrayWithObjects({NSDictionary::dictionary(), record});
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, same), 1U);
}

// Its description takes elements out of the array that it stands in.
class ShrinkingElement : public NSObject {
 public:
  Ref<NSMutableArray> array;
  Ref<NSString> description() const override {
    while (array->count() > 1) array->removeLastObject();
    return "x"_ns;
  }
};

TEST(NSArrayTelvo, ReadsTheCountAfreshForEachStep) {
  const auto element = make<ShrinkingElement>();
  const auto array = NSMutableArray::arrayWithObjects({element, "y"_ns, "z"_ns});
  element->array = array;
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(array, "z"_ns), NSNotFound);
  element->array = nil;  // the two own each other
}

TEST(NSArrayTelvo, SortingRaisesWhereverTheElementStandsThatCannotBeCompared) {
  const id text = "a"_ns;
  const id number = NSNumber::numberWithInteger(3);
  EXPECT_THROW(telvo_sortedArrayUsingFinderOrder(NSArray::arrayWithObjects({text, number})), Ref<NSException>);
  EXPECT_THROW(telvo_sortedArrayUsingFinderOrder(NSArray::arrayWithObjects({number, text})), Ref<NSException>);
  EXPECT_THROW(telvo_sortedArrayUsingFinderOrder(NSArray::arrayWithObjects({text, text, number})), Ref<NSException>);
}

TEST(NSArrayTelvo, SelectorsTravelAsTextWhereMethodsAreCalledByName) {
  const auto array = NSMutableArray::arrayWithObjects({"a"_ns, "bb"_ns});
  const id lengths = array->performSelector_withObject("telvo_arrayUsingSelector:"_sel, "length"_ns);
  EXPECT_TRUE(NSEqualObjects(
      lengths, NSArray::arrayWithObjects({NSNumber::numberWithInteger(1), NSNumber::numberWithInteger(2)})));
  const id found =
      array->performSelector_withObject_withObject("telvo_objectMatching:usingSelector:"_sel, "2"_ns, "length"_ns);
  EXPECT_TRUE(NSEqualObjects(found, "bb"_ns));
  for (const SEL selector :
       {"telvo_objectMatching:orDefault:orFirst:usingSelector:"_sel,
        "telvo_arrayWithObjectsMatching:usingSelector:"_sel, "telvo_makeObjectsSafelyPerformSelector:"_sel}) {
    EXPECT_TRUE(array->respondsToSelector(selector)) << selector.text();
  }
}

TEST(NSArrayTelvo, InANilArrayNothingIsFound) {
  EXPECT_EQ(telvo_indexOfObjectEquivalentTo(nil, "a"_ns), NSNotFound);
  EXPECT_FALSE(telvo_containsObjectEquivalentTo(nil, "a"_ns));
  EXPECT_EQ(telvo_indexOfObjectMatching_usingKey(nil, "a"_ns, "key"_ns), NSNotFound);
}

}  // namespace
