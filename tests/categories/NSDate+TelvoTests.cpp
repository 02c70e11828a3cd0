#include <cmath>
#include <ctime>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "categories/NSDate+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/Dates.h"
#include "testing/EnvironmentVariable.h"
#include "testing/PlainSpaces.h"

namespace {

constexpr NSInteger farthestInteger = std::numeric_limits<NSInteger>::min();

std::string utf8(const Ref<NSString>& text) { return text ? withPlainSpaces(text->UTF8String()) : "nil"; }

Ref<NSString> text(const char* utf8Text) { return NSString::stringWithUTF8String(utf8Text); }

Ref<NSDate> parsed(const char* json) { return telvo_dateWithJSONString(text(json)); }

Ref<NSDate> localTime(NSInteger year, NSInteger month, NSInteger day, NSInteger hour = 0, NSInteger minute = 0,
                      NSInteger second = 0) {
  return telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(year, month, day, hour, minute, second, true);
}

// "2024-03-05 14:07:09" in the default time zone.
std::string localText(const Ref<NSDate>& date) { return utf8(telvo_stringWithFormat(date, "yyyy-MM-dd HH:mm:ss"_ns)); }

Ref<NSDate> instant(NSTimeInterval since1970) { return NSDate::dateWithTimeIntervalSince1970(since1970); }

std::string relative(NSTimeInterval interval, NSInteger style, NSInteger maximumUnits = 0, bool keepZero = false) {
  return utf8(telvo_relativeStringForTimeInterval_style_maximumUnits_keepZero_defaultValue(
      interval, style, maximumUnits, keepZero, "long ago"_ns));
}

// ---- Shared objects

TEST(NSDateTelvo, OneGregorianCalendarServesTheWholeProcess) {
  const auto calendar = telvo_gregorianCalendar();
  EXPECT_EQ(calendar->calendarIdentifier()->UTF8String(), "gregorian");
  EXPECT_EQ(telvo_gregorianCalendar(NSDate::date()), calendar);
  EXPECT_EQ(telvo_gregorianCalendar(nil), nil);
  Ref<NSCalendar> seenByAnotherThread;
  std::thread([&] { seenByAnotherThread = telvo_gregorianCalendar(); }).join();
  EXPECT_EQ(seenByAnotherThread, calendar);
}

TEST(NSDateTelvo, OneInternetFormatterServesTheWholeProcessInUniversalTime) {
  const EnvironmentVariable zone("TZ", "Asia/Tokyo");
  const auto formatter = telvo_internetDateFormatter();
  EXPECT_EQ(telvo_internetDateFormatter(), formatter);
  EXPECT_EQ(formatter->locale()->localeIdentifier()->UTF8String(), "en_US_POSIX");
  EXPECT_EQ(formatter->dateFormat()->UTF8String(), "yyyy-MM-dd'T'HH:mm:ss'Z'");
  // The zone set last, whatever the default was when the formatter was made and is now.
  EXPECT_EQ(formatter->timeZone()->secondsFromGMT(), 0);
  EXPECT_EQ(utf8(telvo_JSONStringValue(universalTime(2024, 3, 5, 14, 7, 9))), "2024-03-05T14:07:09Z");
}

TEST(NSDateTelvo, SharedCalendarFollowsTheDefaultZone) {
  const EnvironmentVariable zone("TZ", "Asia/Tokyo");
  EXPECT_SAME_DATE(localTime(2024, 3, 5), universalTime(2024, 3, 4, 15));
  setenv("TZ", "America/New_York", 1);
  EXPECT_SAME_DATE(localTime(2024, 3, 5), universalTime(2024, 3, 5, 5));
}

// ---- Making dates

TEST(NSDateTelvo, DatesAreMadeInTheLocalZoneOrInGMT) {
  const EnvironmentVariable zone("TZ", "Asia/Kolkata");
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2024, 3, 5, true), universalTime(2024, 3, 4, 18, 30));
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2024, 3, 5, false), universalTime(2024, 3, 5));
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(2024, 3, 5, 14, 7, 9, false),
                   universalTime(2024, 3, 5, 14, 7, 9));
}

TEST(NSDateTelvo, DatesAreGregorianWhateverTheUsersCalendar) {
  const EnvironmentVariable zone("TZ", "UTC");
  const EnvironmentVariable language("LC_ALL", "th_TH.UTF-8");
  const auto date = telvo_dateWithYear_month_day_localTimeZone(2024, 2, 29, true);
  EXPECT_SAME_DATE(date, universalTime(2024, 2, 29));
  EXPECT_EQ(telvo_year(date), 2567);
  EXPECT_EQ(utf8(telvo_stringWithFormat(date, "yyyy"_ns)), "2024");
}

TEST(NSDateTelvo, ValuesOutsideTheirRangeCarryOver) {
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2023, 14, 30, false), universalTime(2024, 3, 1));
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2024, 3, 0, false), universalTime(2024, 2, 29));
  EXPECT_EQ(telvo_dateWithYear_month_day_localTimeZone(farthestInteger, 1, 1, false), nil);
}

