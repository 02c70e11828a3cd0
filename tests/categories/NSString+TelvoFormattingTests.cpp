#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "categories/NSString+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

constexpr NSTimeInterval minute = 60;
constexpr NSTimeInterval hour = 60 * minute;
constexpr NSTimeInterval day = 24 * hour;
constexpr NSInteger lowest = std::numeric_limits<NSInteger>::min();

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "(nil)"; }
std::string interval(NSTimeInterval seconds) { return utf8(telvo_stringWithTimeInterval(seconds)); }
std::string rounded(NSTimeInterval seconds, const Ref<NSString>& suffix = nil) {
  return utf8(telvo_stringWithRoundedTimeInterval_suffix(seconds, suffix));
}

TEST(NSStringTelvoFormatting, Integers) {
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue(0)), "0");
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue(-1234567)), "-1234567");
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue(lowest)), "-9223372036854775808");
}

TEST(NSStringTelvoFormatting, FloatsHaveThePlacesAskedFor) {
  EXPECT_EQ(utf8(telvo_stringWithFloatValue_places(3.14159, 2)), "3.14");
  EXPECT_EQ(utf8(telvo_stringWithFloatValue_places(2.5, 0)), "2");
  EXPECT_EQ(utf8(telvo_stringWithFloatValue_places(-1, 3)), "-1.000");
  EXPECT_EQ(utf8(telvo_stringWithFloatValue_places(1.6, -2)), "2");
  EXPECT_EQ(utf8(telvo_stringWithFloatValue_places(0.5, NSIntegerMax)).substr(0, 5), "0.500");
  EXPECT_EQ(utf8(telvo_stringWithFloatValue_places(std::nan(""), 2)), "nan");
}

TEST(NSStringTelvoFormatting, TruncatedFloatsLoseZeroesAndThePointAtTheEnd) {
  EXPECT_EQ(utf8(telvo_stringWithTruncatedFloatValue(2.5)), "2.5");
  EXPECT_EQ(utf8(telvo_stringWithTruncatedFloatValue(3.0)), "3");
  EXPECT_EQ(utf8(telvo_stringWithTruncatedFloatValue(0)), "0");
  EXPECT_EQ(utf8(telvo_stringWithTruncatedFloatValue(100)), "100");
  EXPECT_EQ(utf8(telvo_stringWithTruncatedFloatValue(-10.25)), "-10.25");
  EXPECT_EQ(utf8(telvo_stringWithTruncatedFloatValue(0.0000001)), "0");
  EXPECT_EQ(utf8(telvo_stringWithTruncatedFloatValue(1.0000006)), "1.000001");
}

TEST(NSStringTelvoFormatting, TheWordForACount) {
  const auto word = [](NSInteger value) {
    return utf8(telvo_stringWithIntegerValue_zero_singular_plural(value, "none"_ns, "file"_ns, "files"_ns));
  };
  EXPECT_EQ(word(0), "none");
  EXPECT_EQ(word(1), "file");
  EXPECT_EQ(word(-1), "file");
  EXPECT_EQ(word(2), "files");
  EXPECT_EQ(word(-2), "files");
}

TEST(NSStringTelvoFormatting, AWordThatIsNotGivenGivesWayToThePlural) {
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue_zero_singular_plural(0, nil, "file"_ns, "files"_ns)), "files");
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue_zero_singular_plural(1, "none"_ns, nil, "files"_ns)), "files");
  EXPECT_EQ(telvo_stringWithIntegerValue_zero_singular_plural(2, "none"_ns, "file"_ns, nil), nil);
  EXPECT_EQ(utf8(telvo_stringWithFloatValue_zero_singular_plural(0, nil, "file"_ns, "files"_ns)), "files");
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue_zero_singular_plural(0, ""_ns, "file"_ns, "files"_ns)), "");
}

TEST(NSStringTelvoFormatting, TheWordForAFloatNeedsExactValues) {
  const auto word = [](double value) {
    return utf8(telvo_stringWithFloatValue_zero_singular_plural(value, "none"_ns, "file"_ns, "files"_ns));
  };
  EXPECT_EQ(word(0.0), "none");
  EXPECT_EQ(word(-0.0), "none");
  EXPECT_EQ(word(1.0), "file");
  EXPECT_EQ(word(-1.0), "file");
  EXPECT_EQ(word(1.04), "files");
  EXPECT_EQ(word(0.001), "files");
  EXPECT_EQ(word(std::nan("")), "files");
}

