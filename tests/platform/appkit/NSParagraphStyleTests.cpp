#include <gtest/gtest.h>

#include "appkit/NSParagraphStyle.h"
#include "foundation/Foundation.h"

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

}  // namespace
