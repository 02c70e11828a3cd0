#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "appkit/NSColor.h"
#include "foundation/Foundation.h"
#include "testing/HandMadeArchive.h"

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

TEST(NSColor, ComesBackFromAnArchive) {
  for (const auto& color : {NSColor::redColor(), NSColor::colorWithWhite_alpha(0.3, 0.5),
                            NSColor::colorWithRed_green_blue_alpha(1.0 / 3.0, 0.123456789, 1e-9, 1)}) {
    EXPECT_TRUE(NSEqualObjects(throughArchive(color), color)) << color->description()->UTF8String();
  }
}

TEST(NSColor, OfEveryKindIsReadFromAnArchive) {
  const auto read = [](NSInteger space, const Ref<NSString>& key, const std::string& components) -> std::string {
    const auto color =
        unarchived(archiveOfObject("NSColor"_ns, {{"NSColorSpace"_ns, NSNumber::numberWithInteger(space)},
                                                  {key, NSData::dataWithBytes(components)}}));
    return color ? color->description()->UTF8String() : "nil";
  };
  EXPECT_EQ(read(1, "NSRGB"_ns, std::string("1 0.5 0\0", 8)), "RGB 1 0.5 0 1");
  EXPECT_EQ(read(2, "NSRGB"_ns, "1 0.5 0 0.25"), "RGB 1 0.5 0 0.25");
  EXPECT_EQ(read(3, "NSWhite"_ns, std::string("0.5\0", 4)), "RGB 0.5 0.5 0.5 1");
  EXPECT_EQ(read(4, "NSWhite"_ns, "1 0.5"), "RGB 1 1 1 0.5");
  EXPECT_EQ(read(5, "NSCMYK"_ns, "0 1 1 0 1"), "RGB 1 0 0 1");
  EXPECT_EQ(read(1, "NSRGB"_ns, "7 -1 nan"), "RGB 1 0 0 1") << "brought between 0 and 1";
  for (const std::string& damaged : {std::string(), std::string("1 0.5"), std::string("red"), std::string(9, '\0')}) {
    EXPECT_EQ(read(1, "NSRGB"_ns, damaged), "nil");
    EXPECT_EQ(read(5, "NSCMYK"_ns, damaged), "nil");
  }
  EXPECT_EQ(read(1, "NSWhite"_ns, "1"), "nil");
  EXPECT_EQ(read(10, "NSRGB"_ns, "1 1 1"), "nil") << "a pattern";
}

TEST(NSColor, ANamedOneIsReadAsWhatItStoodFor) {
  const auto named = [](NSUInteger reference) {
    return unarchived(archiveOfObject("NSColor"_ns,
                                      {{"NSColorSpace"_ns, NSNumber::numberWithInteger(6)},
                                       {"NSColor"_ns, NSPropertyListUID::uidWithValue(reference)}},
                                      {NSDictionary::dictionary({{"$class"_ns, NSPropertyListUID::uidWithValue(2)},
                                                                 {"NSColorSpace"_ns, NSNumber::numberWithInteger(3)},
                                                                 {"NSWhite"_ns, NSData::dataWithBytes("0.5")}})}));
  };
  EXPECT_TRUE(NSEqualObjects(named(3), NSColor::colorWithWhite_alpha(0.5, 1)));
  EXPECT_EQ(named(0), nil);
  EXPECT_EQ(named(1), nil) << "by itself";
}

}  // namespace