TEST(NSStringTelvoFormatting, TimeIntervalsAreToldInTheLargestUnitOfWhichThereIsOne) {
  EXPECT_EQ(interval(0), "0.0 seconds");
  EXPECT_EQ(interval(1), "1.0 second");
  EXPECT_EQ(interval(59.9), "59.9 seconds");
  EXPECT_EQ(interval(minute), "1.0 minute");
  EXPECT_EQ(interval(90), "1.5 minutes");
  EXPECT_EQ(interval(hour), "1.0 hour");
  EXPECT_EQ(interval(1.5 * hour), "1.5 hours");
  EXPECT_EQ(interval(day), "1.0 day");
  EXPECT_EQ(interval(6 * day), "6.0 days");
  EXPECT_EQ(interval(7 * day), "1.0 week");
  EXPECT_EQ(interval(14 * day), "2.0 weeks");
}

TEST(NSStringTelvoFormatting, AMonthHas31DaysAndAYear372) {
  EXPECT_EQ(interval(30.9 * day), "4.4 weeks");
  EXPECT_EQ(interval(31 * day), "1.0 month");
  EXPECT_EQ(interval(365 * day), "11.8 months");
  EXPECT_EQ(interval(371.9 * day), "12.0 months");
  EXPECT_EQ(interval(372 * day), "1.0 year");
  EXPECT_EQ(interval(744 * day), "2.0 years");
}

TEST(NSStringTelvoFormatting, OnlyExactlyOneIsSingular) { EXPECT_EQ(interval(1.04 * hour), "1.0 hours"); }

TEST(NSStringTelvoFormatting, NegativeIntervalsAreToldInSeconds) {
  EXPECT_EQ(interval(-90), "-90.0 seconds");
  EXPECT_EQ(interval(-1), "-1.0 second");
  EXPECT_EQ(interval(-2 * day), "-172800.0 seconds");
  EXPECT_EQ(rounded(-90.4), "-90 seconds");
}

TEST(NSStringTelvoFormatting, ASuffixFollowsUnlessItIsEmpty) {
  EXPECT_EQ(utf8(telvo_stringWithTimeInterval_suffix(2 * day, "ago"_ns)), "2.0 days ago");
  EXPECT_EQ(utf8(telvo_stringWithTimeInterval_suffix(2 * day, ""_ns)), "2.0 days");
  EXPECT_EQ(utf8(telvo_stringWithTimeInterval_suffix(2 * day, nil)), "2.0 days");
  EXPECT_EQ(rounded(2 * day, "ago"_ns), "2 days ago");
  EXPECT_EQ(rounded(2 * day, ""_ns), "2 days");
}

TEST(NSStringTelvoFormatting, RoundedIntervalsChooseTheUnitBeforeRounding) {
  EXPECT_EQ(rounded(59.6), "60 seconds");
  EXPECT_EQ(rounded(1.6 * minute), "2 minutes");
  EXPECT_EQ(rounded(23.9 * hour), "24 hours");
}

TEST(NSStringTelvoFormatting, RoundingTakesHalvesToTheEvenNumber) {
  EXPECT_EQ(rounded(2.5 * day), "2 days");
  EXPECT_EQ(rounded(3.5 * day), "4 days");
  EXPECT_EQ(rounded(1.5 * minute), "2 minutes");
  EXPECT_EQ(rounded(0.5), "0 seconds");
}

TEST(NSStringTelvoFormatting, TheWordOfARoundedIntervalIsThatOfTheRoundedNumber) {
  EXPECT_EQ(rounded(1.04 * hour), "1 hour");
  EXPECT_EQ(rounded(0.9), "1 second");
  EXPECT_EQ(rounded(1.5 * hour), "2 hours");
  EXPECT_EQ(rounded(-0.9), "-1 second");
}

TEST(NSStringTelvoFormatting, RoundedIntervalsGoThroughSinglePrecision) {
  // 16777217 is the first whole number that single precision does not have.
  EXPECT_EQ(rounded(-16777217), "-16777216 seconds");
}

TEST(NSStringTelvoFormatting, SpansThatAreNoNumbersAreToldAllTheSame) {
  EXPECT_EQ(interval(std::nan("")), "nan seconds");
  EXPECT_EQ(interval(std::numeric_limits<double>::infinity()), "inf years");
  EXPECT_EQ(rounded(std::numeric_limits<double>::infinity()), "inf years");
}