TEST(NSDateTelvo, DefaultFormatterReadsNothing) {
  EXPECT_EQ(telvo_dateWithString(nil), nil);
  EXPECT_EQ(telvo_dateWithString(""_ns), nil);
  EXPECT_EQ(telvo_dateWithString("2024-03-05"_ns), nil);
  EXPECT_EQ(telvo_dateWithString("3/5/24"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format("3/5/24"_ns, nil), nil);
}

TEST(NSDateTelvo, TextIsReadByAPatternInEnglish) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const EnvironmentVariable language("LC_ALL", "de_DE.UTF-8");
  EXPECT_SAME_DATE(telvo_dateWithString_format("5 October 2024 14:07"_ns, "d MMMM yyyy HH:mm"_ns),
                   universalTime(2024, 10, 5, 12, 7));
  EXPECT_EQ(telvo_dateWithString_format("5 Oktober 2024"_ns, "d MMMM yyyy"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format("2024-02-30"_ns, "yyyy-MM-dd"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format(""_ns, "yyyy-MM-dd"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format(nil, "yyyy-MM-dd"_ns), nil);
}

TEST(NSDateTelvo, LocalTimeOffsetIsTheNegatedStandardOffset) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");  // whatever the season
  EXPECT_EQ(telvo_localTimeOffset(), -3600.0);
  setenv("TZ", "Europe/London", 1);
  EXPECT_EQ(telvo_localTimeOffset(), 0.0);
  EXPECT_FALSE(std::signbit(telvo_localTimeOffset()));
  setenv("TZ", "America/New_York", 1);
  EXPECT_EQ(telvo_localTimeOffset(), 18000.0);
  setenv("TZ", "Asia/Kolkata", 1);
  EXPECT_EQ(telvo_localTimeOffset(), -19800.0);
  setenv("TZ", "Pacific/Kiritimati", 1);
  EXPECT_EQ(telvo_localTimeOffset(), -50400.0);
  // Opposite seasons: one of these two has daylight saving at any time of the year.
  setenv("TZ", "Australia/Sydney", 1);
  EXPECT_EQ(telvo_localTimeOffset(), -36000.0);
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

// ---- Day and time of day

TEST(NSDateTelvo, DayWithoutTimeIsNoonNotMidnight) {
  const EnvironmentVariable zone("TZ", "Asia/Kolkata");
  EXPECT_SAME_DATE(telvo_dateAsDateWithoutTime(universalTime(2024, 3, 5, 20)), universalTime(2024, 3, 6, 6, 30));
  EXPECT_SAME_DATE(telvo_dateWithoutTime(), telvo_dateAsDateWithoutTime(NSDate::date()));
}

TEST(NSDateTelvo, NoonIsNoonOnDaysWhoseClocksChange) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  EXPECT_EQ(localText(telvo_dateAsDateWithoutTime(localTime(2024, 3, 31, 1))), "2024-03-31 12:00:00");
  EXPECT_EQ(localText(telvo_dateAsDateWithoutTime(localTime(2024, 10, 27, 1))), "2024-10-27 12:00:00");
  setenv("TZ", "America/Sao_Paulo", 1);
  EXPECT_EQ(localText(telvo_dateAsDateWithoutTime(localTime(2018, 11, 4, 1))), "2018-11-04 12:00:00");
}

TEST(NSDateTelvo, NoonCountsAsNoTime) {
  const EnvironmentVariable zone("TZ", "America/Sao_Paulo");
  EXPECT_FALSE(telvo_includesTime(localTime(2018, 11, 4, 12)));
  EXPECT_FALSE(telvo_includesTime(localTime(2024, 3, 5, 12)));
  EXPECT_TRUE(telvo_includesTime(localTime(2024, 3, 5, 0)));
  EXPECT_TRUE(telvo_includesTime(localTime(2024, 3, 5, 12)->dateByAddingTimeInterval(0.5)));
  EXPECT_FALSE(telvo_includesTime(nil));
}

TEST(NSDateTelvo, TodayIsTheWholeLocalDay) {
  for (const char* name : {"UTC", "Europe/Berlin", "Asia/Kolkata", "Pacific/Kiritimati", "Pacific/Pago_Pago"}) {
    const EnvironmentVariable zone("TZ", name);
    const auto noon = telvo_dateWithoutTime();
    EXPECT_TRUE(telvo_isToday(noon)) << name;
    EXPECT_TRUE(telvo_isToday(NSDate::date())) << name;
    EXPECT_FALSE(telvo_isToday(telvo_dateByAddingDays(noon, 1))) << name;
    EXPECT_FALSE(telvo_isToday(telvo_dateByAddingDays(noon, -1))) << name;
  }
  EXPECT_FALSE(telvo_isToday(nil));
}

TEST(NSDateTelvo, BothEndsOfARangeOfDaysBelongToIt) {
  const EnvironmentVariable zone("TZ", "Pacific/Kiritimati");
  const auto today = NSDate::date();
  const auto day = [&](NSInteger offset) { return telvo_dateByAddingDays(today, offset); };
  EXPECT_TRUE(telvo_isBetweenDaysBefore_daysAfter(day(0), 0, 0));
  EXPECT_FALSE(telvo_isBetweenDaysBefore_daysAfter(day(0), 5, -1));
  EXPECT_TRUE(telvo_isBetweenDaysBefore_daysAfter(day(0), -5, 0));
  EXPECT_TRUE(telvo_isBetweenDaysBefore_daysAfter(day(-3), 3, 0));
  EXPECT_FALSE(telvo_isBetweenDaysBefore_daysAfter(day(-4), 3, 0));
  EXPECT_TRUE(telvo_isBetweenDaysBefore_daysAfter(day(2), 0, 2));
  EXPECT_FALSE(telvo_isBetweenDaysBefore_daysAfter(day(3), 0, 2));
  EXPECT_FALSE(telvo_isBetweenDaysBefore_daysAfter(nil, 10, 10));
}

TEST(NSDateTelvo, TimeOfDayMovesToAnotherDay) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  EXPECT_EQ(localText(telvo_dateWithTime(localTime(2024, 3, 5, 20), localTime(1999, 7, 9, 14, 7, 9))),
            "2024-03-05 14:07:09");
  EXPECT_EQ(localText(telvo_dateWithTime(localTime(2024, 3, 5, 20), localTime(1999, 7, 9, 0, 30))),
            "2024-03-05 00:30:00");
  EXPECT_SAME_DATE(telvo_dateWithTime(localTime(2024, 3, 5, 20), nil), localTime(2024, 3, 5, 12));
  EXPECT_EQ(telvo_dateWithTime(nil, localTime(2024, 3, 5)), nil);
}

TEST(NSDateTelvo, TimeOfDayIsMeasuredFromNoonAcrossAChangeOfTheClocks) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  // Nine hours before noon are 02:00 on the day that has no third hour.
  EXPECT_EQ(localText(telvo_dateWithTime(localTime(2024, 3, 31, 20), localTime(2024, 3, 5, 3))), "2024-03-31 03:00:00");
  EXPECT_EQ(localText(telvo_dateWithTime(localTime(2024, 3, 31, 20), localTime(2024, 3, 5, 2))), "2024-03-31 01:00:00");
}

