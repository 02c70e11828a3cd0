#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "categories/NSDate+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/Dates.h"
#include "testing/EnvironmentVariable.h"
#include "tests/categories/LocalDates.h"

// What is read from dates as texts, and written.

namespace {

using namespace dates;

Ref<NSDate> parsed(const char* json) { return telvo_dateWithJSONString(text(json)); }

std::string relative(NSTimeInterval interval, NSInteger style, NSInteger maximumUnits = 0, bool keepZero = false) {
  return utf8(telvo_relativeStringForTimeInterval_style_maximumUnits_keepZero_defaultValue(
      interval, style, maximumUnits, keepZero, "long ago"_ns));
}

// ---- JSON

TEST(NSDateTelvo, PlaceholdersForAMissingDateAreNil) {
  EXPECT_EQ(parsed("1899-12-30T00:00:00"), nil);
  EXPECT_EQ(parsed("0001-01-01T00:00:00Z"), nil);
  EXPECT_EQ(parsed("1899-12-30"), nil);
}

TEST(NSDateTelvo, PlaceholdersAreDatesWhenAllowed) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder("1899-12-30T00:00:00"_ns, true),
                   universalTime(1899, 12, 29, 23));
  EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder("1899-12-30T08:30:00Z"_ns, true),
                   universalTime(1899, 12, 30, 8, 30));
  // The calendar is Julian then: two days before 1 January of the Gregorian calendar extended backward.
  EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder("0001-01-01T00:00:00Z"_ns, true),
                   universalTime(0, 12, 30));
  EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder("2024-03-05T14:07:09Z"_ns, true),
                   parsed("2024-03-05T14:07:09Z"));
}

