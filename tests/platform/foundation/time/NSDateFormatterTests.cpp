#include <atomic>
#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateFormatter.h"
#include "foundation/time/NSTimeZone.h"
#include "testing/Dates.h"
#include "testing/EnvironmentVariable.h"
#include "testing/PlainSpaces.h"

namespace {

std::string utf8(const Ref<NSString>& text) { return text ? text->UTF8String() : "nil"; }

Ref<NSDateFormatter> english(const char* format, const char* zone = "UTC") {
  const auto formatter = make<NSDateFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en"_ns));
  formatter->setTimeZone(NSTimeZone::timeZoneWithName(NSString::stringWithUTF8String(zone)));
  formatter->setDateFormat(NSString::stringWithUTF8String(format));
  return formatter;
}

Ref<NSDate> read(const Ref<NSDateFormatter>& formatter, const char* text) {
  return formatter->dateFromString(NSString::stringWithUTF8String(text));
}

std::string styled(const char* locale, NSDateFormatterStyle dateStyle, NSDateFormatterStyle timeStyle) {
  const auto formatter = make<NSDateFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier(NSString::stringWithUTF8String(locale)));
  formatter->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  formatter->setDateStyle(dateStyle);
  formatter->setTimeStyle(timeStyle);
  return withPlainSpaces(utf8(formatter->stringFromDate(universalTime(2024, 3, 5, 14, 7, 9))));
}

std::string relative(const char* locale, int days) {
  const auto formatter = make<NSDateFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier(NSString::stringWithUTF8String(locale)));
  formatter->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  formatter->setDateStyle(NSDateFormatterLongStyle);
  formatter->setDoesRelativeDateFormatting(true);
  return utf8(formatter->stringFromDate(NSDate::dateWithTimeIntervalSinceNow(days * 86400.0)));
}

// ---- Writing

TEST(NSDateFormatter, NewFormatterWritesEmptyTextAndReadsNothing) {
  const auto formatter = make<NSDateFormatter>();
  EXPECT_EQ(utf8(formatter->stringFromDate(NSDate::date())), "");
  EXPECT_EQ(read(formatter, "2024-03-05"), nil);
  EXPECT_EQ(read(formatter, "3/5/24"), nil);
}

TEST(NSDateFormatter, StylesOfDateAndTime) {
  EXPECT_EQ(styled("en_US", NSDateFormatterShortStyle, NSDateFormatterNoStyle), "3/5/24");
  EXPECT_EQ(styled("en_US", NSDateFormatterMediumStyle, NSDateFormatterNoStyle), "Mar 5, 2024");
  EXPECT_EQ(styled("en_US", NSDateFormatterLongStyle, NSDateFormatterNoStyle), "March 5, 2024");
  EXPECT_EQ(styled("en_US", NSDateFormatterFullStyle, NSDateFormatterNoStyle), "Tuesday, March 5, 2024");
  EXPECT_EQ(styled("en_US", NSDateFormatterNoStyle, NSDateFormatterShortStyle), "2:07 PM");
  EXPECT_EQ(styled("en_US", NSDateFormatterNoStyle, NSDateFormatterMediumStyle), "2:07:09 PM");
  EXPECT_EQ(styled("en_US", NSDateFormatterNoStyle, NSDateFormatterLongStyle), "2:07:09 PM GMT");
  EXPECT_EQ(styled("en_US", NSDateFormatterNoStyle, NSDateFormatterFullStyle), "2:07:09 PM Greenwich Mean Time");
  EXPECT_EQ(styled("en_US", NSDateFormatterShortStyle, NSDateFormatterShortStyle), "3/5/24, 2:07 PM");
  EXPECT_EQ(styled("en_US", NSDateFormatterNoStyle, NSDateFormatterNoStyle), "");
}