TEST(NSDateTelvo, AligningGoesToTheNearestIncrement) {
  const auto aligned = [](int hour, int minute, int second, NSInteger increment) {
    return telvo_dateByAligningToMinuteIncrement(universalTime(2024, 3, 5, hour, minute, second), increment);
  };
  EXPECT_SAME_DATE(aligned(10, 7, 30, 15), universalTime(2024, 3, 5, 10));
  EXPECT_SAME_DATE(aligned(10, 7, 31, 15), universalTime(2024, 3, 5, 10, 15));
  EXPECT_SAME_DATE(aligned(10, 0, 0, 15), universalTime(2024, 3, 5, 10));
  EXPECT_SAME_DATE(aligned(10, 0, 30, 1), universalTime(2024, 3, 5, 10));
  EXPECT_SAME_DATE(aligned(10, 0, 31, 1), universalTime(2024, 3, 5, 10, 1));
  EXPECT_SAME_DATE(aligned(23, 59, 0, 15), universalTime(2024, 3, 6));
  EXPECT_SAME_DATE(
      telvo_dateByAligningToMinuteIncrement(universalTime(2024, 3, 5, 10, 7, 30)->dateByAddingTimeInterval(0.9), 15),
      universalTime(2024, 3, 5, 10));
}

TEST(NSDateTelvo, AligningCountsFromTheReferenceDateNotFromLocalMidnight) {
  const EnvironmentVariable zone("TZ", "Asia/Kolkata");
  EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(localTime(2024, 3, 5, 10, 0), 60),
                   localTime(2024, 3, 5, 9, 30));
  // Seven hours do not divide the day: multiples drift through it.
  const auto aligned = telvo_dateByAligningToMinuteIncrement(universalTime(2024, 3, 5), 7 * 60);
  EXPECT_EQ(std::fmod(aligned->timeIntervalSinceReferenceDate(), 7.0 * 3600.0), 0.0);
}

TEST(NSDateTelvo, AligningBeforeTheReferenceDateGoesForward) {
  EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(universalTime(1990, 3, 5, 10, 1), 15),
                   universalTime(1990, 3, 5, 10, 15));
  EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(universalTime(1990, 3, 5, 10, 14, 59), 15),
                   universalTime(1990, 3, 5, 10, 15));
  EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(universalTime(1990, 3, 5, 10, 15), 15),
                   universalTime(1990, 3, 5, 10, 15));
}

TEST(NSDateTelvo, AligningToNoIncrementGivesTheStartOfTheLocalHour) {
  const EnvironmentVariable zone("TZ", "Asia/Kolkata");
  for (const NSInteger increment : {NSInteger{0}, NSInteger{-15}, farthestInteger}) {
    EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(localTime(2024, 3, 5, 10, 7, 31), increment),
                     localTime(2024, 3, 5, 10));
    EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(localTime(1990, 3, 5, 10, 59, 59), increment),
                     localTime(1990, 3, 5, 10));
  }
  setenv("TZ", "Europe/Berlin", 1);
  EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(universalTime(2024, 10, 27, 1, 40), 0),
                   universalTime(2024, 10, 27, 1));
}

TEST(NSDateTelvo, AligningToHugeIncrements) {
  EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(universalTime(2024, 3, 5), NSIntegerMax),
                   universalTime(2001, 1, 1));
  // One and a half increments, rounded to two, which no 64-bit number can hold.
  const NSInteger increment = NSIntegerMax / 100;
  EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(instant(9e18), increment),
                   NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(increment) * 120.0));
}

// ---- Components

TEST(NSDateTelvo, ComponentsAreThoseOfTheLocalClock) {
  const EnvironmentVariable zone("TZ", "Pacific/Kiritimati");
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  const auto date = universalTime(2023, 12, 31, 14, 7, 9);
  EXPECT_EQ(telvo_year(date), 2024);
  EXPECT_EQ(telvo_month(date), 1);
  EXPECT_EQ(telvo_day(date), 1);
  EXPECT_EQ(telvo_hour(date), 4);
  EXPECT_EQ(telvo_minute(date), 7);
  EXPECT_EQ(telvo_second(date), 9);
  EXPECT_EQ(telvo_weekday(date), 2);
  EXPECT_EQ(telvo_dayOfYear(date), 1);
  const auto components = telvo_components(date, NSCalendarUnitYear | NSCalendarUnitEra);
  EXPECT_EQ(components->era(), 1);
  EXPECT_EQ(components->year(), 2024);
  EXPECT_FALSE(components->isSet(NSDateComponents::Month));
}