TEST(NSDateTelvo, OldStyleTextHoldsMilliseconds) {
  const EnvironmentVariable zone("TZ", "Asia/Kolkata");
  EXPECT_SAME_DATE(parsed("/Date(1700000000000)/"), instant(1'700'000'000.0));
  EXPECT_SAME_DATE(parsed("/Date(1700000000123)/"), instant(1'700'000'000.123));
  EXPECT_SAME_DATE(parsed("/Date(-1000)/"), instant(-1.0));
  EXPECT_SAME_DATE(parsed("/Date( +5000)/"), instant(5.0));
}

TEST(NSDateTelvo, OldStyleTextIgnoresItsZone) {
  EXPECT_SAME_DATE(parsed("/Date(1700000000000+0100)/"), instant(1'700'000'000.0));
  EXPECT_SAME_DATE(parsed("/Date(1700000000000-0800)/"), instant(1'700'000'000.0));
}

TEST(NSDateTelvo, OldStyleTextWithoutANumberIsTheEpoch) {
  EXPECT_SAME_DATE(parsed("/Date()/"), instant(0.0));
  EXPECT_SAME_DATE(parsed("/Date("), instant(0.0));
  EXPECT_SAME_DATE(parsed("/Date(x)/"), instant(0.0));
  EXPECT_SAME_DATE(parsed("/Date(12"), instant(0.012));
  EXPECT_SAME_DATE(parsed("/Date(12)/34)/"), instant(0.012));
  EXPECT_SAME_DATE(parsed("/Date(/Date(12)/"), instant(0.0));
}

TEST(NSDateTelvo, OldStyleNumberStopsAtTheLimitsOfItsType) {
  EXPECT_SAME_DATE(parsed("/Date(99999999999999999999)/"), instant(9223372036854775807.0 / 1000.0));
  EXPECT_EQ(telvo_JSONStringValue(parsed("/Date(99999999999999999999)/")), nil);
}

TEST(NSDateTelvo, FractionsOfASecondAreDropped) {
  EXPECT_SAME_DATE(parsed("2024-03-05T14:07:09.123Z"), universalTime(2024, 3, 5, 14, 7, 9));
  EXPECT_SAME_DATE(parsed("2024-03-05T14:07:09.999999999Z"), universalTime(2024, 3, 5, 14, 7, 9));
  EXPECT_SAME_DATE(parsed("2024-03-05T14:07:09.Z"), universalTime(2024, 3, 5, 14, 7, 9));
}

TEST(NSDateTelvo, TextWithoutZIsLocalStandardTime) {
  for (const char* name : {"UTC", "Europe/Berlin", "Asia/Kolkata", "Pacific/Kiritimati", "America/New_York"}) {
    const EnvironmentVariable zone("TZ", name);
    const auto expected = universalTime(2024, 3, 5, 14, 7, 9)->dateByAddingTimeInterval(telvo_localTimeOffset());
    EXPECT_SAME_DATE(parsed("2024-03-05T14:07:09"), expected) << name;
    EXPECT_SAME_DATE(parsed("2024-03-05T14:07:09.5"), expected) << name;
    // Standard time also for a date in summer.
    EXPECT_SAME_DATE(parsed("2024-07-05T14:07:09"),
                     universalTime(2024, 7, 5, 14, 7, 9)->dateByAddingTimeInterval(telvo_localTimeOffset()))
        << name;
  }
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  EXPECT_SAME_DATE(parsed("2024-07-05T14:07:09"), universalTime(2024, 7, 5, 13, 7, 9));
}

TEST(NSDateTelvo, TextWithZIsUniversalTimeInEveryZone) {
  const EnvironmentVariable zone("TZ", "America/Sao_Paulo");
  EXPECT_SAME_DATE(parsed("2018-11-04T00:30:00Z"), universalTime(2018, 11, 4, 0, 30));
  EXPECT_SAME_DATE(parsed("2024-02-29T23:59:59Z"), universalTime(2024, 2, 29, 23, 59, 59));
  EXPECT_SAME_DATE(parsed("12024-02-29T00:00:00Z"), universalTime(12024, 2, 29));
}

TEST(NSDateTelvo, TextOfAnotherFormIsNil) {
  for (const char* json : {"",
                           "2024-03-05",
                           "2024-03-05T14:07",
                           "2024-03-05T14:07Z",
                           "2024-03-05 14:07:09",
                           "2024-03-05T14:07:09+0100",
                           "2024-03-05T14:07:09ZZ",
                           "2024-03-05t14:07:09z",
                           "2024-3-5T14:07:09Z",
                           "2023-02-29T00:00:00Z",
                           "2024-13-05T14:07:09Z",
                           "2024-03-05T24:00:00Z",
                           "2024-03-05T14:60:09Z",
                           "2024-Mar-05T14:07:09Z",
                           "20240305T140709Z",
                           "Z",
                           ".",
                           ".Z",
                           "today",
                           "/date(0)/",
                           " /Date(0)/",
                           "1700000000000"}) {
    EXPECT_EQ(parsed(json), nil) << json;
  }
}

TEST(NSDateTelvo, WhatIsNoTextIsNil) {
  EXPECT_EQ(telvo_dateWithJSONString(nil), nil);
  EXPECT_EQ(telvo_dateWithJSONString(NSNumber::numberWithLongLong(1'700'000'000'000)), nil);
  EXPECT_EQ(telvo_dateWithJSONString(NSDate::date()), nil);
  EXPECT_EQ(telvo_dateWithJSONString_allowPlaceholder(NSNull::null(), true), nil);
}

TEST(NSDateTelvo, LongTextIsNoTrouble) {
  const auto digits = NSString::stringWithUnits(std::u16string(1'000'000, u'1'));
  EXPECT_EQ(telvo_dateWithJSONString(digits), nil);
  EXPECT_EQ(telvo_dateWithJSONString("2024-03-05T14:07:09"_ns->stringByAppendingString(digits)), nil);
  EXPECT_NE(telvo_dateWithJSONString("/Date("_ns->stringByAppendingString(digits)), nil);
  EXPECT_EQ(telvo_dateWithJSONString(NSString::stringWithUnits(std::u16string(1'000'000, u'\xDC00'))), nil);
}

TEST(NSDateTelvo, JSONTextIsReadBack) {
  for (const auto& date : {universalTime(2024, 2, 29, 23, 59, 59), universalTime(1969, 12, 31, 23, 59, 59),
                           universalTime(1500, 1, 1), universalTime(12345, 6, 7, 8, 9, 10)}) {
    EXPECT_SAME_DATE(telvo_dateWithJSONString(telvo_JSONStringValue(date)), date);
  }
}

TEST(NSDateTelvo, JSONTextHasNoFraction) {
  EXPECT_EQ(utf8(telvo_JSONStringValue(instant(0.999))), "1970-01-01T00:00:00Z");
  EXPECT_EQ(utf8(telvo_JSONStringValue(instant(-0.001))), "1969-12-31T23:59:59Z");
  EXPECT_EQ(telvo_JSONStringValue(nil), nil);
}

TEST(NSDateTelvo, OldStyleTextIsShiftedByTheStandardOffset) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(instant(1'700'000'000.0))), "/Date(1699996400000)/");
  EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(instant(1'720'000'000.0))), "/Date(1719996400000)/");
  setenv("TZ", "UTC", 1);
  EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(instant(1'700'000'000.0))), "/Date(1700000000000)/");
  EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(instant(0.0))), "/Date(0)/");
  EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(instant(-1.5))), "/Date(-1500)/");
  EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(instant(0.0006))), "/Date(1)/");
  EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(instant(1e15))), "/Date(1000000000000000000)/");
  EXPECT_EQ(telvo_oldStyleJSONStringValue(nil), nil);
  EXPECT_EQ(telvo_oldStyleJSONStringValue(instant(std::numeric_limits<double>::infinity())), nil);
  EXPECT_EQ(telvo_oldStyleJSONStringValue(instant(std::nan(""))), nil);
}

TEST(NSDateTelvo, ReadingOldStyleTextDoesNotTakeTheShiftOffAgain) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const auto date = universalTime(2024, 3, 5, 14, 7, 9);
  EXPECT_SAME_DATE(telvo_dateWithJSONString(telvo_oldStyleJSONStringValue(date)),
                   date->dateByAddingTimeInterval(telvo_localTimeOffset()));
}

// ---- Text for people

TEST(NSDateTelvo, PatternsAreWrittenInEnglish) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const EnvironmentVariable language("LC_ALL", "de_DE.UTF-8");
  EXPECT_EQ(utf8(telvo_stringWithFormat(universalTime(2024, 10, 5, 22, 7), "EEEE, d MMMM yyyy HH:mm"_ns)),
            "Sunday, 6 October 2024 00:07");
  EXPECT_EQ(utf8(telvo_stringWithFormat(universalTime(2024, 10, 5), nil)), "");
  EXPECT_EQ(telvo_stringWithFormat(nil, "yyyy"_ns), nil);
}

TEST(NSDateTelvo, VeryLongPatternsAreWrittenLikeShortOnes) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const auto date = universalTime(2024, 10, 5, 22, 7);
  for (const auto& part : {"EEEE, d MMMM yyyy 'at' HH:mm, "_ns, "''yy'o''clock EEE'MMMMM{zzzz}eQQQ "_ns, "'d 'd"_ns}) {
    const auto once = telvo_stringWithFormat(date, part->stringByAppendingString(part));
    ASSERT_NE(once, nil);
    std::u16string pattern;
    std::u16string expected;
    for (int count = 0; count < 1000; ++count) {
      pattern.append(part->units()).append(part->units());
      expected.append(once->units());
    }
    EXPECT_EQ(utf8(telvo_stringWithFormat(date, NSString::stringWithUnits(pattern))),
              utf8(NSString::stringWithUnits(expected)));
    // A letter that stands for nothing is as wrong in a long pattern as in a short one.
    EXPECT_EQ(telvo_stringWithFormat(date, NSString::stringWithUnits(pattern + u"J")), nil);
  }
  EXPECT_EQ(telvo_stringWithFormat(date, "J"_ns), nil);
}

TEST(NSDateTelvo, StylesAreWrittenInTheUsersLanguage) {
  const EnvironmentVariable zone("TZ", "UTC");
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  const auto date = universalTime(2024, 3, 5, 14, 7, 9);
  EXPECT_EQ(utf8(telvo_formattedShortDateString(date)), "3/5/24");
  EXPECT_EQ(utf8(telvo_formattedDateString(date)), "March 5, 2024");
  EXPECT_EQ(utf8(telvo_formattedStringUsingDateStyle_timeStyle(date, 2, 2)), "Mar 5, 2024, 2:07:09 PM");
  EXPECT_EQ(utf8(telvo_descriptionWithShortDateTime(date)), "3/5/24, 2:07 PM");
  EXPECT_EQ(utf8(telvo_descriptionWithShortDate(date)), "3/5/24");
  EXPECT_EQ(utf8(telvo_descriptionWithTime(date)), "2:07 PM");
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  EXPECT_EQ(utf8(telvo_formattedShortDateString(date)), "05.03.24");
  EXPECT_EQ(utf8(telvo_formattedDateString(date)), "5. März 2024");
  EXPECT_EQ(utf8(telvo_formattedStringUsingDateStyle_timeStyle(date, 4, 0)), "Dienstag, 5. März 2024");
  EXPECT_EQ(utf8(telvo_descriptionWithShortDateTime(date)), "05.03.24, 14:07");
  setenv("LC_ALL", "fr_FR.UTF-8", 1);
  EXPECT_EQ(utf8(telvo_formattedDateString(date)), "5 mars 2024");
  EXPECT_EQ(utf8(telvo_descriptionWithTime(date)), "14:07");
  setenv("LC_ALL", "ja_JP.UTF-8", 1);
  EXPECT_EQ(utf8(telvo_formattedDateString(date)), "2024年3月5日");
  EXPECT_EQ(utf8(telvo_formattedStringUsingDateStyle_timeStyle(date, 0, 0)), "");
}

TEST(NSDateTelvo, DaysNearTodayAreNamedOnlyWhenAllowed) {
  const EnvironmentVariable zone("TZ", "UTC");
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  const auto today = telvo_dateWithoutTime();
  const auto named = [](const Ref<NSDate>& date) {
    return utf8(telvo_formattedStringUsingDateStyle_timeStyle_allowRelative(date, 3, 0, true));
  };
  EXPECT_EQ(named(today), "today");
  EXPECT_EQ(named(telvo_dateByAddingDays(today, -1)), "yesterday");
  EXPECT_EQ(named(telvo_dateByAddingDays(today, 1)), "tomorrow");
  EXPECT_EQ(utf8(telvo_formattedStringUsingDateStyle_timeStyle_allowRelative(today, 3, 1, true)), "today, 12:00 PM");
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  EXPECT_EQ(named(telvo_dateByAddingDays(today, -2)), "vorgestern");
  setenv("LC_ALL", "fr_FR.UTF-8", 1);
  EXPECT_EQ(named(today), "aujourd’hui");
  setenv("LC_ALL", "ja_JP.UTF-8", 1);
  EXPECT_EQ(named(today), "今日");
  EXPECT_NE(utf8(telvo_formattedStringUsingDateStyle_timeStyle(today, 3, 0)), "今日");
}

// ---- Spans of time

TEST(NSDateTelvo, RelativeStylesAsTheHeaderShowsThem) {
  struct Sample {
    NSInteger style;
    const char* language;
    const char* hourMinuteSecond;
    const char* dayHourMinuteSecond;
  };
  const Sample samples[] = {
      {0, "en_US", "1:01:01", "1d 1:01:01"},
      {0, "de_DE", "1:01:01", "1 T 1:01:01"},
      {0, "fr_FR", "1:01:01", "1j 1:01:01"},
      {0, "ja_JP", "1:01:01", "1d 1:01:01"},
      {1, "en_US", "1h 1m 1s", "1d 1h 1m 1s"},
      {1, "de_DE", "1 Std., 1 Min. und 1 Sek.", "1 T, 1 Std., 1 Min. und 1 Sek."},
      {1, "fr_FR", "1h 1min 1s", "1j 1h 1min 1s"},
      {1, "ja_JP", "1h1m1s", "1d1h1m1s"},
      {2, "en_US", "1 hr, 1 min, 1 sec", "1 day, 1 hr, 1 min, 1 sec"},
      {2, "de_DE", "1 Std., 1 Min. und 1 Sek.", "1 Tg., 1 Std., 1 Min. und 1 Sek."},
      {2, "fr_FR", "1 h, 1 min et 1 s", "1 j, 1 h, 1 min et 1 s"},
      {2, "ja_JP", "1 時間 1 分 1 秒", "1 日 1 時間 1 分 1 秒"},
      {3, "en_US", "1 hour, 1 minute, 1 second", "1 day, 1 hour, 1 minute, 1 second"},
      {3, "de_DE", "1 Stunde, 1 Minute und 1 Sekunde", "1 Tag, 1 Stunde, 1 Minute und 1 Sekunde"},
      {3, "fr_FR", "1 heure, 1 minute et 1 seconde", "1 jour, 1 heure, 1 minute et 1 seconde"},
      {3, "ja_JP", "1 時間 1 分 1 秒", "1 日 1 時間 1 分 1 秒"},
      {4, "en_US", "one hour, one minute, one second", "one day, one hour, one minute, one second"},
      {4, "de_DE", "eine Stunde, eine Minute und eine Sekunde", "ein Tag, eine Stunde, eine Minute und eine Sekunde"},
      {4, "fr_FR", "une heure, une minute et une seconde", "un jour, une heure, une minute et une seconde"},
      {4, "ja_JP", "一時間 一分 一秒", "一日 一時間 一分 一秒"},
      {5, "en_US", "1hr 1min 1sec", "1day 1hr 1min 1sec"},
      {5, "de_DE", "1Std., 1Min. und 1Sek.", "1Tg., 1Std., 1Min. und 1Sek."},
      {5, "fr_FR", "1h 1min 1s", "1j 1h 1min 1s"},
      {5, "ja_JP", "1時間1分1秒", "1日1時間1分1秒"},
  };
  for (const Sample& sample : samples) {
    const EnvironmentVariable language("LC_ALL", sample.language);
    EXPECT_EQ(relative(3661.0, sample.style), sample.hourMinuteSecond) << sample.language << sample.style;
    EXPECT_EQ(relative(90061.0, sample.style), sample.dayHourMinuteSecond) << sample.language << sample.style;
  }
}

TEST(NSDateTelvo, OtherStylesArePositional) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  for (const NSInteger style : {NSInteger{-1}, NSInteger{6}, NSIntegerMax, farthestInteger}) {
    EXPECT_EQ(relative(3661.0, style), "1:01:01");
  }
}

TEST(NSDateTelvo, NumbersAndZerosInEveryLanguage) {
  struct Sample {
    const char* language;
    const char* one;
    const char* two;
    const char* none;
    const char* withZeros;
  };
  const Sample samples[] = {
      {"en_US", "1 day", "2 days", "0 seconds", "2 hours, 0 minutes, 0 seconds"},
      {"de_DE", "1 Tag", "2 Tage", "0 Sekunden", "2 Stunden, 0 Minuten und 0 Sekunden"},
      {"fr_FR", "1 jour", "2 jours", "0 seconde", "2 heures, 0 minute et 0 seconde"},
      {"ja_JP", "1 日", "2 日", "0 秒", "2 時間 0 分 0 秒"},
  };
  for (const Sample& sample : samples) {
    const EnvironmentVariable language("LC_ALL", sample.language);
    EXPECT_EQ(relative(86400.0, 3), sample.one);
    EXPECT_EQ(relative(2.0 * 86400.0, 3), sample.two);
    EXPECT_EQ(relative(0.0, 3), sample.none);
    EXPECT_EQ(relative(0.0, 3, 0, true), sample.none);
    EXPECT_EQ(relative(2.0 * 3600.0, 3, 0, true), sample.withZeros);
    EXPECT_EQ(relative(90061.0, 3, 1), sample.one);
  }
}

TEST(NSDateTelvo, MoreThanTenYearsOfDaysGiveTheDefault) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(relative(400'000'000.0, 3), "long ago");
  EXPECT_EQ(relative(-400'000'000.0, 3), "long ago");
  EXPECT_EQ(relative(315'360'000.5, 3), "long ago");
  EXPECT_EQ(relative(315'360'000.0, 3, 1), "10 years");
  EXPECT_EQ(relative(std::numeric_limits<double>::infinity(), 3), "long ago");
  EXPECT_EQ(relative(std::nan(""), 3), "long ago");
  EXPECT_EQ(telvo_relativeStringForTimeInterval_style_maximumUnits_keepZero_defaultValue(4e8, 3, 1, true, nil), nil);
}