TEST(NSDateFormatter, StylesInOtherLanguages) {
  EXPECT_EQ(styled("de_DE", NSDateFormatterShortStyle, NSDateFormatterShortStyle), "05.03.24, 14:07");
  EXPECT_EQ(styled("de_DE", NSDateFormatterFullStyle, NSDateFormatterNoStyle), "Dienstag, 5. März 2024");
  EXPECT_EQ(styled("fr_FR", NSDateFormatterLongStyle, NSDateFormatterNoStyle), "5 mars 2024");
  EXPECT_EQ(styled("ja_JP", NSDateFormatterLongStyle, NSDateFormatterNoStyle), "2024年3月5日");
}

TEST(NSDateFormatter, UnknownStylesCountAsNone) {
  EXPECT_EQ(styled("en_US", static_cast<NSDateFormatterStyle>(5), static_cast<NSDateFormatterStyle>(-1)), "");
  EXPECT_EQ(styled("en_US", static_cast<NSDateFormatterStyle>(NSIntegerMax), NSDateFormatterShortStyle), "2:07 PM");
}

TEST(NSDateFormatter, PatternComesBeforeStyles) {
  const auto formatter = english("yyyy");
  formatter->setDateStyle(NSDateFormatterFullStyle);
  EXPECT_EQ(utf8(formatter->stringFromDate(universalTime(2024, 3, 5))), "2024");
  formatter->setDateFormat(nil);
  EXPECT_EQ(utf8(formatter->stringFromDate(universalTime(2024, 3, 5))), "Tuesday, March 5, 2024");
}

TEST(NSDateFormatter, PatternsInTheirZone) {
  const auto date = universalTime(2024, 3, 5, 20, 7, 9);
  EXPECT_EQ(utf8(english("yyyy-MM-dd HH:mm:ss Z", "Asia/Kolkata")->stringFromDate(date)), "2024-03-06 01:37:09 +0530");
  EXPECT_EQ(utf8(english("EEE, d MMM yyyy")->stringFromDate(date)), "Tue, 5 Mar 2024");
  EXPECT_EQ(utf8(english("'o''clock' h")->stringFromDate(date)), "o'clock 8");
}

TEST(NSDateFormatter, FractionsOfASecondAreCutDownward) {
  const auto formatter = english("yyyy HH:mm:ss.SSS");
  EXPECT_EQ(utf8(formatter->stringFromDate(NSDate::dateWithTimeIntervalSince1970(-0.25))), "1969 23:59:59.750");
}

TEST(NSDateFormatter, ChangesOfTheEnvironmentAreSeenAtOnce) {
  const EnvironmentVariable language("LC_ALL", "de_DE.UTF-8");
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const auto formatter = make<NSDateFormatter>();
  formatter->setDateStyle(NSDateFormatterLongStyle);
  formatter->setTimeStyle(NSDateFormatterShortStyle);
  const auto date = universalTime(2024, 3, 5, 20, 7);
  EXPECT_EQ(utf8(formatter->stringFromDate(date)), "5. März 2024 um 21:07");
  setenv("TZ", "UTC", 1);
  setenv("LC_ALL", "fr_FR.UTF-8", 1);
  EXPECT_EQ(utf8(formatter->stringFromDate(date)), "5 mars 2024 à 20:07");
}

TEST(NSDateFormatter, RelativeDaysInTheUsersLanguage) {
  EXPECT_EQ(relative("en_US", 0), "today");
  EXPECT_EQ(relative("en_US", -1), "yesterday");
  EXPECT_EQ(relative("en_US", 1), "tomorrow");
  EXPECT_EQ(relative("de_DE", 0), "heute");
  EXPECT_EQ(relative("de_DE", -1), "gestern");
  EXPECT_EQ(relative("de_DE", -2), "vorgestern");
  EXPECT_EQ(relative("de_DE", 2), "übermorgen");
  EXPECT_EQ(relative("fr_FR", -1), "hier");
  EXPECT_EQ(relative("fr_FR", 1), "demain");
  EXPECT_EQ(relative("ja_JP", 0), "今日");
  EXPECT_EQ(relative("ja_JP", -1), "昨日");
}