TEST(NSDateTelvo, WeekdaysAndDaysOfTheYear) {
  const EnvironmentVariable zone("TZ", "UTC");
  const EnvironmentVariable language("LC_ALL", "de_DE.UTF-8");
  for (unsigned day = 0; day < 7; ++day) {
    EXPECT_EQ(telvo_weekday(universalTime(2024, 3, 3 + day)), 1 + day);  // the 3rd is a Sunday
  }
  EXPECT_EQ(telvo_dayOfYear(universalTime(2024, 12, 31)), 366);
  EXPECT_EQ(telvo_dayOfYear(universalTime(2023, 12, 31)), 365);
  EXPECT_EQ(telvo_dayOfYear(universalTime(2024, 2, 29)), 60);
  EXPECT_EQ(telvo_dayOfYear(universalTime(1582, 12, 31)), 355);
}

TEST(NSDateTelvo, NothingHasNoComponents) {
  EXPECT_EQ(telvo_components(nil, NSCalendarUnitYear), nil);
  for (const auto& getter :
       {telvo_second, telvo_minute, telvo_hour, telvo_weekday, telvo_day, telvo_month, telvo_year, telvo_dayOfYear}) {
    EXPECT_EQ(getter(nil), 0);
    EXPECT_EQ(getter(instant(1e300)), 0);
    EXPECT_EQ(getter(instant(std::nan(""))), 0);
  }
}

// ---- Adding and counting

TEST(NSDateTelvo, AddingKeepsTheTimeOfDayFromDaysOn) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const auto date = localTime(2024, 3, 30, 2, 30);
  EXPECT_EQ(localText(telvo_dateByAddingMinutes(date, -31)), "2024-03-30 01:59:00");
  EXPECT_EQ(localText(telvo_dateByAddingHours(date, 24)), "2024-03-31 03:30:00");
  EXPECT_EQ(localText(telvo_dateByAddingHours(date, 25)), "2024-03-31 04:30:00");
  EXPECT_EQ(localText(telvo_dateByAddingDays(date, 1)), "2024-03-31 03:30:00");  // 02:30 is skipped
  EXPECT_EQ(localText(telvo_dateByAddingDays(date, 2)), "2024-04-01 02:30:00");
  EXPECT_EQ(localText(telvo_dateByAddingWeeks(date, -1)), "2024-03-23 02:30:00");
  EXPECT_EQ(localText(telvo_dateByAddingMonths(date, 11)), "2025-02-28 02:30:00");
  EXPECT_EQ(localText(telvo_dateByAddingYears(localTime(2024, 2, 29), -1)), "2023-02-28 00:00:00");
}

TEST(NSDateTelvo, AddingGoesByTheGregorianCalendarWhateverTheUsers) {
  const EnvironmentVariable zone("TZ", "UTC");
  const EnvironmentVariable language("LC_ALL", "fa_IR.UTF-8");
  EXPECT_SAME_DATE(telvo_dateByAddingMonths(universalTime(2024, 1, 31), 1), universalTime(2024, 2, 29));
  EXPECT_EQ(telvo_differenceInMonthsTo(universalTime(2024, 1, 31), universalTime(2024, 2, 29)), 1);
  // The user's own calendar decides on the bounds of months: 1 Bahman 1402 began on 21 January.
  EXPECT_SAME_DATE(telvo_dateOfMonthStartWithOffset(universalTime(2024, 2, 1), 0), universalTime(2024, 1, 21));
}

TEST(NSDateTelvo, AddingTooMuchGivesNil) {
  const auto date = universalTime(2024, 3, 5);
  for (const auto& add : {telvo_dateByAddingMinutes, telvo_dateByAddingHours, telvo_dateByAddingDays,
                          telvo_dateByAddingWeeks, telvo_dateByAddingMonths, telvo_dateByAddingYears}) {
    EXPECT_EQ(add(date, NSIntegerMax), nil);
    EXPECT_EQ(add(date, farthestInteger), nil);
    EXPECT_EQ(add(nil, 1), nil);
    EXPECT_EQ(add(instant(std::numeric_limits<double>::infinity()), 1), nil);
    EXPECT_SAME_DATE(add(date, 0), date);
  }
}