TEST(NSDateTelvo, ZerosBehindTheLastUnitStayWhenAskedFor) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(relative(7200.0, 3, 0, false), "2 hours");
  EXPECT_EQ(relative(7200.0, 3, 0, true), "2 hours, 0 minutes, 0 seconds");
  EXPECT_EQ(relative(7200.0, 3, 2, true), "2 hours, 0 minutes");
  EXPECT_EQ(relative(86401.0, 3, 0, true), "1 day, 1 second");
  EXPECT_EQ(relative(86401.0, 3, 0, false), "1 day, 1 second");
  EXPECT_EQ(relative(86400.0, 0, 0, false), "1d");
  EXPECT_EQ(relative(86400.0, 0, 0, true), "1d 0:00:00");
}

TEST(NSDateTelvo, MaximumUnitsLimitTheText) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(relative(90061.0, 3, 1), "1 day");
  EXPECT_EQ(relative(90061.0, 3, 2), "1 day, 1 hour");
  EXPECT_EQ(relative(90061.0, 3, 3), "1 day, 1 hour, 1 minute");
  EXPECT_EQ(relative(90061.0, 3, 4), "1 day, 1 hour, 1 minute, 1 second");
  EXPECT_EQ(relative(90061.0, 3, NSIntegerMax), "1 day, 1 hour, 1 minute, 1 second");
  EXPECT_EQ(relative(90061.0, 3, -1), "1 day, 1 hour, 1 minute, 1 second");
  EXPECT_EQ(relative(2.0 * 90061.0, 3, 2), "2 days, 2 hours");
  for (NSInteger style = 0; style <= 5; ++style) {
    EXPECT_EQ(relative(3.0 * 86400.0, style, 1), relative(3.0 * 86400.0, style)) << style;
  }
}