TEST(NSDateFormatter, DaysWithoutAWordKeepTheirDate) {
  EXPECT_EQ(relative("en_US", 40).find("today"), std::string::npos);
  EXPECT_NE(relative("en_US", 40).find("20"), std::string::npos);
}

TEST(NSDateFormatter, WhatCannotBeWrittenGivesNil) {
  EXPECT_EQ(english("yyyy")->stringFromDate(nil), nil);
  EXPECT_EQ(english("yyyy bad pattern")->stringFromDate(NSDate::date()), nil);
  for (const double instant : {1e14, -1e14, 1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
    EXPECT_EQ(english("yyyy")->stringFromDate(NSDate::dateWithTimeIntervalSince1970(instant)), nil);
  }
}

// ---- Reading

TEST(NSDateFormatter, TextOfThePatternIsRead) {
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd HH:mm:ss", "Asia/Kolkata"), "2024-03-05 14:07:09"),
                   universalTime(2024, 3, 5, 8, 37, 9));
  EXPECT_SAME_DATE(read(english("d MMMM yyyy"), "5 march 2024"), universalTime(2024, 3, 5));
  EXPECT_SAME_DATE(read(english("yyyyMMddHHmmss"), "20240305140709"), universalTime(2024, 3, 5, 14, 7, 9));
}

TEST(NSDateFormatter, ZoneInTheTextComesBeforeTheFormatters) {
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd HH:mm Z", "Asia/Kolkata"), "2024-03-05 14:07 +0200"),
                   universalTime(2024, 3, 5, 12, 7));
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd HH:mm z", "Asia/Kolkata"), "2024-07-05 14:07 GMT"),
                   universalTime(2024, 7, 5, 14, 7));
}

TEST(NSDateFormatter, DatesThatDoNotExistAreTurnedDown) {
  const auto formatter = english("yyyy-MM-dd HH:mm:ss");
  for (const char* text : {"2023-02-29 00:00:00", "2024-02-30 00:00:00", "2024-13-01 00:00:00", "2024-00-01 00:00:00",
                           "2024-01-00 00:00:00", "2024-01-01 24:00:00", "2024-01-01 00:60:00", "2024-01-01 00:00:60",
                           "0000-01-01 00:00:00", "99999999999-01-01 00:00:00"}) {
    EXPECT_EQ(read(formatter, text), nil) << text;
  }
  EXPECT_SAME_DATE(read(formatter, "2024-02-29 23:59:59"), universalTime(2024, 2, 29, 23, 59, 59));
}

TEST(NSDateFormatter, TextOfAnotherFormIsTurnedDown) {
  const auto formatter = english("yyyy-MM-dd");
  for (const char* text : {"", "2024", "2024-03", "2024-03-", "2024-3-5", "2024/03/05", "2024-03-05 ", "2024-03-05x",
                           "2024-Mar-05", "1e3-03-05", "x2024-03-05", "2024-+3-05", "2,024-03-05"}) {
    EXPECT_EQ(read(formatter, text), nil) << text;
  }
  EXPECT_EQ(formatter->dateFromString(nil), nil);
  EXPECT_EQ(formatter->dateFromString(NSString::stringWithUnits(std::u16string(3, u'\xD800'))), nil);
}

TEST(NSDateFormatter, FractionsOfASecondHaveUpToNineDigits) {
  const auto formatter = english("yyyy-MM-dd HH:mm:ss.SSS");
  const auto second = universalTime(2024, 3, 5, 14, 7, 9);
  EXPECT_SAME_DATE(read(formatter, "2024-03-05 14:07:09.250"), second->dateByAddingTimeInterval(0.25));
  EXPECT_SAME_DATE(read(formatter, "2024-03-05 14:07:09.250999999"), second->dateByAddingTimeInterval(0.25));
  EXPECT_EQ(read(formatter, "2024-03-05 14:07:09.2509999990"), nil);
  EXPECT_SAME_DATE(read(english("yyyyMMddHHmmssSSS"), "20240305140709250"), second->dateByAddingTimeInterval(0.25));
}

