#include <gtest/gtest.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "testing/EnvironmentVariable.h"

namespace {

std::string currentIdentifier() { return NSLocale::currentLocale()->localeIdentifier()->UTF8String(); }

std::string currentIdentifierFor(const char* setting) {
  const EnvironmentVariable all("LC_ALL", setting);
  return currentIdentifier();
}

TEST(NSLocale, CurrentLocaleIsTheFirstSettingThatIsNotEmpty) {
  const EnvironmentVariable all("LC_ALL", nullptr);
  const EnvironmentVariable time("LC_TIME", nullptr);
  const EnvironmentVariable language("LANG", nullptr);
  EXPECT_EQ(currentIdentifier(), "en_US_POSIX");
  setenv("LANG", "ja_JP.UTF-8", 1);
  EXPECT_EQ(currentIdentifier(), "ja_JP");
  setenv("LC_TIME", "fr_CA.UTF-8", 1);
  EXPECT_EQ(currentIdentifier(), "fr_CA");
  setenv("LC_ALL", "de_AT.UTF-8", 1);
  EXPECT_EQ(currentIdentifier(), "de_AT");
  setenv("LC_ALL", "", 1);
  EXPECT_EQ(currentIdentifier(), "fr_CA");
}

TEST(NSLocale, NamesOfTheCLibraryAreTranslated) {
  EXPECT_EQ(currentIdentifierFor("C"), "en_US_POSIX");
  EXPECT_EQ(currentIdentifierFor("C.UTF-8"), "en_US_POSIX");
  EXPECT_EQ(currentIdentifierFor("POSIX"), "en_US_POSIX");
  EXPECT_EQ(currentIdentifierFor("de_DE"), "de_DE");
  EXPECT_EQ(currentIdentifierFor("de_DE@euro"), "de_DE");
  EXPECT_EQ(currentIdentifierFor("de_DE.ISO-8859-15@euro"), "de_DE");
  EXPECT_EQ(currentIdentifierFor("sr_RS.UTF-8@latin"), "sr_Latn_RS");
  EXPECT_EQ(currentIdentifierFor("sr@latin"), "sr_Latn");
  EXPECT_EQ(currentIdentifierFor("uz_UZ@cyrillic"), "uz_Cyrl_UZ");
  EXPECT_EQ(currentIdentifierFor("th_TH.UTF-8@calendar=gregorian"), "th_TH@calendar=gregorian");
}

TEST(NSLocale, IdentifiersBecomeCanonical) {
  EXPECT_EQ(NSLocale::localeWithLocaleIdentifier("en"_ns)->localeIdentifier()->UTF8String(), "en");
  EXPECT_EQ(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"_ns)->localeIdentifier()->UTF8String(), "en_US_POSIX");
  EXPECT_EQ(NSLocale::localeWithLocaleIdentifier("de-at"_ns)->localeIdentifier()->UTF8String(), "de_AT");
}

TEST(NSLocale, TextThatIsNoIdentifierGivesTheNeutralLocale) {
  EXPECT_EQ(NSLocale::localeWithLocaleIdentifier(nil)->localeIdentifier()->UTF8String(), "");
  EXPECT_EQ(NSLocale::localeWithLocaleIdentifier("abcdefghijklmnopqrstuvwxyz"_ns)->localeIdentifier()->UTF8String(),
            "");
  EXPECT_EQ(NSLocale::localeWithLocaleIdentifier("a@b@c=d;;="_ns)->localeIdentifier()->UTF8String(), "");
  EXPECT_NE(NSLocale::localeWithLocaleIdentifier(NSString::stringWithUnits(std::u16string(1'000'000, u'x'))), nil);
}

TEST(NSLocale, EqualByIdentifier) {
  EXPECT_TRUE(
      NSLocale::localeWithLocaleIdentifier("de_AT"_ns)->isEqual(NSLocale::localeWithLocaleIdentifier("de-AT"_ns)));
  EXPECT_FALSE(
      NSLocale::localeWithLocaleIdentifier("de_AT"_ns)->isEqual(NSLocale::localeWithLocaleIdentifier("de"_ns)));
}

}  // namespace