TEST(NSDateTelvo, TextThatBeginsWithZeroIsWrittenAgainInHoursMinutesAndSeconds) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(relative(59.0, 0), "59");
  EXPECT_EQ(relative(0.0, 0), "0");
  EXPECT_EQ(relative(0.0, 3), "0 seconds");
  EXPECT_EQ(relative(0.0, 3, 1, true), "0 seconds");
  EXPECT_EQ(relative(0.0, 4), "zero seconds");
}

TEST(NSDateTelvo, SpansKeepTheirSign) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(relative(-3661.0, 3), "-1 hour, 1 minute, 1 second");
}

TEST(NSDateTelvo, DistanceFromNowHasNoSign) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  for (const double seconds : {-7260.0, 7260.0}) {
    const auto date = NSDate::dateWithTimeIntervalSinceNow(seconds);
    EXPECT_EQ(utf8(telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(date, 3, 2, false, nil)),
              "2 hours, 1 minute");
  }
  EXPECT_EQ(utf8(telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(NSDate::distantPast(), 3, 2, false,
                                                                                  "never"_ns)),
            "never");
  EXPECT_EQ(telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(nil, 3, 2, false, "never"_ns), nil);
}

TEST(NSDateTelvo, AJSONDateHasExactlyTheFormOfOne) {
  for (const auto& text :
       {" 2024-03-05T14:07:09Z"_ns, "2024- 03-05T14:07:09Z"_ns, "2024-03- 5T14:07:09Z"_ns, "2024-03-05T 4:07:09Z"_ns,
        "2-03-05T14:07:09Z"_ns, "24-03-05T14:07:09Z"_ns, "2024-3-5T1:2:3Z"_ns, "02024-03-05T14:07:09Z"_ns,
        "2024-03-05T14:07:09Z "_ns, "2024-03-05 14:07:09Z"_ns, "2024-03-05t14:07:09Z"_ns, "+2024-03-05T14:07:09Z"_ns,
        "\uFF12\uFF10\uFF12\uFF14-03-05T14:07:09Z"_ns, "2024-03-0\uFF15T14:07:09Z"_ns, "2024-02-30T14:07:09Z"_ns,
        "2024-03-05T14:07:09\u200EZ"_ns, "2024-03-05T24:00:00Z"_ns}) {
    EXPECT_EQ(telvo_dateWithJSONString(text), nil) << text->UTF8String();
  }
  EXPECT_NE(telvo_dateWithJSONString("2024-03-05T14:07:09Z"_ns), nil);
  EXPECT_NE(telvo_dateWithJSONString("2024-03-05T14:07:09.5"_ns), nil);
  EXPECT_NE(telvo_dateWithJSONString("12024-03-05T14:07:09Z"_ns), nil);
}

TEST(NSDateTelvo, ANumberThatStandsForNoneGivesNoDate) {
  const NSInteger none = NSIntegerMax;
  EXPECT_EQ(telvo_dateWithYear_month_day_localTimeZone(none, 1, 1, false), nil);
  EXPECT_EQ(telvo_dateWithYear_month_day_localTimeZone(2024, none, 1, false), nil);
  EXPECT_EQ(telvo_dateWithYear_month_day_localTimeZone(2024, 1, none, true), nil);
  for (const int field : {0, 1, 2}) {
    EXPECT_EQ(telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(
                  2024, 1, 1, field == 0 ? none : 1, field == 1 ? none : 1, field == 2 ? none : 1, false),
              nil);
  }
}

}  // namespace