std::string seconds(NSInteger value) {
  return utf8(telvo_stringWithSeconds_minuteSingular_minutesPlural_secondSingular_secondsPlural(
      value, "minute"_ns, "minutes"_ns, "second"_ns, "seconds"_ns));
}

TEST(NSStringTelvoFormatting, MinutesAndSeconds) {
  EXPECT_EQ(seconds(125), "2 minutes 5 seconds");
  EXPECT_EQ(seconds(60), "1 minute");
  EXPECT_EQ(seconds(61), "1 minute 1 second");
  EXPECT_EQ(seconds(120), "2 minutes");
  EXPECT_EQ(seconds(0), "0 seconds");
  EXPECT_EQ(seconds(1), "1 second");
  EXPECT_EQ(seconds(59), "59 seconds");
}

TEST(NSStringTelvoFormatting, NegativeMinutesAndSecondsAreCutTowardZero) {
  EXPECT_EQ(seconds(-59), "-59 seconds");
  EXPECT_EQ(seconds(-60), "-1 minute");
  EXPECT_EQ(seconds(-90), "-1 minute -30 seconds");
  EXPECT_EQ(seconds(-121), "-2 minutes -1 second");
  EXPECT_EQ(seconds(lowest), "-153722867280912930 minutes -8 seconds");
}

TEST(NSStringTelvoFormatting, WithoutWordsForMinutesAMinuteOrMoreIsNil) {
  const auto text = [](NSInteger value) {
    return telvo_stringWithSeconds_minuteSingular_minutesPlural_secondSingular_secondsPlural(value, nil, "minutes"_ns,
                                                                                             "second"_ns, "seconds"_ns);
  };
  EXPECT_EQ(text(75), nil);
  EXPECT_EQ(text(60), nil);
  EXPECT_EQ(text(-60), nil);
  EXPECT_EQ(utf8(text(59)), "59 seconds");
  EXPECT_EQ(utf8(text(-1)), "-1 second");
}

TEST(NSStringTelvoFormatting, WithoutWordsForSecondsOnlyMinutesAreTold) {
  const auto text = [](NSInteger value) {
    return utf8(telvo_stringWithSeconds_minuteSingular_minutesPlural_secondSingular_secondsPlural(
        value, "minute"_ns, "minutes"_ns, "second"_ns, nil));
  };
  EXPECT_EQ(text(75), "1 minute");
  EXPECT_EQ(text(30), "0 minutes");
  EXPECT_EQ(telvo_stringWithSeconds_minuteSingular_minutesPlural_secondSingular_secondsPlural(75, nil, nil, nil, nil),
            nil);
}

TEST(NSStringTelvoFormatting, PaddedIntegers) {
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue_minimumLength_paddedWith_padLeft(42, 5, "0"_ns, true)), "00042");
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue_minimumLength_paddedWith_padLeft(42, 4, nil, false)), "42  ");
  EXPECT_EQ(utf8(telvo_stringWithIntegerValue_minimumLength_paddedWith_padLeft(-42, 2, "0"_ns, true)), "-42");
}

TEST(NSStringTelvoFormatting, LeadingZeroesComeOutOfTenDigits) {
  const auto text = [](NSInteger value, NSInteger digits) {
    return utf8(telvo_stringWithLeadingZeroesForIntegerValue_digits(value, digits));
  };
  EXPECT_EQ(text(42, 4), "0042");
  EXPECT_EQ(text(42, 1), "2");
  EXPECT_EQ(text(42, 10), "0000000042");
  EXPECT_EQ(text(42, 15), "0000000042");
  EXPECT_EQ(text(12345678901, 20), "12345678901");
  EXPECT_EQ(text(-42, 4), "0042");
  EXPECT_EQ(text(-42, 11), "-0000000042");
  EXPECT_EQ(text(42, 0), "");
}

TEST(NSStringTelvoFormatting, TheLengthOfAnIntegerCountsItsSign) {
  EXPECT_EQ(telvo_lengthOfInteger(0), 1);
  EXPECT_EQ(telvo_lengthOfInteger(-10), 3);
  EXPECT_EQ(telvo_lengthOfInteger(1234567890), 10);
  EXPECT_EQ(telvo_lengthOfInteger(lowest), 20);
}

std::string bytes(NSInteger value) { return utf8(telvo_stringAsBytesWithInteger(value)); }

class NSStringTelvoByteCounts : public testing::Test {
 protected:
  EnvironmentVariable locale_{"LC_ALL", "en_US.UTF-8"};
  EnvironmentVariable language_{"LANGUAGE", nullptr};
};