TEST(NSDateTelvo, DifferencesAreTruncatedTowardZero) {
  const EnvironmentVariable zone("TZ", "UTC");
  const auto date = universalTime(2024, 1, 31, 12);
  EXPECT_EQ(telvo_differenceInMinutesTo(date, universalTime(2024, 1, 31, 12, 1, 59)), 1);
  EXPECT_EQ(telvo_differenceInMinutesTo(date, universalTime(2024, 1, 31, 11, 58, 1)), -1);
  EXPECT_EQ(telvo_differenceInHoursTo(date, universalTime(2024, 2, 1, 11, 59)), 23);
  EXPECT_EQ(telvo_differenceInDaysTo(date, universalTime(2024, 2, 3, 11, 59)), 2);
  EXPECT_EQ(telvo_differenceInDaysTo(date, universalTime(2024, 1, 29, 12, 1)), -1);
  EXPECT_EQ(telvo_differenceInWeeksTo(date, universalTime(2024, 2, 14, 12)), 2);
  EXPECT_EQ(telvo_differenceInWeeksTo(date, universalTime(2024, 2, 14, 11)), 1);
  EXPECT_EQ(telvo_differenceInMonthsTo(date, universalTime(2024, 2, 29, 12)), 1);
  EXPECT_EQ(telvo_differenceInMonthsTo(date, universalTime(2024, 2, 29, 11)), 0);
  EXPECT_EQ(telvo_differenceInYearsTo(date, universalTime(2023, 1, 31, 12)), -1);
  EXPECT_EQ(telvo_differenceInYearsTo(date, universalTime(2023, 1, 31, 13)), 0);
  EXPECT_EQ(
      telvo_differenceInMinutesTo(universalTime(1900, 1, 1), universalTime(12000, 1, 1)),
      static_cast<NSInteger>(universalTime(12000, 1, 1)->timeIntervalSinceDate(universalTime(1900, 1, 1)) / 60.0));
}

TEST(NSDateTelvo, DifferencesToNothingAreZero) {
  for (const auto& difference : {telvo_differenceInMinutesTo, telvo_differenceInHoursTo, telvo_differenceInDaysTo,
                                 telvo_differenceInWeeksTo, telvo_differenceInMonthsTo, telvo_differenceInYearsTo}) {
    EXPECT_EQ(difference(nil, NSDate::date()), 0);
    EXPECT_EQ(difference(NSDate::date(), nil), 0);
    EXPECT_EQ(difference(NSDate::date(), instant(1e300)), 0);
  }
}

// ---- Months

TEST(NSDateTelvo, MonthsBeginAtMidnightAndEndASecondBeforeTheNext) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const auto date = localTime(2024, 2, 15, 14, 7, 9);
  EXPECT_EQ(localText(telvo_dateOfMonthStartWithOffset(date, 0)), "2024-02-01 00:00:00");
  EXPECT_EQ(localText(telvo_dateOfMonthEndWithOffset(date, 0)), "2024-02-29 23:59:59");
  EXPECT_EQ(localText(telvo_dateOfMonthStartWithOffset(date, 2)), "2024-04-01 00:00:00");
  EXPECT_EQ(localText(telvo_dateOfMonthEndWithOffset(date, 8)), "2024-10-31 23:59:59");
  EXPECT_EQ(localText(telvo_dateOfMonthStartWithOffset(date, -2)), "2023-12-01 00:00:00");
  EXPECT_EQ(localText(telvo_dateOfMonthEndWithOffset(date, -1)), "2024-01-31 23:59:59");
  EXPECT_EQ(localText(telvo_dateOfMonthEndWithOffset(localTime(2023, 1, 31), 1)), "2023-02-28 23:59:59");
}

TEST(NSDateTelvo, MonthWithoutAFirstMidnightBeginsAtItsFirstMoment) {
  const EnvironmentVariable zone("TZ", "America/Asuncion");  // 1 October 2017 began at 01:00
  const auto october = localTime(2017, 10, 15, 12);
  EXPECT_EQ(localText(telvo_dateOfMonthStartWithOffset(october, 0)), "2017-10-01 01:00:00");
  EXPECT_EQ(localText(telvo_dateOfMonthEndWithOffset(october, 0)), "2017-10-31 23:59:59");
  EXPECT_EQ(localText(telvo_dateOfMonthStartWithOffset(october, 1)), "2017-11-01 00:00:00");
  EXPECT_EQ(localText(telvo_dateOfMonthEndWithOffset(october, -1)), "2017-09-30 23:59:59");
}

TEST(NSDateTelvo, MonthsOutOfReachAreNil) {
  const auto date = universalTime(2024, 2, 15);
  for (const NSInteger months : {NSIntegerMax, NSIntegerMax - 1, farthestInteger}) {
    EXPECT_EQ(telvo_dateOfMonthStartWithOffset(date, months), nil);
    EXPECT_EQ(telvo_dateOfMonthEndWithOffset(date, months), nil);
  }
  EXPECT_EQ(telvo_dateOfMonthStartWithOffset(nil, 0), nil);
  EXPECT_EQ(telvo_dateOfMonthEndWithOffset(nil, 0), nil);
}

// ---- Dates that there are not

TEST(NSDateTelvo, WhatNeedsADateAnswersNothingWithoutOneThatCalendarsReach) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const auto& none :
       {Ref<NSDate>(), instant(infinity), instant(-infinity), instant(std::nan("")), instant(1e300), instant(-1e15)}) {
    const auto now = NSDate::date();
    EXPECT_EQ(telvo_stringWithFormat(none, "yyyy"_ns), nil);
    EXPECT_EQ(telvo_JSONStringValue(none), nil);
    EXPECT_EQ(telvo_formattedShortDateString(none), nil);
    EXPECT_EQ(telvo_formattedDateString(none), nil);
    EXPECT_EQ(telvo_formattedStringUsingDateStyle_timeStyle(none, 4, 4), nil);
    EXPECT_EQ(telvo_formattedStringUsingDateStyle_timeStyle_allowRelative(none, 4, 4, true), nil);
    EXPECT_EQ(telvo_descriptionWithShortDateTime(none), nil);
    EXPECT_EQ(telvo_descriptionWithShortDate(none), nil);
    EXPECT_EQ(telvo_descriptionWithTime(none), nil);
    EXPECT_EQ(telvo_dateAsDateWithoutTime(none), nil);
    EXPECT_FALSE(telvo_includesTime(none));
    EXPECT_FALSE(telvo_isToday(none));
    EXPECT_FALSE(telvo_isBetweenDaysBefore_daysAfter(none, NSIntegerMax, NSIntegerMax));
    EXPECT_EQ(telvo_dateWithTime(none, now), nil);
    EXPECT_EQ(telvo_dateByAligningToMinuteIncrement(none, 0), nil);
    EXPECT_EQ(telvo_components(none, NSCalendarUnitYear), nil);
    EXPECT_EQ(telvo_dateOfMonthStartWithOffset(none, 0), nil);
    EXPECT_EQ(telvo_dateOfMonthEndWithOffset(none, 0), nil);
  }
  EXPECT_EQ(telvo_dateByAligningToMinuteIncrement(instant(infinity), 15), nil);
  EXPECT_EQ(telvo_dateByAligningToMinuteIncrement(instant(std::nan("")), 15), nil);
  EXPECT_EQ(telvo_dateByAligningToMinuteIncrement(nil, 15), nil);
  EXPECT_EQ(telvo_dateWithTime(universalTime(2024, 3, 5), instant(infinity)), nil);
}