TEST(NSDateFormatter, NumbersOfAnyLengthAreTurnedDown) {
  const auto formatter = english("yyyy-MM-dd HH:mm:ss");
  for (const std::size_t digits : {9U, 10U, 20U, 39U, 40U, 63U, 64U, 65U, 400U, 1'000'000U}) {
    const std::string number(digits, '9');
    EXPECT_EQ(read(formatter, ("2024-03-05 14:07:" + number).c_str()), nil) << digits;
    EXPECT_EQ(read(formatter, (number + "-03-05 14:07:09").c_str()), nil) << digits;
    EXPECT_EQ(read(english("s.SSS"), ("7." + number).c_str()) != nil, digits == 9) << digits;
    // A mark that formats pass over does not hide the number's length.
    EXPECT_EQ(read(english("s.SSS"), ("7.\u200e" + number).c_str()) != nil, digits == 9) << digits;
  }
}

TEST(NSDateFormatter, WhatTheTextLeavesOpenIsTheBeginningOfTheYear2000) {
  EXPECT_SAME_DATE(read(english("HH:mm"), "14:07"), universalTime(2000, 1, 1, 14, 7));
  EXPECT_SAME_DATE(read(english("d MMM"), "29 Feb"), universalTime(2000, 2, 29));
  EXPECT_SAME_DATE(read(english("yyyy"), "2024"), universalTime(2024, 1, 1));
}

TEST(NSDateFormatter, DayWithoutAMidnightCanBeRead) {
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd", "America/Sao_Paulo"), "2018-11-04"), universalTime(2018, 11, 4, 3));
  EXPECT_SAME_DATE(read(english("MM/dd/yy", "America/Sao_Paulo"), "11/04/18"), universalTime(2018, 11, 4, 3));
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd HH:mm", "Europe/Berlin"), "2024-03-31 02:30"),
                   universalTime(2024, 3, 31, 1, 30));
}

TEST(NSDateFormatter, RepeatedTimeIsTheFirstOfTheTwo) {
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd HH:mm", "Europe/Berlin"), "2024-10-27 02:30"),
                   universalTime(2024, 10, 27, 0, 30));
}

TEST(NSDateFormatter, OldAndFarDatesFollowTheCalendar) {
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd"), "1582-10-04"), universalTime(1582, 10, 14));
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd"), "0001-01-01"), universalTime(0, 12, 30));
  EXPECT_SAME_DATE(read(english("yyyy-MM-dd"), "12345-02-28"), universalTime(12345, 2, 28));
  EXPECT_SAME_DATE(read(english("yyyy G"), "44 BC"), universalTime(-44, 12, 30));
}

TEST(NSDateFormatter, StyledTextIsReadBack) {
  for (const char* locale : {"en_US", "de_DE", "fr_FR", "ja_JP"}) {
    const auto formatter = make<NSDateFormatter>();
    formatter->setLocale(NSLocale::localeWithLocaleIdentifier(NSString::stringWithUTF8String(locale)));
    formatter->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
    formatter->setDateStyle(NSDateFormatterLongStyle);
    formatter->setTimeStyle(NSDateFormatterMediumStyle);
    const auto date = universalTime(2024, 3, 5, 14, 7, 9);
    EXPECT_SAME_DATE(formatter->dateFromString(formatter->stringFromDate(date)), date) << locale;
  }
}

TEST(NSDateFormatter, OneFormatterServesManyThreads) {
  const auto formatter = english("yyyy-MM-dd HH:mm:ss");
  std::vector<std::thread> threads;
  std::atomic<int> failures = 0;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 200; ++i) {
        const auto date = universalTime(2000 + thread, 3, 5, 1, 2, i % 60);
        if (!isSameDate(formatter->dateFromString(formatter->stringFromDate(date)), date)) ++failures;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