TEST_F(NSStringTelvoByteCounts, AreToldInBinaryMultiples) {
  EXPECT_EQ(bytes(0), "Zero KB");
  EXPECT_EQ(bytes(1), "1 bytes");
  EXPECT_EQ(bytes(1023), "1023 bytes");
  EXPECT_EQ(bytes(1024), "1.0 KB");
  EXPECT_EQ(bytes(1536), "1.5 KB");
  EXPECT_EQ(bytes(1048575), "1024.0 KB");
  EXPECT_EQ(bytes(1048576), "1.0 MB");
  EXPECT_EQ(bytes(1073741823), "1024.0 MB");
  EXPECT_EQ(bytes(1073741824), "1.0 GB");
  EXPECT_EQ(bytes(1099511627776), "1024.0 GB");
}

TEST_F(NSStringTelvoByteCounts, OfNegativeNumbersAreToldInBytes) {
  EXPECT_EQ(bytes(-5), "-5 bytes");
  EXPECT_EQ(bytes(lowest), "-9223372036854775808 bytes");
}

TEST_F(NSStringTelvoByteCounts, FollowTheUsersLanguage) {
  const std::vector<std::array<const char*, 6>> texts{
      {"de_DE.UTF-8", "Null KB", "512 Byte", "1.5 KB", "1.5 MB", "1.5 GB"},
      {"fr_FR.UTF-8", "Zéro Ko", "512 octets", "1.5 Ko", "1.5 Mo", "1.5 Go"},
      {"es_ES.UTF-8", "Cero KB", "512 bytes", "1.5 KB", "1.5 MB", "1.5 GB"},
      {"it_IT.UTF-8", "Zero KB", "512 byte", "1.5 KB", "1.5 MB", "1.5 GB"},
      {"ja_JP.UTF-8", "ゼロ KB", "512バイト", "1.5 KB", "1.5 MB", "1.5 GB"},
      {"zh_CN.UTF-8", "零 KB", "512 字节", "1.5 KB", "1.5 MB", "1.5 GB"},
      {"fi_FI.UTF-8", "Zero KB", "512 bytes", "1.5 KB", "1.5 MB", "1.5 GB"},
  };
  for (const auto& [locale, zero, some, kilo, mega, giga] : texts) {
    const EnvironmentVariable language("LC_ALL", locale);
    EXPECT_EQ(bytes(0), zero) << locale;
    EXPECT_EQ(bytes(512), some) << locale;
    EXPECT_EQ(bytes(1536), kilo) << locale;
    EXPECT_EQ(bytes(1572864), mega) << locale;
    EXPECT_EQ(bytes(1610612736), giga) << locale;
  }
}

TEST_F(NSStringTelvoByteCounts, WithoutATableAreFormattedByTheirKeys) {
  // A copy of this program with no Resources at or above it answers as the English table does.
  const TemporaryDirectory folder;
  std::filesystem::copy_file("/proc/self/exe", folder / "program");
  const std::string command = "env --unset=GTEST_TOTAL_SHARDS --unset=GTEST_BRIEF " + (folder / "program") +
                              " --gtest_filter=NSStringTelvoByteCounts.AreToldInBinaryMultiples >" +
                              (folder / "output") + " 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0) << folder.read("output");
  EXPECT_NE(folder.read("output").find("[  PASSED  ] 1 test"), std::string::npos);
}

std::string parts(const Ref<NSString>& version) {
  const auto components = telvo_dictionaryWithVersionComponents(version);
  if (!components) return "(nil)";
  std::string text;
  for (const auto& [key, value] : *components) {
    text += (text.empty() ? "" : " ") + key->description()->UTF8String() + "=" + value->description()->UTF8String();
  }
  return text;
}

TEST(NSStringTelvoVersion, IsSplitAtItsFirstLetter) {
  EXPECT_EQ(parts("1.10b2"_ns), "Version=1.10b2 General=1.10 IsGeneral=0 Major=1 Minor=10 Kind=b Stage=2");
  EXPECT_EQ(parts("2.0.1rc3"_ns), "Version=2.0.1rc3 General=2.0.1 IsGeneral=0 Major=2 Minor=0 Bug=1 Kind=r Stage=c3");
}

TEST(NSStringTelvoVersion, WithoutALetterHasNoKindAndStage) {
  EXPECT_EQ(parts("3"_ns), "Version=3 General=3 IsGeneral=1 Major=3");
  EXPECT_EQ(parts("1.2.3.4.5"_ns), "Version=1.2.3.4.5 General=1.2.3.4.5 IsGeneral=1 Major=1 Minor=2 Bug=3");
}