// ---- What holds in every zone, on every kind of day

class NSDateTelvoInZone : public testing::TestWithParam<const char*> {
 protected:
  // Times around both changes of the clocks of these zones, leap days, and days of remote ages.
  static std::vector<Ref<NSDate>> dates() {
    std::vector<Ref<NSDate>> dates;
    for (const auto& start : {universalTime(2018, 2, 16), universalTime(2018, 11, 2), universalTime(2024, 2, 28),
                              universalTime(2024, 3, 30), universalTime(2024, 10, 26), universalTime(1969, 12, 30),
                              universalTime(1582, 10, 12), universalTime(1500, 3, 8), universalTime(1, 1, 1),
                              universalTime(-43, 3, 13), universalTime(9999, 12, 30), universalTime(12345, 2, 27)}) {
      for (int halfHours = 0; halfHours < 5 * 48; halfHours += 5) {
        dates.push_back(start->dateByAddingTimeInterval(halfHours * 1800.0 + halfHours % 7));
      }
    }
    return dates;
  }

 private:
  EnvironmentVariable zone_{"TZ", GetParam()};
  EnvironmentVariable language_{"LC_ALL", "en_US.UTF-8"};
};

TEST_P(NSDateTelvoInZone, NoonIsTheNoonOfTheSameDay) {
  for (const auto& date : dates()) {
    const auto noon = telvo_dateAsDateWithoutTime(date);
    EXPECT_EQ(localText(noon), localText(date).substr(0, localText(date).size() - 8) + "12:00:00");
    EXPECT_EQ(telvo_dayOfYear(noon), telvo_dayOfYear(date));
    EXPECT_FALSE(telvo_includesTime(noon));
    EXPECT_EQ(telvo_includesTime(date), !isSameDate(date, noon));
    EXPECT_SAME_DATE(telvo_dateWithTime(noon, date), date);
  }
}

// The clock of the C library, an independent witness, agrees; its calendar has always been the Gregorian one.
TEST_P(NSDateTelvoInZone, ComponentsAreWhatTheSystemsClockShows) {
  tzset();
  for (const auto& date : dates()) {
    const auto seconds = static_cast<std::time_t>(std::floor(date->timeIntervalSince1970()));
    std::tm local{};
    ASSERT_TRUE(localtime_r(&seconds, &local));
    EXPECT_EQ(telvo_hour(date), local.tm_hour) << localText(date);
    EXPECT_EQ(telvo_minute(date), local.tm_min) << localText(date);
    EXPECT_EQ(telvo_second(date), local.tm_sec) << localText(date);
    EXPECT_EQ(telvo_weekday(date), local.tm_wday + 1) << localText(date);
    if (local.tm_year + 1900 < 1583) continue;
    EXPECT_EQ(telvo_year(date), local.tm_year + 1900);
    EXPECT_EQ(telvo_month(date), local.tm_mon + 1);
    EXPECT_EQ(telvo_day(date), local.tm_mday);
    EXPECT_EQ(telvo_dayOfYear(date), local.tm_yday + 1);
  }
}

TEST_P(NSDateTelvoInZone, DaysOfTheYearAreCountedFromItsFirst) {
  for (const auto& date : dates()) {
    const bool beforeChrist = telvo_components(date, NSCalendarUnitEra)->era() == 0;
    const auto newYearsDay = localTime(beforeChrist ? 1 - telvo_year(date) : telvo_year(date), 1, 1, 12);
    const auto noon = telvo_dateAsDateWithoutTime(date);
    EXPECT_EQ(telvo_dayOfYear(date), telvo_differenceInDaysTo(newYearsDay, noon) + 1) << localText(date);
  }
}

TEST_P(NSDateTelvoInZone, TimeOfDayKeepsItsDistanceFromNoon) {
  const auto all = dates();
  for (std::size_t index = 0; index < all.size(); ++index) {
    const auto& day = all[index];
    const auto& time = all[(index * 7 + 3) % all.size()];
    const NSTimeInterval fromNoon = time->timeIntervalSinceDate(telvo_dateAsDateWithoutTime(time));
    EXPECT_SAME_DATE(telvo_dateWithTime(day, time),
                     telvo_dateAsDateWithoutTime(day)->dateByAddingTimeInterval(fromNoon));
  }
}

