#include <limits>

#include <gtest/gtest.h>

#include "appkit/NSParagraphStyle.h"
#include "foundation/Foundation.h"
#include "testing/HandMadeArchive.h"

namespace {

TEST(NSParagraphStyle, IsNaturallyAlignedByDefault) {
  EXPECT_EQ(NSParagraphStyle::defaultParagraphStyle()->alignment(), NSTextAlignmentNatural);
}

TEST(NSParagraphStyle, MutableOneDoesNotChangeItsCopies) {
  const auto style = make<NSMutableParagraphStyle>(NSTextAlignmentCenter);
  const auto fixed = as<NSParagraphStyle>(style->copy());
  style->setAlignment(NSTextAlignmentRight);
  EXPECT_EQ(fixed->alignment(), NSTextAlignmentCenter);
  EXPECT_EQ(fixed->isa(), NSParagraphStyle::classObject());
  EXPECT_EQ(as<NSMutableParagraphStyle>(fixed->mutableCopy())->alignment(), NSTextAlignmentCenter);
}

TEST(NSParagraphStyle, EqualityIsByAlignment) {
  const auto style = make<NSParagraphStyle>(NSTextAlignmentCenter);
  EXPECT_TRUE(style->isEqual(make<NSMutableParagraphStyle>(NSTextAlignmentCenter)));
  EXPECT_FALSE(style->isEqual(NSParagraphStyle::defaultParagraphStyle()));
  EXPECT_FALSE(style->isEqual(nil));
}

TEST(NSParagraphStyle, ComesBackFromAnArchiveAsMutableAsItWas) {
  for (const auto alignment : {NSTextAlignmentLeft, NSTextAlignmentRight, NSTextAlignmentCenter,
                               NSTextAlignmentJustified, NSTextAlignmentNatural}) {
    const id back = throughArchive(make<NSParagraphStyle>(alignment));
    EXPECT_EQ(back->isa(), NSParagraphStyle::classObject());
    EXPECT_EQ(as<NSParagraphStyle>(back)->alignment(), alignment);
    const id changeable = throughArchive(make<NSMutableParagraphStyle>(alignment));
    EXPECT_EQ(changeable->isa(), NSMutableParagraphStyle::classObject());
    EXPECT_EQ(as<NSParagraphStyle>(changeable)->alignment(), alignment);
  }
}

TEST(NSParagraphStyle, AlignmentsThatAreNoneAreNatural) {
  for (const NSInteger value : {NSInteger{-1}, NSInteger{5}, std::numeric_limits<NSInteger>::max()}) {
    const id style =
        unarchived(archiveOfObject("NSParagraphStyle"_ns, {{"NSAlignment"_ns, NSNumber::numberWithInteger(value)}}));
    EXPECT_EQ(as<NSParagraphStyle>(style)->alignment(), NSTextAlignmentNatural);
  }
  EXPECT_EQ(as<NSParagraphStyle>(unarchived(archiveOfObject("NSParagraphStyle"_ns, {})))->alignment(),
            NSTextAlignmentNatural);
  EXPECT_EQ(unarchived(archiveOfObject("NSParagraphStyle"_ns, {{"NSAlignment"_ns, "left"_ns}})), nil);
}

}  // namespace