TEST(NSStringTelvoVersion, KeepsEmptyPiecesAsTexts) {
  EXPECT_EQ(parts(""_ns), "Version= General= IsGeneral=1 Major=");
  EXPECT_EQ(parts("v1.2"_ns), "Version=v1.2 General= IsGeneral=0 Major= Kind=v Stage=1.2");
  EXPECT_EQ(parts("1..2b"_ns), "Version=1..2b General=1..2 IsGeneral=0 Major=1 Minor= Bug=2 Kind=b Stage=");
}

TEST(NSStringTelvoVersion, LettersOfEveryScriptSplitAndStayWhole) {
  EXPECT_EQ(parts("1.0β2"_ns), "Version=1.0β2 General=1.0 IsGeneral=0 Major=1 Minor=0 Kind=β Stage=2");
  EXPECT_EQ(parts("1.0𝛽2"_ns), "Version=1.0𝛽2 General=1.0 IsGeneral=0 Major=1 Minor=0 Kind=𝛽 Stage=2");
  EXPECT_EQ(parts("1.0😀2"_ns), "Version=1.0😀2 General=1.0😀2 IsGeneral=1 Major=1 Minor=0😀2");
}

TEST(NSStringTelvoVersion, PartsAreTextsAndIsGeneralANumber) {
  const auto components = telvo_dictionaryWithVersionComponents("1.2b3"_ns);
  EXPECT_NE(as<NSString>(components->objectForKey("Major"_ns)), nil);
  EXPECT_NE(as<NSString>(components->objectForKey("Stage"_ns)), nil);
  EXPECT_NE(as<NSNumber>(components->objectForKey("IsGeneral"_ns)), nil);
  EXPECT_EQ(telvo_dictionaryWithVersionComponents(nil), nil);
}

TEST(NSStringTelvoVersion, IsMadeOfItsParts) {
  EXPECT_EQ(utf8(telvo_versionWithMajor_minor_bug_kind_stage(1, 2, 0, "b"_ns, 3)), "1.2b3");
  EXPECT_EQ(utf8(telvo_versionWithMajor_minor_bug_kind_stage(2, 0, 1, nil, 0)), "2.0.1");
  EXPECT_EQ(utf8(telvo_versionWithMajor_minor_bug_kind_stage(2, 0, 1, ""_ns, 7)), "2.0.1");
  EXPECT_EQ(utf8(telvo_versionWithMajor_minor_bug_kind_stage(1, 0, -1, "rc"_ns, 0)), "1.0.-1rc0");
}

TEST(NSStringTelvoVersion, OfADictionaryIsItsVersionOrMadeOfItsParts) {
  EXPECT_EQ(
      utf8(telvo_versionWithDictionary(NSDictionary::dictionary({{"Version"_ns, "9x"_ns}, {"Major"_ns, "1"_ns}}))),
      "9x");
  const auto parts = NSMutableDictionary::dictionary({{"Version"_ns, ""_ns},
                                                      {"Major"_ns, "1"_ns},
                                                      {"Minor"_ns, NSNumber::numberWithInteger(10)},
                                                      {"Kind"_ns, "b"_ns},
                                                      {"Stage"_ns, "2x"_ns}});
  EXPECT_EQ(utf8(telvo_versionWithDictionary(parts)), "1.10b2");
  parts->setObject_forKey(NSNumber::numberWithInteger(5), "Version"_ns);
  parts->setObject_forKey("4"_ns, "Bug"_ns);
  parts->removeObjectForKey("Kind"_ns);
  EXPECT_EQ(utf8(telvo_versionWithDictionary(parts)), "1.10.4");
  EXPECT_EQ(utf8(telvo_versionWithDictionary(NSDictionary::dictionary())), "0.0");
  EXPECT_EQ(utf8(telvo_versionWithDictionary(nil)), "0.0");
}

TEST(NSStringTelvoVersion, SurvivesSplittingAndMaking) {
  for (const char* version : {"1.2b3", "10.0.7", "2.0rc1"}) {
    const auto components = telvo_dictionaryWithVersionComponents(NSString::stringWithUTF8String(version));
    EXPECT_EQ(utf8(telvo_versionWithDictionary(components)), version);
  }
}

std::string mapped(const Ref<NSString>& map, const id& value, const id& defaultValue = nil) {
  return utf8(telvo_mappedFromValue_withDefault(map, value, defaultValue));
}

