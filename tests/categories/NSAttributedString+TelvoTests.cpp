#include <tuple>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "appkit/NSColor.h"
#include "appkit/NSFont.h"
#include "categories/NSAttributedString+Telvo.h"
#include "foundation/Foundation.h"

namespace {

Ref<NSDictionary> fontOfSize(double size) {
  return NSDictionary::dictionaryWithObject_forKey(NSFont::fontWithName_size("Georgia-Bold"_ns, size),
                                                   NSFontAttributeName());
}

double sizeAt(const Ref<NSAttributedString>& text, NSUInteger index) {
  const auto font = as<NSFont>(text->attribute_atIndex_effectiveRange(NSFontAttributeName(), index));
  return font ? font->pointSize() : -1;
}

std::vector<double> sizesOf(const Ref<NSAttributedString>& text) {
  std::vector<double> sizes;
  for (NSUInteger i = 0; i < text->length(); ++i) sizes.push_back(sizeAt(text, i));
  return sizes;
}

TEST(NSAttributedStringTelvo, EmptyTextIsOfTheReceivingClass) {
  EXPECT_EQ(telvo_attributedString()->length(), 0U);
  EXPECT_EQ(telvo_attributedString()->isa(), NSAttributedString::classObject());
  EXPECT_EQ(telvo_attributedString<NSMutableAttributedString>()->isa(), NSMutableAttributedString::classObject());
}

TEST(NSAttributedStringTelvo, TextWithoutAttributes) {
  const auto text = telvo_attributedStringWithString("abc"_ns);
  EXPECT_TRUE(text->string()->isEqual("abc"_ns));
  EXPECT_EQ(text->attributesAtIndex_effectiveRange(0)->count(), 0U);
  EXPECT_EQ(telvo_attributedStringWithString(nil)->length(), 0U);
  EXPECT_EQ(telvo_attributedStringWithString<NSMutableAttributedString>("x"_ns)->isa(),
            NSMutableAttributedString::classObject());
}

TEST(NSAttributedStringTelvo, AttributesHoldForTheWholeText) {
  const auto text = telvo_attributedStringWithString_attributes("abc"_ns, fontOfSize(9));
  NSRange range;
  text->attributesAtIndex_effectiveRange(1, &range);
  EXPECT_EQ(range, NSMakeRange(0, 3));
  EXPECT_EQ(sizesOf(text), (std::vector<double>{9, 9, 9}));
  EXPECT_EQ(telvo_attributedStringWithString_attributes("abc"_ns, nil)->attributesAtIndex_effectiveRange(0)->count(),
            0U);
  EXPECT_EQ(telvo_attributedStringWithString_attributes<NSMutableAttributedString>(nil, fontOfSize(9))->length(), 0U);
}

TEST(NSAttributedStringTelvo, AllRangeIsTheWholeText) {
  EXPECT_EQ(telvo_allRange(telvo_attributedStringWithString("abc"_ns)), NSMakeRange(0, 3));
  EXPECT_EQ(telvo_allRange(telvo_attributedString()), NSMakeRange(0, 0));
  EXPECT_EQ(telvo_allRange(nil), NSMakeRange(0, 0));
}

TEST(NSAttributedStringTelvo, RTFReadsBack) {
  const auto text =
      telvo_attributedStringWithString_attributes<NSMutableAttributedString>("größer\n€"_ns, fontOfSize(13));
  text->addAttribute_value_range(NSForegroundColorAttributeName(), NSColor::redColor(), {1, 3});
  EXPECT_TRUE(NSEqualObjects(telvo_attributedStringWithRTFData(telvo_rtfData(text)), text));
  EXPECT_TRUE(NSEqualObjects(telvo_attributedStringWithRTFString(telvo_rtfString(text)), text));
  EXPECT_TRUE(telvo_rtfString(text)->hasPrefix("{\\rtf1"_ns));
  EXPECT_EQ(telvo_attributedStringWithRTFData(telvo_rtfData(telvo_attributedString()))->length(), 0U);
}

TEST(NSAttributedStringTelvo, RTFIsReadIntoTheReceivingClass) {
  const auto document = "{\\rtf1 abc}"_ns;
  EXPECT_EQ(telvo_attributedStringWithRTFString(document)->isa(), NSAttributedString::classObject());
  const auto text = telvo_attributedStringWithRTFString<NSMutableAttributedString>(document);
  EXPECT_EQ(text->isa(), NSMutableAttributedString::classObject());
  EXPECT_TRUE(text->string()->isEqual("abc"_ns));
}

TEST(NSAttributedStringTelvo, BytesThatAreNoRTFGiveNil) {
  EXPECT_EQ(telvo_attributedStringWithRTFData(NSData::dataWithBytes("plain text")), nil);
  EXPECT_EQ(telvo_attributedStringWithRTFData(NSData::data()), nil);
  EXPECT_EQ(telvo_attributedStringWithRTFData(nil), nil);
  EXPECT_EQ(telvo_attributedStringWithRTFString("<html></html>"_ns), nil);
  EXPECT_EQ(telvo_attributedStringWithRTFString(""_ns), nil);
  EXPECT_EQ(telvo_attributedStringWithRTFString(nil), nil);
  EXPECT_EQ(telvo_attributedStringWithRTFData<NSMutableAttributedString>(NSData::data()), nil);
}

TEST(NSAttributedStringTelvo, NilReceiverHasNoRTF) {
  EXPECT_EQ(telvo_rtfData(nil), nil);
  EXPECT_EQ(telvo_rtfString(nil), nil);
}

TEST(NSAttributedStringTelvo, FalseHalvesAndTrueDoublesTheSize) {
  const auto text = telvo_attributedStringWithString_attributes("a"_ns, fontOfSize(12));
  EXPECT_EQ(sizeAt(telvo_attributedStringWithFontSizeIncrease_inRange(text, false, {0, 1}), 0), 6);
  const auto once = telvo_attributedStringWithFontSizeIncrease_inRange(text, true, {0, 1});
  EXPECT_EQ(sizeAt(telvo_attributedStringWithFontSizeIncrease_inRange(once, true, {0, 1}), 0), 48);
  EXPECT_EQ(sizeAt(text, 0), 12);
}

TEST(NSAttributedStringTelvo, OffsetIsAddedToEverySizeInTheRange) {
  const auto text = telvo_attributedStringWithString_attributes<NSMutableAttributedString>("abcdef"_ns, fontOfSize(12));
  text->addAttributes_range(fontOfSize(20), {2, 2});
  text->removeAttribute_range(NSFontAttributeName(), {4, 2});
  const auto larger = telvo_attributedStringWithFontSizeAdjustmentOffset_inRange(text, 1.5, {1, 4});
  EXPECT_EQ(sizesOf(larger), (std::vector<double>{12, 13.5, 21.5, 21.5, -1, -1}));
  EXPECT_EQ(sizesOf(text), (std::vector<double>{12, 12, 20, 20, -1, -1}));
  EXPECT_EQ(sizesOf(telvo_attributedStringWithFontSizeAdjustmentOffset_inRange(text, -2, {0, 6})),
            (std::vector<double>{10, 10, 18, 18, -1, -1}));
}

TEST(NSAttributedStringTelvo, ShrinkingBelowZeroGivesTheDefaultSize) {
  const auto text = telvo_attributedStringWithString_attributes("a"_ns, fontOfSize(12));
  EXPECT_EQ(sizeAt(telvo_attributedStringWithFontSizeAdjustmentOffset_inRange(text, -20, {0, 1}), 0), 12);
  const auto large = telvo_attributedStringWithString_attributes("a"_ns, fontOfSize(18));
  EXPECT_EQ(sizeAt(telvo_attributedStringWithFontSizeAdjustmentOffset_inRange(large, -18, {0, 1}), 0), 12);
}

TEST(NSAttributedStringTelvo, ResizingKeepsTheFontsNameAndAllOtherAttributes) {
  const auto text = telvo_attributedStringWithString_attributes<NSMutableAttributedString>("ab"_ns, fontOfSize(12));
  text->addAttribute_value_range(NSForegroundColorAttributeName(), NSColor::redColor(), {0, 1});
  const auto larger = telvo_attributedStringWithFontSizeIncrease_inRange(text, true, {0, 2});
  const auto font = as<NSFont>(larger->attribute_atIndex_effectiveRange(NSFontAttributeName(), 0));
  EXPECT_TRUE(font->fontName()->isEqual("Georgia-Bold"_ns));
  EXPECT_TRUE(NSEqualObjects(larger->attribute_atIndex_effectiveRange(NSForegroundColorAttributeName(), 0),
                             NSColor::redColor()));
  EXPECT_EQ(larger->attribute_atIndex_effectiveRange(NSForegroundColorAttributeName(), 1), nil);
}

TEST(NSAttributedStringTelvo, RunsThatBecomeEqualDoNotChangeTwice) {
  const auto text = telvo_attributedStringWithString_attributes<NSMutableAttributedString>("abcd"_ns, fontOfSize(6));
  text->addAttributes_range(fontOfSize(12), {1, 1});
  text->addAttributes_range(fontOfSize(24), {2, 1});
  EXPECT_EQ(sizesOf(telvo_attributedStringWithFontSizeIncrease_inRange(text, true, {0, 4})),
            (std::vector<double>{12, 24, 48, 12}));
}

TEST(NSAttributedStringTelvo, ResizingAcceptsEmptyRangesAndNil) {
  const auto text = telvo_attributedStringWithString_attributes("a"_ns, fontOfSize(12));
  EXPECT_EQ(sizeAt(telvo_attributedStringWithFontSizeIncrease_inRange(text, true, {1, 0}), 0), 12);
  EXPECT_EQ(telvo_attributedStringWithFontSizeIncrease_inRange(nil, true, {0, 0}), nil);
  EXPECT_EQ(telvo_attributedStringWithFontSizeAdjustmentOffset_inRange(nil, 1, {0, 0}), nil);
  EXPECT_THROW(telvo_attributedStringWithFontSizeIncrease_inRange(text, true, {0, 2}), Ref<NSException>);
}

TEST(NSAttributedStringTelvo, AppendedTextHasTheGivenAttributesOnly) {
  const auto text = telvo_attributedStringWithString_attributes<NSMutableAttributedString>("ab"_ns, fontOfSize(12));
  telvo_appendString_withAttributes(text, "cd"_ns, fontOfSize(7));
  telvo_appendString_withAttributes(text, "e"_ns, nil);
  telvo_appendString_withAttributes(text, nil, fontOfSize(9));
  EXPECT_TRUE(text->string()->isEqual("abcde"_ns));
  EXPECT_EQ(sizesOf(text), (std::vector<double>{12, 12, 7, 7, -1}));
  telvo_appendString_withAttributes(nil, "x"_ns, nil);
}

TEST(NSAttributedStringTelvo, InsertedTextHasTheGivenAttributesOnly) {
  const auto text = telvo_attributedStringWithString_attributes<NSMutableAttributedString>("ab"_ns, fontOfSize(12));
  telvo_insertString_withAttributes_atIndex(text, "cd"_ns, fontOfSize(7), 1);
  telvo_insertString_withAttributes_atIndex(text, "e"_ns, nil, 4);
  EXPECT_TRUE(text->string()->isEqual("acdbe"_ns));
  EXPECT_EQ(sizesOf(text), (std::vector<double>{12, 7, 7, 12, -1}));
  EXPECT_THROW(telvo_insertString_withAttributes_atIndex(text, "x"_ns, nil, 6), Ref<NSException>);
  telvo_insertString_withAttributes_atIndex(nil, "x"_ns, nil, 6);
}

TEST(NSAttributedStringTelvo, ExtensionsAnswerToTheirSelectors) {
  const id text = telvo_attributedStringWithString<NSMutableAttributedString>("ab"_ns);
  EXPECT_TRUE(
      NSEqualObjects(text->performSelector("telvo_rtfString"_sel), telvo_rtfString(as<NSAttributedString>(text))));
  text->performSelector_withObject_withObject("telvo_appendString:withAttributes:"_sel, "c"_ns, fontOfSize(7));
  EXPECT_TRUE(as<NSAttributedString>(text)->string()->isEqual("abc"_ns));
}

}  // namespace
