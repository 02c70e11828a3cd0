#include <gtest/gtest.h>

#include "foundation/text/EnvironmentLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/text/PreferredLanguages.h"
#include "testing/EnvironmentVariable.h"

namespace {

using foundation::localeIdentifierFromEnvironmentName;

TEST(EnvironmentLocale, UnderstandsTheEnvironmentsNames) {
  EXPECT_EQ(localeIdentifierFromEnvironmentName("de_AT.UTF-8@euro"), "de_AT");
  EXPECT_EQ(localeIdentifierFromEnvironmentName("sr_RS.UTF-8@latin"), "sr_Latn_RS");
  EXPECT_EQ(localeIdentifierFromEnvironmentName("uz@cyrillic"), "uz_Cyrl");
  EXPECT_EQ(localeIdentifierFromEnvironmentName("th_TH@calendar=gregorian"), "th_TH@calendar=gregorian");
  for (const char* name : {"C", "POSIX", "C.UTF-8", ""}) EXPECT_EQ(localeIdentifierFromEnvironmentName(name), "");
}

TEST(EnvironmentLocale, TheFirstVariableThatIsSetCounts) {
  const EnvironmentVariable lang("LANG", "de_DE");
  const EnvironmentVariable all("LC_ALL", "");
  {
    const EnvironmentVariable messages("LC_MESSAGES", "fr_FR");
    EXPECT_EQ(foundation::environmentLocale("LC_MESSAGES"), "fr_FR");
    EXPECT_EQ(foundation::environmentLocale("LC_COLLATE"), "de_DE");
  }
  const EnvironmentVariable overriding("LC_ALL", "C");
  EXPECT_EQ(foundation::environmentLocale("LC_MESSAGES"), "");
}

TEST(PreferredLanguages, GoFromTheParticularToTheGeneral) {
  const EnvironmentVariable all("LC_ALL", "zh_TW.UTF-8");
  const EnvironmentVariable language("LANGUAGE", "pt_BR:fr");
  const std::vector<std::string> expected = {"pt_Latn_BR", "pt_BR", "pt_Latn", "pt", "fr_Latn", "fr",
                                             "zh_Hant_TW", "zh_TW", "zh_Hant", "zh", "en"};
  EXPECT_EQ(foundation::preferredLanguages(), expected);
}

TEST(NSString, ComparesInTheOrderOfTheLanguageOfTheMoment) {
  {
    const EnvironmentVariable all("LC_ALL", "sv_SE.UTF-8");
    EXPECT_EQ("ö"_ns->localizedStandardCompare("z"_ns), NSOrderedDescending);
  }
  {
    const EnvironmentVariable all("LC_ALL", "de_DE.UTF-8");
    EXPECT_EQ("ö"_ns->localizedStandardCompare("z"_ns), NSOrderedAscending);
  }
  const EnvironmentVariable all("LC_ALL", "C");
  EXPECT_EQ("a"_ns->localizedStandardCompare("B"_ns), NSOrderedAscending);
  EXPECT_EQ("a10"_ns->localizedStandardCompare("a9"_ns), NSOrderedDescending);
  EXPECT_EQ("a"_ns->localizedStandardCompare(nil), NSOrderedDescending);
}

}  // namespace