TEST_P(NSDateTelvoInZone, AligningTakesNoNoticeOfTheZone) {
  for (const auto& date : dates()) {
    for (const NSInteger minutes : {1, 15, 60, 7 * 60}) {
      const auto seconds = static_cast<NSInteger>(date->timeIntervalSinceReferenceDate());
      const NSInteger remainder = seconds % (minutes * 60);
      const NSInteger aligned = seconds - remainder + (remainder > minutes * 30 ? minutes * 60 : 0);
      EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(date, minutes),
                       NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(aligned)));
    }
  }
}

TEST_P(NSDateTelvoInZone, TextsShowTheLocalClock) {
  for (const auto& date : dates()) {
    const auto twoDigits = [](NSInteger number) { return NSString::stringWithFormat("%02ld"_ns, number % 100); };
    const NSInteger hour = telvo_hour(date) % 12 == 0 ? 12 : telvo_hour(date) % 12;
    const std::string time = utf8(NSString::stringWithFormat("%ld:%@ %s"_ns, hour, twoDigits(telvo_minute(date)),
                                                             telvo_hour(date) < 12 ? "AM" : "PM"));
    const std::string day = utf8(
        NSString::stringWithFormat("%ld/%ld/%@"_ns, telvo_month(date), telvo_day(date), twoDigits(telvo_year(date))));
    EXPECT_EQ(utf8(telvo_descriptionWithTime(date)), time);
    EXPECT_EQ(utf8(telvo_descriptionWithShortDate(date)), day);
    EXPECT_EQ(utf8(telvo_formattedShortDateString(date)), day);
    EXPECT_EQ(utf8(telvo_descriptionWithShortDateTime(date)), day + ", " + time);
    EXPECT_EQ(utf8(telvo_formattedStringUsingDateStyle_timeStyle(date, 1, 1)), day + ", " + time);
    const auto month = telvo_stringWithFormat(date, "MMMM d, y"_ns);
    EXPECT_EQ(utf8(telvo_formattedDateString(date)).substr(0, month->length()), utf8(month));
  }
}

TEST_P(NSDateTelvoInZone, TextByAPatternIsReadAgain) {
  for (const auto& date : dates()) {
    const auto pattern = "yyyy-MM-dd HH:mm:ss xxxxx G"_ns;
    EXPECT_SAME_DATE(telvo_dateWithString_format(telvo_stringWithFormat(date, pattern), pattern), date);
    // Without the offset a repeated hour is read as its first occurrence.
    const auto local = telvo_dateWithString_format(telvo_stringWithFormat(date, "yyyy-MM-dd HH:mm:ss G"_ns),
                                                   "yyyy-MM-dd HH:mm:ss G"_ns);
    EXPECT_EQ(localText(local), localText(date));
  }
}

TEST_P(NSDateTelvoInZone, OldStyleTextIsShiftedAlikeInSummerAndWinter) {
  for (const auto& date : dates()) {
    const auto shifted = date->dateByAddingTimeInterval(telvo_localTimeOffset());
    EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(date)),
              utf8(NSString::stringWithFormat("/Date(%.0f)/"_ns, shifted->timeIntervalSince1970() * 1000.0)));
    EXPECT_SAME_DATE(telvo_dateWithJSONString(telvo_oldStyleJSONStringValue(date)), shifted);
  }
}

TEST_P(NSDateTelvoInZone, TextWithoutZIsShiftedAlikeInSummerAndWinter) {
  for (const auto& date : dates()) {
    if (telvo_components(date, NSCalendarUnitEra)->era() == 0) continue;  // the text has no era
    const auto universal = telvo_JSONStringValue(date);
    const auto local = universal->substringToIndex(universal->length() - 1);
    EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder(local, true),
                     date->dateByAddingTimeInterval(telvo_localTimeOffset()));
  }
}

TEST_P(NSDateTelvoInZone, DaysAroundTodayAreCountedAcrossEveryChangeOfTheClocks) {
  const auto today = telvo_dateWithoutTime();
  for (NSInteger offset = -400; offset <= 400; ++offset) {
    const auto noon = telvo_dateByAddingDays(today, offset);
    for (const double hours : {-9.5, 0.0, 9.5}) {
      const auto date = noon->dateByAddingTimeInterval(hours * 3600.0);
      EXPECT_EQ(telvo_isToday(date), offset == 0) << offset;
      EXPECT_EQ(telvo_isBetweenDaysBefore_daysAfter(date, 200, 100), offset >= -200 && offset <= 100) << offset;
      EXPECT_TRUE(telvo_isBetweenDaysBefore_daysAfter(date, -offset, offset)) << offset;
      EXPECT_FALSE(telvo_isBetweenDaysBefore_daysAfter(date, -offset - 1, offset - 1)) << offset;
    }
  }
}

TEST_P(NSDateTelvoInZone, DistanceFromNowIsTheSameEverywhere) {
  const auto date = NSDate::dateWithTimeIntervalSinceNow(200.0 * 86400.0 + 1800.0);  // half a year: another season
  EXPECT_EQ(utf8(telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(date, 3, 1, false, nil)), "7 months");
}

TEST_P(NSDateTelvoInZone, ComponentsMakeTheDateAgain) {
  for (const auto& date : dates()) {
    const bool beforeChrist = telvo_components(date, NSCalendarUnitEra)->era() == 0;
    const NSInteger year = beforeChrist ? 1 - telvo_year(date) : telvo_year(date);
    const auto made =
        localTime(year, telvo_month(date), telvo_day(date), telvo_hour(date), telvo_minute(date), telvo_second(date));
    EXPECT_EQ(localText(made), localText(date));
    // A repeated hour is made into its first occurrence.
    const NSTimeInterval later = date->timeIntervalSinceDate(made);
    EXPECT_TRUE(later == 0.0 || later == 3600.0) << localText(date);
  }
}

