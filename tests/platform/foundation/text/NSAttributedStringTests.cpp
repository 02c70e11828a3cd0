#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/Foundation.h"
#include "foundation/text/NSAttributedString.h"

namespace {

using Seen = std::vector<std::tuple<std::string, NSUInteger, NSUInteger>>;

Ref<NSDictionary> one(const Ref<NSString>& name, const id& value) {
  return NSDictionary::dictionaryWithObject_forKey(value, name);
}

// "aabbcc" with k=1 over "aa", k=2 over "bb" and nothing over "cc".
Ref<NSMutableAttributedString> sample() {
  const auto text = make<NSMutableAttributedString>("aabbcc"_ns);
  text->addAttribute_value_range("k"_ns, "1"_ns, {0, 2});
  text->addAttribute_value_range("k"_ns, "2"_ns, {2, 2});
  return text;
}

Seen enumerated(const NSAttributedString& text, const Ref<NSString>& name, NSRange range, NSUInteger options = 0) {
  Seen seen;
  text.enumerateAttribute_inRange_options_usingBlock(name, range, options, [&](const id& value, NSRange run, bool*) {
    seen.emplace_back(value ? value->description()->UTF8String() : "", run.location, run.length);
  });
  return seen;
}

TEST(NSAttributedString, HasNoAttributesUnlessGiven) {
  const auto text = make<NSAttributedString>("abc"_ns);
  NSRange range;
  EXPECT_EQ(text->attributesAtIndex_effectiveRange(1, &range)->count(), 0U);
  EXPECT_EQ(range, NSMakeRange(0, 3));
}

TEST(NSAttributedString, NilTextIsAnEmptyOne) {
  EXPECT_EQ(make<NSAttributedString>(Ref<NSString>())->length(), 0U);
  EXPECT_EQ(make<NSAttributedString>(Ref<NSAttributedString>())->length(), 0U);
  EXPECT_TRUE(make<NSAttributedString>()->string()->isEqual(""_ns));
}

TEST(NSAttributedString, IsNotChangedThroughWhatItWasMadeOf) {
  const auto source = NSMutableString::stringWithString("abc"_ns);
  const auto attributes = NSMutableDictionary::dictionary({{"k"_ns, "1"_ns}});
  const auto text = make<NSAttributedString>(source, attributes);
  source->appendString("def"_ns);
  attributes->removeAllObjects();
  EXPECT_EQ(text->length(), 3U);
  EXPECT_EQ(text->attributesAtIndex_effectiveRange(0)->count(), 1U);
}

TEST(NSAttributedString, AnswersAttributesWithTheirRange) {
  const auto text = sample();
  NSRange range;
  EXPECT_TRUE(NSEqualObjects(text->attribute_atIndex_effectiveRange("k"_ns, 3, &range), "2"_ns));
  EXPECT_EQ(range, NSMakeRange(2, 2));
  EXPECT_EQ(text->attribute_atIndex_effectiveRange("k"_ns, 5, &range), nil);
  EXPECT_EQ(range, NSMakeRange(4, 2));
}

TEST(NSAttributedString, LongestRangeLooksAtOneAttributeOnlyAndStaysInsideTheLimit) {
  const auto text = sample();
  text->addAttribute_value_range("other"_ns, "x"_ns, {1, 4});
  NSRange range;
  text->attribute_atIndex_longestEffectiveRange_inRange("other"_ns, 2, &range, {0, 6});
  EXPECT_EQ(range, NSMakeRange(1, 4));
  text->attribute_atIndex_longestEffectiveRange_inRange("other"_ns, 3, &range, {2, 2});
  EXPECT_EQ(range, NSMakeRange(2, 2));
  text->attributesAtIndex_longestEffectiveRange_inRange(3, &range, {0, 6});
  EXPECT_EQ(range, NSMakeRange(2, 2));
}

TEST(NSAttributedString, IndexesAndRangesOutOfBoundsRaise) {
  const auto text = sample();
  EXPECT_THROW(text->attributesAtIndex_effectiveRange(6), Ref<NSException>);
  EXPECT_THROW(text->attributedSubstringFromRange({5, 2}), Ref<NSException>);
  EXPECT_THROW(text->attributedSubstringFromRange({1, NSUIntegerMax}), Ref<NSException>);
  EXPECT_THROW(enumerated(*text, "k"_ns, {7, 0}), Ref<NSException>);
  EXPECT_THROW(text->deleteCharactersInRange({6, 1}), Ref<NSException>);
  EXPECT_THROW(text->insertAttributedString_atIndex(text, 7), Ref<NSException>);
  EXPECT_THROW(text->setAttributes_range(nil, {0, 7}), Ref<NSException>);
}

TEST(NSAttributedString, EnumeratesRunsWithAndWithoutTheAttribute) {
  EXPECT_EQ(enumerated(*sample(), "k"_ns, {1, 5}), (Seen{{"1", 1, 1}, {"2", 2, 2}, {"", 4, 2}}));
  EXPECT_EQ(enumerated(*sample(), "k"_ns, {1, 5}, NSAttributedStringEnumerationReverse),
            (Seen{{"", 4, 2}, {"2", 2, 2}, {"1", 1, 1}}));
  EXPECT_EQ(enumerated(*sample(), "k"_ns, {6, 0}), Seen{});
}

TEST(NSAttributedString, EnumerationJoinsRunsThatDifferInOtherAttributesOnly) {
  const auto text = sample();
  text->addAttribute_value_range("other"_ns, "x"_ns, {5, 1});
  EXPECT_EQ(enumerated(*text, "k"_ns, {4, 2}), (Seen{{"", 4, 2}}));
  EXPECT_EQ(enumerated(*text, "k"_ns, {4, 2}, NSAttributedStringEnumerationLongestEffectiveRangeNotRequired),
            (Seen{{"", 4, 1}, {"", 5, 1}}));
}

TEST(NSAttributedString, EnumerationStopsWhenAsked) {
  int calls = 0;
  sample()->enumerateAttributesInRange_options_usingBlock({0, 6}, 0,
                                                          [&](const Ref<NSDictionary>&, NSRange, bool* stop) {
                                                            ++calls;
                                                            *stop = true;
                                                          });
  EXPECT_EQ(calls, 1);
}

TEST(NSAttributedString, BlockMayChangeTheRunItWasGiven) {
  const auto text = sample();
  text->beginEditing();
  text->enumerateAttribute_inRange_options_usingBlock("k"_ns, {0, 6}, 0, [&](const id& value, NSRange range, bool*) {
    if (!value) return;
    text->removeAttribute_range("k"_ns, range);
    text->addAttribute_value_range("k"_ns, "2"_ns, range);
  });
  text->endEditing();
  EXPECT_EQ(enumerated(*text, "k"_ns, {0, 6}), (Seen{{"2", 0, 4}, {"", 4, 2}}));
}

TEST(NSAttributedString, EnumerationEndsAtTheTextThatABlockShortened) {
  const auto text = sample();
  int calls = 0;
  text->enumerateAttribute_inRange_options_usingBlock("k"_ns, {0, 6}, 0, [&](const id&, NSRange, bool*) {
    ++calls;
    text->deleteCharactersInRange({0, text->length()});
  });
  EXPECT_EQ(calls, 1);
}

TEST(NSAttributedString, EqualityLooksAtContentAndNotAtHowItIsCut) {
  const auto whole = make<NSMutableAttributedString>("abcd"_ns, one("k"_ns, "1"_ns));
  const auto pieces = make<NSMutableAttributedString>("abcd"_ns);
  pieces->beginEditing();
  pieces->addAttribute_value_range("k"_ns, "1"_ns, {0, 1});
  pieces->addAttribute_value_range("k"_ns, "1"_ns, {1, 3});
  EXPECT_TRUE(whole->isEqual(pieces));
  EXPECT_EQ(whole->hash(), pieces->hash());
  pieces->removeAttribute_range("k"_ns, {3, 1});
  EXPECT_FALSE(whole->isEqual(pieces));
  EXPECT_FALSE(whole->isEqual(make<NSAttributedString>("abce"_ns, one("k"_ns, "1"_ns))));
  EXPECT_FALSE(whole->isEqual("abcd"_ns));
  EXPECT_FALSE(whole->isEqualToAttributedString(nil));
}

TEST(NSAttributedString, SubstringsKeepTheirAttributes) {
  const auto part = sample()->attributedSubstringFromRange({1, 4});
  EXPECT_TRUE(part->string()->isEqual("abbc"_ns));
  EXPECT_EQ(enumerated(*part, "k"_ns, {0, 4}), (Seen{{"1", 0, 1}, {"2", 1, 2}, {"", 3, 1}}));
  EXPECT_EQ(sample()->attributedSubstringFromRange({6, 0})->length(), 0U);
}

TEST(NSAttributedString, CopiesAreIndependent) {
  const auto text = sample();
  const auto fixed = as<NSAttributedString>(text->copy());
  const auto changeable = as<NSMutableAttributedString>(fixed->mutableCopy());
  EXPECT_EQ(fixed->isa(), NSAttributedString::classObject());
  EXPECT_EQ(fixed->copy(), fixed);
  changeable->deleteCharactersInRange({0, 6});
  text->setAttributes_range(nil, {0, 6});
  EXPECT_EQ(fixed->length(), 6U);
  EXPECT_EQ(enumerated(*fixed, "k"_ns, {0, 6}).size(), 3U);
}

TEST(NSAttributedString, DescriptionShowsTextAndAttributes) {
  const auto text = make<NSAttributedString>("abc"_ns, one("k"_ns, "1"_ns));
  EXPECT_EQ(text->description()->UTF8String(), "abc{\n    k = 1;\n}");
}

TEST(NSMutableAttributedString, InsertedStyledTextKeepsItsOwnAttributes) {
  const auto text = make<NSMutableAttributedString>("ad"_ns, one("k"_ns, "1"_ns));
  text->insertAttributedString_atIndex(make<NSAttributedString>("bc"_ns), 1);
  EXPECT_TRUE(text->string()->isEqual("abcd"_ns));
  EXPECT_EQ(enumerated(*text, "k"_ns, {0, 4}), (Seen{{"1", 0, 1}, {"", 1, 2}, {"1", 3, 1}}));
}

TEST(NSMutableAttributedString, InsertedPlainTextTakesTheAttributesBeforeIt) {
  const auto text = sample();
  text->replaceCharactersInRange_withString({2, 0}, "+"_ns);
  EXPECT_EQ(enumerated(*text, "k"_ns, {0, 7}), (Seen{{"1", 0, 3}, {"2", 3, 2}, {"", 5, 2}}));
  text->replaceCharactersInRange_withString({0, 0}, "+"_ns);
  EXPECT_EQ(enumerated(*text, "k"_ns, {0, 8}), (Seen{{"1", 0, 4}, {"2", 4, 2}, {"", 6, 2}}));
}

TEST(NSMutableAttributedString, ReplacedTextPassesItsFirstAttributesOn) {
  const auto text = sample();
  text->replaceCharactersInRange_withString({1, 3}, "xyz!"_ns);
  EXPECT_TRUE(text->string()->isEqual("axyz!cc"_ns));
  EXPECT_EQ(enumerated(*text, "k"_ns, {0, 7}), (Seen{{"1", 0, 5}, {"", 5, 2}}));
}

TEST(NSMutableAttributedString, DeletingJoinsWhatIsEqualAround) {
  const auto text = make<NSMutableAttributedString>("abc"_ns);
  text->addAttribute_value_range("k"_ns, "1"_ns, {1, 1});
  text->deleteCharactersInRange({1, 1});
  NSRange range;
  text->attributesAtIndex_effectiveRange(0, &range);
  EXPECT_EQ(range, NSMakeRange(0, 2));
}

TEST(NSMutableAttributedString, TextCanBeEmptiedAndFilledAgain) {
  const auto text = sample();
  text->deleteCharactersInRange({0, 6});
  EXPECT_EQ(text->length(), 0U);
  text->replaceCharactersInRange_withString({0, 0}, "new"_ns);
  EXPECT_EQ(enumerated(*text, "k"_ns, {0, 3}), (Seen{{"", 0, 3}}));
}

TEST(NSMutableAttributedString, AppendsItselfOnce) {
  const auto text = sample();
  text->appendAttributedString(text);
  EXPECT_TRUE(text->string()->isEqual("aabbccaabbcc"_ns));
  EXPECT_EQ(enumerated(*text, "k"_ns, {6, 6}), (Seen{{"1", 6, 2}, {"2", 8, 2}, {"", 10, 2}}));
}

TEST(NSMutableAttributedString, SetAttributesReplacesAllAndAddAttributesMerges) {
  const auto text = sample();
  text->addAttributes_range(one("other"_ns, "x"_ns), {0, 6});
  EXPECT_EQ(text->attributesAtIndex_effectiveRange(0)->count(), 2U);
  text->setAttributes_range(one("other"_ns, "y"_ns), {0, 6});
  NSRange range;
  EXPECT_EQ(text->attributesAtIndex_effectiveRange(0, &range)->count(), 1U);
  EXPECT_EQ(range, NSMakeRange(0, 6));
}

TEST(NSMutableAttributedString, NilAttributeValueRaises) {
  EXPECT_THROW(sample()->addAttribute_value_range("k"_ns, nil, {0, 1}), Ref<NSException>);
}

TEST(NSMutableAttributedString, SetAttributedStringTakesTextAndRuns) {
  const auto text = make<NSMutableAttributedString>("old"_ns);
  text->setAttributedString(sample());
  EXPECT_TRUE(text->isEqual(sample()));
  text->setAttributedString(nil);
  EXPECT_EQ(text->length(), 0U);
}

TEST(NSMutableAttributedString, EqualNeighboursAreJoinedByTheOutermostEndEditing) {
  const auto text = make<NSMutableAttributedString>("abcdef"_ns);
  text->beginEditing();
  text->beginEditing();
  for (NSUInteger i = 0; i < 6; ++i) text->addAttribute_value_range("k"_ns, "1"_ns, {i, 1});
  text->endEditing();
  text->endEditing();
  text->endEditing();
  NSRange range;
  text->attributesAtIndex_effectiveRange(3, &range);
  EXPECT_EQ(range, NSMakeRange(0, 6));
}

TEST(NSMutableAttributedString, StringIsASnapshot) {
  const auto text = sample();
  const auto before = text->string();
  text->deleteCharactersInRange({0, 6});
  EXPECT_TRUE(before->isEqual("aabbcc"_ns));
}

}  // namespace