TEST(NSStringTelvoMap, LooksUpInBothDirections) {
  const auto map = "0=none;1=daily;2=weekly"_ns;
  EXPECT_EQ(mapped(map, "1"_ns), "daily");
  EXPECT_EQ(mapped(map, NSNumber::numberWithInteger(2)), "weekly");
  EXPECT_EQ(mapped(map, "daily"_ns), "1");
}

TEST(NSStringTelvoMap, TheLastMatchWins) {
  EXPECT_EQ(mapped("1=a;2=b;b=9"_ns, "2"_ns), "b");
  EXPECT_EQ(mapped("1=a;2=b;b=9"_ns, "b"_ns), "9");
  EXPECT_EQ(mapped("1=a;1=b"_ns, "1"_ns), "b");
}

TEST(NSStringTelvoMap, ComparesExactly) {
  EXPECT_EQ(mapped("1=Daily"_ns, "daily"_ns), "(nil)");
  EXPECT_EQ(mapped("1= a"_ns, "a"_ns), "(nil)");
  EXPECT_EQ(mapped("1=é"_ns, "e\xCC\x81"_ns), "(nil)");
}

TEST(NSStringTelvoMap, WithoutAMatchGivesACopyOfTheDefaultsDescription) {
  EXPECT_EQ(mapped("1=a"_ns, "x"_ns, "other"_ns), "other");
  EXPECT_EQ(mapped("1=a"_ns, "x"_ns, NSNumber::numberWithInteger(7)), "7");
  EXPECT_EQ(mapped("1=a"_ns, "x"_ns), "(nil)");
  EXPECT_EQ(mapped("1=a"_ns, nil, "other"_ns), "other");
  EXPECT_EQ(mapped(nil, "1"_ns, "other"_ns), "(nil)");
  const auto changing = NSMutableString::stringWithString("before"_ns);
  const auto result = telvo_mappedFromValue_withDefault("1=a"_ns, "x"_ns, changing);
  changing->setString("after"_ns);
  EXPECT_EQ(utf8(result), "before");
}

TEST(NSStringTelvoMap, APieceWithoutAnEqualsSignHasItselfOnBothSides) {
  EXPECT_EQ(mapped("1=a;plain"_ns, "plain"_ns), "plain");
  EXPECT_EQ(mapped("1=a;"_ns, ""_ns, "default"_ns), "");
  EXPECT_EQ(mapped(""_ns, "x"_ns, "default"_ns), "default");
}

TEST(NSStringTelvoMap, ThePairIsSplitAtItsFirstEqualsSign) {
  EXPECT_EQ(mapped("x=a=b"_ns, "x"_ns), "a=b");
  EXPECT_EQ(mapped("x=a=b"_ns, "a=b"_ns), "x");
  EXPECT_EQ(mapped("=v"_ns, ""_ns), "v");
  EXPECT_EQ(mapped("k="_ns, "k"_ns), "");
}

TEST(NSStringTelvoMap, GivesIntegers) {
  EXPECT_EQ(telvo_integerMappedFromString_withDefault("0=none;1=daily"_ns, "daily"_ns, 5), 1);
  EXPECT_EQ(telvo_integerMappedFromString_withDefault("0=none;1=daily"_ns, "hourly"_ns, 5), 5);
  EXPECT_EQ(telvo_integerMappedFromString_withDefault("0=none;1=daily"_ns, "1"_ns, 5), 0);
  EXPECT_EQ(telvo_integerMappedFromString_withDefault(nil, "1"_ns, 5), 0);
}

TEST(NSStringTelvoMap, GivesTextsForIntegers) {
  EXPECT_EQ(utf8(telvo_stringMappedFromInteger_withDefault("0=none;-1=off"_ns, -1, "x"_ns)), "off");
  EXPECT_EQ(utf8(telvo_stringMappedFromInteger_withDefault("0=none"_ns, 3, "x"_ns)), "x");
  EXPECT_EQ(telvo_stringMappedFromInteger_withDefault("0=none"_ns, 3, nil), nil);
}

TEST(NSStringTelvoMap, IsLookedUpByName) {
  const id result = "1=a"_ns->performSelector_withObject_withObject("telvo_mappedFromValue:withDefault:"_sel,
                                                                    NSNumber::numberWithInteger(1), nil);
  EXPECT_TRUE(NSEqualObjects(result, "a"_ns));
}

}  // namespace