TEST_P(NSDateTelvoInZone, DaysAndLongerUnitsAddedAreCountedAgain) {
  for (const auto& date : dates()) {
    for (const NSInteger count : {-400, -1, 1, 30}) {
      EXPECT_EQ(telvo_differenceInDaysTo(date, telvo_dateByAddingDays(date, count)), count);
      EXPECT_EQ(telvo_differenceInWeeksTo(date, telvo_dateByAddingWeeks(date, count)), count);
      EXPECT_EQ(telvo_differenceInMonthsTo(date, telvo_dateByAddingMonths(date, count)), count);
      EXPECT_EQ(telvo_differenceInYearsTo(date, telvo_dateByAddingYears(date, count)), count);
      const auto noon = telvo_dateAsDateWithoutTime(date);
      EXPECT_FALSE(telvo_includesTime(telvo_dateByAddingDays(noon, count)));
    }
  }
}

TEST_P(NSDateTelvoInZone, HoursAndMinutesAreElapsedTime) {
  for (const auto& date : dates()) {
    EXPECT_SAME_DATE(telvo_dateByAddingHours(date, 30), date->dateByAddingTimeInterval(30.0 * 3600.0));
    EXPECT_SAME_DATE(telvo_dateByAddingMinutes(date, -2000), date->dateByAddingTimeInterval(-2000.0 * 60.0));
    EXPECT_EQ(telvo_differenceInHoursTo(date, date->dateByAddingTimeInterval(30.0 * 3600.0)), 30);
    EXPECT_EQ(telvo_differenceInMinutesTo(date, date->dateByAddingTimeInterval(-2000.0 * 60.0)), -2000);
  }
}

TEST_P(NSDateTelvoInZone, EveryDateLiesBetweenTheBoundsOfItsMonth) {
  for (const auto& date : dates()) {
    const auto start = telvo_dateOfMonthStartWithOffset(date, 0);
    const auto end = telvo_dateOfMonthEndWithOffset(date, 0);
    EXPECT_NE(start->compare(date), NSOrderedDescending);
    EXPECT_NE(end->compare(date), NSOrderedAscending);
    EXPECT_EQ(telvo_month(start), telvo_month(date));
    EXPECT_EQ(telvo_month(end), telvo_month(date));
    EXPECT_EQ(telvo_day(start), 1);
    EXPECT_NE(telvo_month(start->dateByAddingTimeInterval(-1.0)), telvo_month(date));
    EXPECT_SAME_DATE(telvo_dateOfMonthStartWithOffset(date, 1), end->dateByAddingTimeInterval(1.0));
    EXPECT_SAME_DATE(telvo_dateOfMonthEndWithOffset(date, -1), start->dateByAddingTimeInterval(-1.0));
  }
}

TEST_P(NSDateTelvoInZone, AligningToNoIncrementGivesTheStartOfTheHour) {
  for (const auto& date : dates()) {
    const auto hour = telvo_dateByAligningToMinuteIncrement(date, 0);
    EXPECT_EQ(telvo_hour(hour), telvo_hour(date));
    EXPECT_EQ(telvo_minute(hour), 0);
    EXPECT_EQ(telvo_second(hour), 0);
    const NSTimeInterval since = date->timeIntervalSinceDate(hour);
    EXPECT_TRUE(since >= 0.0 && since < 3600.0) << localText(date);
  }
}

TEST_P(NSDateTelvoInZone, JSONTextDoesNotDependOnTheZone) {
  for (const auto& date : dates()) {
    if (telvo_components(date, NSCalendarUnitEra)->era() == 0) continue;  // the text has no era
    EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder(telvo_JSONStringValue(date), true), date);
  }
}

INSTANTIATE_TEST_SUITE_P(Zones, NSDateTelvoInZone,
                         testing::Values("UTC", "Europe/Berlin", "Asia/Kolkata", "Pacific/Kiritimati",
                                         "America/Sao_Paulo"),
                         [](const testing::TestParamInfo<const char*>& zone) {
                           std::string name;
                           for (const char character : std::string(zone.param)) {
                             if (std::isalpha(static_cast<unsigned char>(character))) name += character;
                           }
                           return name;
                         });

// ---- By name

TEST(NSDateTelvo, MethodsAreCalledByName) {
  const EnvironmentVariable zone("TZ", "UTC");
  const id date = universalTime(2024, 3, 5, 14, 7, 9);
  EXPECT_EQ(utf8(as<NSString>(date->performSelector("telvo_JSONStringValue"_sel))), "2024-03-05T14:07:09Z");
  const id later = date->performSelector_withObject("telvo_dateByAddingDays:"_sel, NSNumber::numberWithInteger(2));
  EXPECT_SAME_DATE(as<NSDate>(later), universalTime(2024, 3, 7, 14, 7, 9));
  EXPECT_EQ(as<NSNumber>(date->valueForKey("telvo_hour"_ns))->integerValue(), 14);
  EXPECT_EQ(date->performSelector("telvo_gregorianCalendar"_sel), telvo_gregorianCalendar());
  EXPECT_TRUE(date->respondsToSelector("telvo_relativeStringWithStyle:maximumUnits:keepZero:defaultValue:"_sel));
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
