#include <cmath>

#include <gtest/gtest.h>

#include "appkit/NSColor.h"
#include "foundation/Foundation.h"

namespace {

TEST(NSColor, ComponentsStayBetweenZeroAndOne) {
  const auto color = NSColor::colorWithRed_green_blue_alpha(-1, 2, std::nan(""), 0.25);
  EXPECT_EQ(color->redComponent(), 0);
  EXPECT_EQ(color->greenComponent(), 1);
  EXPECT_EQ(color->blueComponent(), 0);
  EXPECT_EQ(color->alphaComponent(), 0.25);
}

TEST(NSColor, EqualityIsByAllComponents) {
  EXPECT_TRUE(NSColor::colorWithWhite_alpha(0, 1)->isEqual(NSColor::blackColor()));
  EXPECT_EQ(NSColor::colorWithWhite_alpha(0, 1)->hash(), NSColor::blackColor()->hash());
  EXPECT_FALSE(NSColor::colorWithWhite_alpha(0, 0.5)->isEqual(NSColor::blackColor()));
  EXPECT_FALSE(NSColor::redColor()->isEqual(NSColor::greenColor()));
  EXPECT_FALSE(NSColor::blueColor()->isEqual(NSColor::whiteColor()));
  EXPECT_FALSE(NSColor::blackColor()->isEqual("black"_ns));
}

TEST(NSColor, DescriptionListsTheComponents) {
  EXPECT_EQ(NSColor::colorWithRed_green_blue_alpha(1, 0.5, 0, 1)->description()->UTF8String(), "RGB 1 0.5 0 1");
}

}  // namespace
