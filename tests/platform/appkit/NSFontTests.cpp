#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "appkit/NSFont.h"
#include "foundation/Foundation.h"
#include "testing/HandMadeArchive.h"

namespace {

std::string described(const Ref<NSFont>& font) {
  const std::string traits = std::string((font->traits() & NSBoldFontMask) != 0 ? "b" : "") +
                             ((font->traits() & NSItalicFontMask) != 0 ? "i" : "");
  return font->fontName()->UTF8String() + "|" + font->familyName()->UTF8String() + "|" + traits;
}

TEST(NSFont, KeepsNameAndSize) {
  const auto font = NSFont::fontWithName_size("Helvetica-Bold"_ns, 13.5);
  EXPECT_TRUE(font->fontName()->isEqual("Helvetica-Bold"_ns));
  EXPECT_EQ(font->pointSize(), 13.5);
  EXPECT_EQ(font->description()->UTF8String(), "\"Helvetica-Bold 13.50 pt.\"");
}

TEST(NSFont, SizesThatAreNoneGiveTheDefaultOfTwelvePoints) {
  for (const double size : {0.0, -0.0, -8.0, std::nan(""), std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(NSFont::fontWithName_size("Helvetica"_ns, size)->pointSize(), 12.0) << size;
  }
  EXPECT_EQ(NSFont::fontWithName_size("Helvetica"_ns, 0.001)->pointSize(), 0.001);
  EXPECT_EQ(NSFont::userFontOfSize(0)->description()->UTF8String(), "\"Helvetica 12.00 pt.\"");
}

TEST(NSFont, WithoutANameThereIsNone) {
  EXPECT_EQ(NSFont::fontWithName_size(nil, 12), nil);
  EXPECT_EQ(NSFont::fontWithName_size(" \t"_ns, 12), nil);
  EXPECT_EQ(NSFont::fontWithFamily_traits_size(""_ns, 0, 12), nil);
  EXPECT_TRUE(NSFont::fontWithName_size(" Georgia "_ns, 12)->fontName()->isEqual("Georgia"_ns));
}

TEST(NSFont, NamesTellFamilyAndTraits) {
  const auto named = [](const Ref<NSString>& name) { return described(NSFont::fontWithName_size(name, 12)); };
  EXPECT_EQ(named("Helvetica"_ns), "Helvetica|Helvetica|");
  EXPECT_EQ(named("Helvetica-BoldOblique"_ns), "Helvetica-BoldOblique|Helvetica|bi");
  EXPECT_EQ(named("Times"_ns), "Times-Roman|Times|");
  EXPECT_EQ(named("Arial"_ns), "ArialMT|Arial|");
  EXPECT_EQ(named("TimesNewRomanPS-ItalicMT"_ns), "TimesNewRomanPS-ItalicMT|Times New Roman|i");
  EXPECT_EQ(named("Avenir-HeavyOblique"_ns), "Avenir-HeavyOblique|Avenir|bi");
  EXPECT_EQ(named("Avenir-Light"_ns), "Avenir-Light|Avenir|");
  EXPECT_EQ(named("Noto Sans-SemiBold"_ns), "Noto Sans-SemiBold|Noto Sans|b");
  EXPECT_EQ(named("MS-Gothic"_ns), "MS-Gothic|MS-Gothic|");
  EXPECT_EQ(named("Boldini"_ns), "Boldini|Boldini|");
  EXPECT_EQ(named("-Bold"_ns), "-Bold|-Bold|");
  EXPECT_EQ(named("Odd-"_ns), "Odd-|Odd-|");
}

TEST(NSFont, FamiliesHaveTheirFaces) {
  const auto face = [](const Ref<NSString>& family, NSUInteger traits) {
    return described(NSFont::fontWithFamily_traits_size(family, traits, 12));
  };
  EXPECT_EQ(face("Times"_ns, NSBoldFontMask | NSItalicFontMask), "Times-BoldItalic|Times|bi");
  EXPECT_EQ(face("Courier New"_ns, NSBoldFontMask), "CourierNewPS-BoldMT|Courier New|b");
  EXPECT_EQ(face("Noto Sans"_ns, NSItalicFontMask), "Noto Sans-Italic|Noto Sans|i");
  EXPECT_EQ(face("Noto Sans"_ns, 0), "Noto Sans|Noto Sans|");
}

TEST(NSFont, EqualityIsByNameAndSize) {
  const auto font = NSFont::fontWithName_size("Helvetica"_ns, 12);
  EXPECT_TRUE(font->isEqual(NSFont::userFontOfSize(12)));
  EXPECT_EQ(font->hash(), NSFont::userFontOfSize(12)->hash());
  EXPECT_FALSE(font->isEqual(NSFont::userFontOfSize(13)));
  EXPECT_FALSE(font->isEqual(NSFont::fontWithName_size("Courier"_ns, 12)));
  EXPECT_FALSE(font->isEqual("Helvetica"_ns));
  EXPECT_EQ(font->copy(), font);
}

TEST(NSFont, ComesBackFromAnArchive) {
  for (const auto& name : {"Helvetica-BoldOblique"_ns, "TimesNewRomanPSMT"_ns, "ヒラギノ角ゴ"_ns}) {
    const auto font = NSFont::fontWithName_size(name, 13.333);
    EXPECT_TRUE(NSEqualObjects(throughArchive(font), font)) << name->UTF8String();
  }
  const auto back = as<NSFont>(throughArchive(NSFont::fontWithName_size("Times-Bold"_ns, 12)));
  EXPECT_EQ(described(back), "Times-Bold|Times|b");
}

TEST(NSFont, OfADamagedArchiveHasTheDefaultSizeOrIsNone) {
  const id name = NSPropertyListUID::uidWithValue(3);
  const auto size = [&](double points) -> NSDictionary::Entry {
    return {"NSSize"_ns, NSNumber::numberWithDouble(points)};
  };
  const auto font = as<NSFont>(unarchived(archiveOfObject("NSFont"_ns, {{"NSName"_ns, name}, size(9)}, {"Arial"_ns})));
  ASSERT_NE(font, nil);
  EXPECT_EQ(described(font), "ArialMT|Arial|");
  EXPECT_EQ(font->pointSize(), 9.0);
  for (const double points : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
    const auto odd = unarchived(archiveOfObject("NSFont"_ns, {{"NSName"_ns, name}, size(points)}, {"Arial"_ns}));
    EXPECT_EQ(as<NSFont>(odd)->pointSize(), 12.0);
  }
  EXPECT_NE(unarchived(archiveOfObject("NSFont"_ns, {{"NSName"_ns, name}}, {"Arial"_ns})), nil);
  EXPECT_EQ(unarchived(archiveOfObject("NSFont"_ns, {size(9)})), nil);
  EXPECT_EQ(unarchived(archiveOfObject("NSFont"_ns, {{"NSName"_ns, name}, size(9)}, {""_ns})), nil);
  EXPECT_EQ(unarchived(archiveOfObject("NSFont"_ns, {{"NSName"_ns, name}, size(9)}, {NSNumber::numberWithBool(true)})),
            nil);
  EXPECT_EQ(unarchived(archiveOfObject("NSFont"_ns, {{"NSName"_ns, name}, {"NSSize"_ns, "9"_ns}}, {"Arial"_ns})), nil);
}

}  // namespace
