#include <gtest/gtest.h>

#include "categories/NSArray+Telvo.h"
#include "foundation/Foundation.h"
#include "tests/categories/Letters.h"

namespace {

using namespace elements;

TEST(NSMutableArrayTelvo, AnIndexBeyondTheCountMeansTheEndOrTheFront) {
  const auto inserted = [](NSUInteger index, bool orEnd) {
    const auto array = letters("abc");
    telvo_insertObject_atIndex_orEnd(array, "x"_ns, index, orEnd);
    return text(array);
  };
  EXPECT_EQ(inserted(10, false), "xabc");
  EXPECT_EQ(inserted(10, true), "abcx");
  EXPECT_EQ(inserted(NSUIntegerMax, true), "abcx");
  EXPECT_EQ(inserted(3, false), "abcx");
  EXPECT_EQ(inserted(3, true), "abcx");
  EXPECT_EQ(inserted(1, true), "axbc");
  EXPECT_EQ(inserted(0, true), "xabc");
  EXPECT_THROW(telvo_insertObject_atIndex_orEnd(letters("a"), nil, 0, true), Ref<NSException>);
}

TEST(NSMutableArrayTelvo, InsertsAnArrayInItsOrder) {
  const auto array = letters("abc");
  telvo_insertObjectsFromArray_atIndex(array, letters("xyz"), 1);
  EXPECT_EQ(text(array), "axyzbc");
  telvo_insertObjectsFromArray_atIndex(array, letters("w"), 6);
  EXPECT_EQ(text(array), "axyzbcw");
  telvo_insertObjectsFromArray_atIndex(array, nil, 99);
  telvo_insertObjectsFromArray_atIndex(array, letters(""), 99);
  EXPECT_THROW(telvo_insertObjectsFromArray_atIndex(array, letters("v"), 8), Ref<NSException>);
  EXPECT_EQ(text(array), "axyzbcw");
  telvo_insertObjectsFromArray_atIndex(array, array, 0);
  EXPECT_EQ(text(array), "axyzbcwaxyzbcw");
}

struct Moved {
  std::string text;
  NSUInteger result;
  bool operator==(const Moved&) const = default;
};

Moved insertOrMove(std::string_view receiver, std::string_view objects, NSUInteger index) {
  const auto array = letters(receiver);
  const NSUInteger result = telvo_insertOrMoveObjectsFromArray_atIndex(array, letters(objects), index);
  return {text(array), result};
}

TEST(NSMutableArrayTelvo, MovingKeepsTheTargetAtTheSameNeighbour) {
  EXPECT_EQ(insertOrMove("abcd", "b", 3), (Moved{"acbd", 2}));
  EXPECT_EQ(insertOrMove("abcd", "d", 1), (Moved{"adbc", 1}));
  EXPECT_EQ(insertOrMove("abcd", "b", 1), (Moved{"abcd", 1}));
  EXPECT_EQ(insertOrMove("abcd", "ca", 3), (Moved{"bcad", 1}));
  EXPECT_EQ(insertOrMove("abcd", "xb", 3), (Moved{"acxbd", 2}));
}

TEST(NSMutableArrayTelvo, AppendingReturnsTheNumberOfObjectsNotAPosition) {
  EXPECT_EQ(insertOrMove("abcd", "ab", 4), (Moved{"cdab", 2}));
  EXPECT_EQ(insertOrMove("abcd", "x", 4), (Moved{"abcdx", 1}));
  EXPECT_EQ(insertOrMove("abcd", "d", 4), (Moved{"abcd", 1}));
  EXPECT_EQ(insertOrMove("abcd", "xyz", 99), (Moved{"abcdxyz", 3}));
  EXPECT_EQ(insertOrMove("", "x", 0), (Moved{"x", 1}));
  // The removals leave the target behind the last element.
  EXPECT_EQ(insertOrMove("abc", "c", 2), (Moved{"abc", 1}));
}

TEST(NSMutableArrayTelvo, OnlyTheFirstOccurrenceOfAMovedObjectIsTakenOut) {
  EXPECT_EQ(insertOrMove("abab", "b", 0), (Moved{"baab", 0}));
  EXPECT_EQ(insertOrMove("abab", "bb", 0), (Moved{"bbaa", 0}));
}

TEST(NSMutableArrayTelvo, MovingNothingOrTheArrayItselfIsSafe) {
  EXPECT_EQ(insertOrMove("abc", "", 1), (Moved{"abc", 1}));
  EXPECT_EQ(insertOrMove("abc", "", 3), (Moved{"abc", 0}));
  const auto array = letters("abc");
  EXPECT_EQ(telvo_insertOrMoveObjectsFromArray_atIndex(array, nil, 1), 1U);
  EXPECT_EQ(telvo_insertOrMoveObjectsFromArray_atIndex(array, array, 1), 3U);
  EXPECT_EQ(text(array), "abc");
}

TEST(NSMutableArrayTelvo, AddOrMovePutsTheObjectsAtTheEnd) {
  const auto array = letters("ab");
  EXPECT_EQ(telvo_addOrMoveObjectsFromArray(array, letters("a")), 1U);
  EXPECT_EQ(text(array), "ba");
  EXPECT_EQ(telvo_addOrMoveObjectsFromArray(array, letters("xb")), 2U);
  EXPECT_EQ(text(array), "axb");
}

Ref<NSEnumerator> indexes(std::initializer_list<id> numbers) {
  return NSArray::arrayWithObjects(numbers)->objectEnumerator();
}

TEST(NSMutableArrayTelvo, PicksElementsByEnumeratedIndexes) {
  const auto array = letters("abcd");
  EXPECT_EQ(text(telvo_arrayWithIndexEnumerator(array, indexes({number(3), number(0), number(3)}))), "dad");
  EXPECT_EQ(text(telvo_arrayWithIndexEnumerator(array, indexes({NSNumber::numberWithDouble(2.9)}))), "c");
  EXPECT_EQ(telvo_arrayWithIndexEnumerator(array, nil)->count(), 0U);
  EXPECT_THROW(telvo_arrayWithIndexEnumerator(array, indexes({number(4)})), Ref<NSException>);
  EXPECT_THROW(telvo_arrayWithIndexEnumerator(array, indexes({number(-1)})), Ref<NSException>);
  EXPECT_THROW(telvo_arrayWithIndexEnumerator(array, indexes({NSNull::null()})), Ref<NSException>);
}

TEST(NSMutableArrayTelvo, RemovingByIndexesTakesEqualElementsElsewhereToo) {
  const auto array = letters("abcab");
  telvo_removeObjectsFromIndexEnumerator(array, indexes({number(0)}));
  EXPECT_EQ(text(array), "bcb");
  EXPECT_THROW(telvo_removeObjectsFromIndexEnumerator(array, indexes({number(0), number(9)})), Ref<NSException>);
  EXPECT_EQ(text(array), "bcb");
}

TEST(NSMutableArrayTelvo, RemovesWhatMatchesByKey) {
  const auto array = NSMutableArray::arrayWithArray(people());
  telvo_removeObjectsMatching_usingKey(array, "30"_ns, "age"_ns);
  EXPECT_EQ(array->count(), 4U);
  EXPECT_EQ(telvo_objectMatching_usingKey(array, number(30), "age"_ns), nil);
}

TEST(NSMutableArrayTelvo, ElementsMayChangeTheArrayWhileTheyPerform) {
  const auto array = NSMutableArray::array();
  for (int i = 0; i < 3; ++i) array->addObject(make<Item>("x"_ns, array));
  telvo_makeObjectsSafelyPerformSelector(array, "leave"_sel);
  EXPECT_EQ(array->count(), 0U);
}

TEST(NSMutableArrayTelvo, AQueueGivesOutAtTheFrontAndAStackAtTheEnd) {
  const auto queue = letters("");
  telvo_enqueue(queue, "a"_ns);
  telvo_enqueue(queue, "b"_ns);
  EXPECT_TRUE(NSEqualObjects(telvo_dequeue(queue), "a"_ns));
  EXPECT_EQ(text(queue), "b");
  const auto stack = letters("");
  telvo_push(stack, "a"_ns);
  telvo_push(stack, "b"_ns);
  EXPECT_TRUE(NSEqualObjects(telvo_pop(stack), "b"_ns));
  EXPECT_EQ(text(stack), "a");
}

TEST(NSMutableArrayTelvo, EmptyQueuesAndStacksGiveNilAndStayEmpty) {
  const auto array = letters("");
  EXPECT_EQ(telvo_dequeue(array), nil);
  EXPECT_EQ(telvo_pop(array), nil);
  EXPECT_EQ(array->count(), 0U);
  EXPECT_THROW(telvo_enqueue(array, nil), Ref<NSException>);
  EXPECT_THROW(telvo_push(array, nil), Ref<NSException>);
}

TEST(NSMutableArrayTelvo, ANilArrayIsLeftAlone) {
  const Ref<NSMutableArray> none;
  telvo_insertObject_atIndex_orEnd(none, "a"_ns, 0, true);
  telvo_insertObjectsFromArray_atIndex(none, letters("a"), 0);
  EXPECT_EQ(telvo_insertOrMoveObjectsFromArray_atIndex(none, letters("a"), 0), 0U);
  telvo_removeObjectsFromIndexEnumerator(none, indexes({number(0)}));
  telvo_removeObjectsMatching_usingKey(none, "a"_ns, "a"_ns);
  telvo_makeObjectsSafelyPerformSelector(none, "leave"_sel);
  telvo_push(none, "a"_ns);
  EXPECT_EQ(telvo_pop(none), nil);
  EXPECT_EQ(telvo_reverseArray(none), nil);
  EXPECT_EQ(telvo_sortedArrayUsingFinderOrder(none), nil);
}

TEST(NSMutableArrayTelvo, ExtensionsAreCalledByName) {
  const auto array = letters("ab");
  array->performSelector_withObject("telvo_enqueue:"_sel, "c"_ns);
  EXPECT_TRUE(NSEqualObjects(array->performSelector("telvo_dequeue"_sel), "a"_ns));
  EXPECT_EQ(text(as<NSArray>(array->performSelector("telvo_reverseArray"_sel))), "cb");
  EXPECT_FALSE(NSArray::array()->respondsToSelector("telvo_pop"_sel));
}

TEST(NSArrayTelvo, AQueueKeepsItsOrderWhileItIsFilledAndDrained) {
  const auto queue = NSMutableArray::array();
  NSInteger next = 0;
  NSInteger expected = 0;
  for (NSInteger round = 0; round < 100; ++round) {
    for (NSInteger count = 0; count < 7; ++count) telvo_enqueue(queue, NSNumber::numberWithInteger(next++));
    for (NSInteger count = 0; count < 5; ++count) {
      EXPECT_EQ(foundation::integerFromObject(telvo_dequeue(queue)), expected++);
    }
    ASSERT_EQ(queue->count(), static_cast<NSUInteger>(next - expected));
    EXPECT_EQ(foundation::integerFromObject(queue->objectAtIndex(0)), expected);
    EXPECT_EQ(foundation::integerFromObject(queue->lastObject()), next - 1);
    EXPECT_EQ(queue->indexOfObject(NSNumber::numberWithInteger(expected)), 0U);
  }
  queue->insertObject_atIndex("front"_ns, 0);
  queue->replaceObjectAtIndex_withObject(1, "second"_ns);
  queue->insertObject_atIndex("third"_ns, 2);
  EXPECT_TRUE(NSEqualObjects(telvo_dequeue(queue), "front"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_dequeue(queue), "second"_ns));
  EXPECT_TRUE(NSEqualObjects(telvo_dequeue(queue), "third"_ns));
  EXPECT_EQ(foundation::integerFromObject(queue->firstObject()), expected + 1);
  const auto copy = as<NSArray>(queue->copy());
  EXPECT_TRUE(queue->isEqual(copy));
  EXPECT_EQ(queue->hash(), copy->hash());
  while (queue->count() > 0) EXPECT_EQ(foundation::integerFromObject(telvo_dequeue(queue)), ++expected);
  EXPECT_EQ(telvo_dequeue(queue), nil);
  telvo_enqueue(queue, "again"_ns);
  EXPECT_TRUE(queue->isEqual(NSArray::arrayWithObject("again"_ns)));
}

}  // namespace
