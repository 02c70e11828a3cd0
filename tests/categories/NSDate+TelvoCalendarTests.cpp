#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "categories/NSDate+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/Dates.h"
#include "testing/EnvironmentVariable.h"
#include "tests/categories/LocalDates.h"

// What calendars and clocks make of dates.

namespace {

using namespace dates;

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

}  // namespace
