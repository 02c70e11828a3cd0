#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSCalendar.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateComponents.h"
#include "foundation/time/NSTimeZone.h"
#include "testing/Dates.h"
#include "testing/EnvironmentVariable.h"
#include "tests/platform/foundation/time/Calendars.h"

namespace {

using namespace calendars;

// ---- Components of a date

TEST(NSCalendar, ComponentsAreThoseOfTheZone) {
  const auto date = universalTime(2024, 3, 5, 14, 7, 9);
  EXPECT_EQ(shown(gregorian("UTC"), date), "AD 2024-03-05 14:07:09");
  EXPECT_EQ(shown(gregorian("Europe/Berlin"), date), "AD 2024-03-05 15:07:09");
  EXPECT_EQ(shown(gregorian("Asia/Kolkata"), date), "AD 2024-03-05 19:37:09");
  EXPECT_EQ(shown(gregorian("Pacific/Kiritimati"), date), "AD 2024-03-06 04:07:09");
  EXPECT_EQ(shown(gregorian("America/Sao_Paulo"), date), "AD 2024-03-05 11:07:09");
}

TEST(NSCalendar, OnlyTheComponentsAskedForAreSet) {
  const auto components = gregorian("UTC")->components_fromDate(NSCalendarUnitMonth, universalTime(2024, 3, 5));
  EXPECT_EQ(components->month(), 3);
  EXPECT_EQ(components->year(), NSDateComponentUndefined);
  EXPECT_FALSE(components->isSet(NSDateComponents::Day));
}

TEST(NSCalendar, FractionsOfASecondAreCutDownward) {
  const auto utc = gregorian("UTC");
  EXPECT_EQ(shown(utc, NSDate::dateWithTimeIntervalSince1970(0.999)), "AD 1970-01-01 00:00:00");
  EXPECT_EQ(shown(utc, NSDate::dateWithTimeIntervalSince1970(-0.001)), "AD 1969-12-31 23:59:59");
}

TEST(NSCalendar, WeeksBeginAndCountByLocale) {
  const auto date = universalTime(2021, 1, 3);  // a Sunday
  const auto components = [&](const char* locale) {
    return make<NSCalendar>(NSCalendarIdentifierGregorian(),
                            NSLocale::localeWithLocaleIdentifier(NSString::stringWithUTF8String(locale)),
                            NSTimeZone::timeZoneForSecondsFromGMT(0))
        ->components_fromDate(NSCalendarUnitWeekday | NSCalendarUnitWeekOfYear | NSCalendarUnitYearForWeekOfYear |
                                  NSCalendarUnitWeekOfMonth | NSCalendarUnitWeekdayOrdinal,
                              date);
  };
  EXPECT_EQ(components("en_US")->weekday(), 1);
  EXPECT_EQ(components("en_US")->weekOfYear(), 2);
  EXPECT_EQ(components("en_US")->yearForWeekOfYear(), 2021);
  EXPECT_EQ(components("en_US")->weekOfMonth(), 2);
  EXPECT_EQ(components("en_US")->weekdayOrdinal(), 1);
  EXPECT_EQ(components("de_DE")->weekday(), 1);
  EXPECT_EQ(components("de_DE")->weekOfYear(), 53);
  EXPECT_EQ(components("de_DE")->yearForWeekOfYear(), 2020);
}

// ---- A date from components

TEST(NSCalendar, DatesAreMadeFromComponents) {
  EXPECT_SAME_DATE(gregorian("UTC")->dateFromComponents(moment(2024, 2, 29, 14, 7, 9)),
                   universalTime(2024, 2, 29, 14, 7, 9));
  EXPECT_SAME_DATE(gregorian("Asia/Kolkata")->dateFromComponents(moment(2024, 2, 29)),
                   universalTime(2024, 2, 28, 18, 30));
}

TEST(NSCalendar, ComponentsThatAreNotSetAreTheFirstOnes) {
  const auto utc = gregorian("UTC");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(make<NSDateComponents>())), "AD 0001-01-01 00:00:00");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(span(NSDateComponents::Year, 2024))), "AD 2024-01-01 00:00:00");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(span(NSDateComponents::Hour, 14))), "AD 0001-01-01 14:00:00");
}

TEST(NSCalendar, ComponentsOutOfRangeCarryOver) {
  const auto utc = gregorian("UTC");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(moment(2023, 14, 30))), "AD 2024-03-01 00:00:00");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(moment(2024, 3, 0))), "AD 2024-02-29 00:00:00");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(moment(2024, 1, 1, -1, 0, -1))), "AD 2023-12-31 22:59:59");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(moment(0, 1, 1))), "BC 0001-01-01 00:00:00");
}

TEST(NSCalendar, ComponentsBringTheirOwnZone) {
  const auto components = moment(2024, 7, 1, 12);
  components->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  EXPECT_SAME_DATE(gregorian("Asia/Tokyo")->dateFromComponents(components), universalTime(2024, 7, 1, 12));
}

TEST(NSCalendar, WeekAndWeekdayMakeADateWhenThereIsNoDay) {
  const auto components = make<NSDateComponents>();
  components->setYearForWeekOfYear(2024);
  components->setWeekOfYear(10);
  components->setWeekday(2);
  EXPECT_SAME_DATE(gregorian("UTC")->dateFromComponents(components), universalTime(2024, 3, 4));
}

TEST(NSCalendar, DayWinsOverAContradictingWeekday) {
  const auto components = moment(2024, 3, 5);  // a Tuesday
  components->setWeekday(1);
  components->setWeekOfYear(1);
  EXPECT_SAME_DATE(gregorian("UTC")->dateFromComponents(components), universalTime(2024, 3, 5));
}

TEST(NSCalendar, SkippedTimesMoveForwardByTheGap) {
  const auto berlin = gregorian("Europe/Berlin");
  EXPECT_EQ(shown(berlin, berlin->dateFromComponents(moment(2024, 3, 31, 2, 30))), "AD 2024-03-31 03:30:00");
  const auto saoPaulo = gregorian("America/Sao_Paulo");
  EXPECT_EQ(shown(saoPaulo, saoPaulo->dateFromComponents(moment(2018, 11, 4))), "AD 2018-11-04 01:00:00");
  EXPECT_EQ(shown(saoPaulo, saoPaulo->dateFromComponents(moment(2018, 11, 4, 12))), "AD 2018-11-04 12:00:00");
}

TEST(NSCalendar, RepeatedTimesAreTheFirstOfTheTwo) {
  EXPECT_SAME_DATE(gregorian("Europe/Berlin")->dateFromComponents(moment(2024, 10, 27, 2, 30)),
                   universalTime(2024, 10, 27, 0, 30));
  EXPECT_SAME_DATE(gregorian("America/Sao_Paulo")->dateFromComponents(moment(2018, 2, 17, 23, 30)),
                   universalTime(2018, 2, 18, 1, 30));
}

// ---- The Gregorian calendar at the edges of its time

TEST(NSCalendar, TenDaysWereLeftOutInOctober1582) {
  const auto utc = gregorian("UTC");
  const auto lastJulianDay = utc->dateFromComponents(moment(1582, 10, 4));
  EXPECT_SAME_DATE(lastJulianDay, universalTime(1582, 10, 14));
  EXPECT_EQ(shown(utc, lastJulianDay->dateByAddingTimeInterval(86400.0)), "AD 1582-10-15 00:00:00");
  EXPECT_EQ(utc->components_fromDate_toDate_options(NSCalendarUnitDay, lastJulianDay,
                                                    utc->dateFromComponents(moment(1582, 10, 16)), 0)
                ->day(),
            2);
  EXPECT_EQ(hoursOf(utc, NSCalendarUnitMonth, lastJulianDay), 21.0 * 24.0);
  EXPECT_EQ(utc->ordinalityOfUnit_inUnit_forDate(NSCalendarUnitDay, NSCalendarUnitYear, universalTime(1582, 12, 31)),
            355U);
}

TEST(NSCalendar, JulianYearsDivisibleByFourHaveALeapDay) {
  const auto utc = gregorian("UTC");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(moment(1500, 2, 29))), "AD 1500-02-29 00:00:00");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(moment(1900, 2, 29))), "AD 1900-03-01 00:00:00");
  EXPECT_EQ(shown(utc, utc->dateFromComponents(moment(2000, 2, 29))), "AD 2000-02-29 00:00:00");
}

TEST(NSCalendar, YearsBeforeChristComeDirectlyBeforeTheYearOne) {
  const auto utc = gregorian("UTC");
  const auto first = utc->dateFromComponents(moment(1, 1, 1));
  EXPECT_EQ(shown(utc, first->dateByAddingTimeInterval(-1.0)), "BC 0001-12-31 23:59:59");
  EXPECT_EQ(shown(utc, utc->dateByAddingComponents_toDate_options(span(NSDateComponents::Year, -44), first, 0)),
            "BC 0044-01-01 00:00:00");
  const auto beforeChrist = moment(44, 3, 15);
  beforeChrist->setEra(0);
  const auto ides = utc->dateFromComponents(beforeChrist);
  EXPECT_EQ(shown(utc, ides), "BC 0044-03-15 00:00:00");
  EXPECT_EQ(shown(utc, utc->dateByAddingComponents_toDate_options(span(NSDateComponents::Year, 50), ides, 0)),
            "AD 0007-03-15 00:00:00");
  EXPECT_EQ(utc->components_fromDate_toDate_options(NSCalendarUnitYear, ides, first, 0)->year(), 43);
}

TEST(NSCalendar, YearsBeyondFourDigits) {
  const auto utc = gregorian("UTC");
  const auto date = utc->dateFromComponents(moment(12345, 2, 28));
  EXPECT_SAME_DATE(date, universalTime(12345, 2, 28));
  EXPECT_EQ(shown(utc, utc->dateByAddingComponents_toDate_options(span(NSDateComponents::Month, -12 * 12000), date, 0)),
            "AD 0345-02-28 00:00:00");
}

TEST(NSCalendar, DatesBeyondAMillionYearsAreTurnedDown) {
  const auto utc = gregorian("UTC");
  const auto today = universalTime(2024, 3, 5);
  for (const double instant : {1e14, -1e14, 1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
    const auto date = NSDate::dateWithTimeIntervalSince1970(instant);
    EXPECT_EQ(utc->components_fromDate(dayUnits, date), nil);
    EXPECT_EQ(utc->components_fromDate_toDate_options(dayUnits, date, today, 0), nil);
    EXPECT_EQ(utc->components_fromDate_toDate_options(dayUnits, today, date, 0), nil);
    EXPECT_EQ(utc->dateByAddingComponents_toDate_options(span(NSDateComponents::Day, 1), date, 0), nil);
    EXPECT_FALSE(utc->rangeOfUnit_startDate_interval_forDate(NSCalendarUnitDay, nullptr, nullptr, date));
    EXPECT_EQ(utc->ordinalityOfUnit_inUnit_forDate(NSCalendarUnitDay, NSCalendarUnitYear, date), NSNotFound);
    EXPECT_EQ(utc->dateBySettingHour_minute_second_ofDate_options(1, 2, 3, date, 0), nil);
  }
}

TEST(NSCalendar, AmountsThatLeadBeyondAMillionYearsGiveNil) {
  const auto utc = gregorian("UTC");
  const auto today = universalTime(2024, 3, 5);
  for (int field = 0; field < NSDateComponents::FieldCount; ++field) {
    for (const NSInteger amount : {NSIntegerMax - 1, std::numeric_limits<NSInteger>::min()}) {
      const auto components = span(static_cast<NSDateComponents::Field>(field), amount);
      EXPECT_EQ(utc->dateFromComponents(components), nil) << field;
    }
  }
  for (const auto field : {NSDateComponents::Year, NSDateComponents::Month, NSDateComponents::WeekOfYear,
                           NSDateComponents::Day, NSDateComponents::Hour, NSDateComponents::Second}) {
    for (const NSInteger amount : {NSIntegerMax - 1, std::numeric_limits<NSInteger>::min()}) {
      EXPECT_EQ(utc->dateByAddingComponents_toDate_options(span(field, amount), today, 0), nil) << field;
    }
  }
}

TEST(NSCalendar, NothingGivesNothing) {
  const auto utc = gregorian("UTC");
  EXPECT_EQ(utc->dateFromComponents(nil), nil);
  EXPECT_EQ(utc->components_fromDate(dayUnits, nil), nil);
  EXPECT_EQ(utc->components_fromDate_toDate_options(dayUnits, nil, nil, 0), nil);
  EXPECT_EQ(utc->dateByAddingComponents_toDate_options(nil, NSDate::date(), 0), nil);
  EXPECT_FALSE(utc->rangeOfUnit_startDate_interval_forDate(NSCalendarUnitDay, nullptr, nullptr, nil));
}

// ---- Which calendar

TEST(NSCalendar, CurrentCalendarIsThatOfTheUsersLocale) {
  const EnvironmentVariable zone("TZ", "UTC");
  const EnvironmentVariable language("LC_ALL", "th_TH.UTF-8");
  const auto thai = NSCalendar::currentCalendar();
  EXPECT_EQ(thai->calendarIdentifier()->UTF8String(), "buddhist");
  EXPECT_EQ(thai->components_fromDate(NSCalendarUnitYear, universalTime(2024, 3, 5))->year(), 2567);
  setenv("LC_ALL", "de_DE.UTF-8", 1);
  EXPECT_EQ(NSCalendar::currentCalendar()->calendarIdentifier()->UTF8String(), "gregorian");
}

TEST(NSCalendar, CalendarWithoutAZoneFollowsTheDefaultZone) {
  const auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian());
  const EnvironmentVariable zone("TZ", "Asia/Tokyo");
  EXPECT_EQ(calendar->timeZone()->name()->UTF8String(), "Asia/Tokyo");
  EXPECT_EQ(shown(calendar, universalTime(2024, 3, 5)), "AD 2024-03-05 09:00:00");
  setenv("TZ", "UTC", 1);
  EXPECT_EQ(shown(calendar, universalTime(2024, 3, 5)), "AD 2024-03-05 00:00:00");
}

TEST(NSCalendar, UnknownIdentifiersGiveNil) {
  EXPECT_EQ(NSCalendar::calendarWithIdentifier(nil), nil);
  EXPECT_EQ(NSCalendar::calendarWithIdentifier(""_ns), nil);
  EXPECT_EQ(NSCalendar::calendarWithIdentifier("stardate"_ns), nil);
  EXPECT_EQ(NSCalendar::calendarWithIdentifier(NSString::stringWithUnits(std::u16string(100'000, u'x'))), nil);
}

TEST(NSCalendar, LeapMonthsOfTheChineseCalendarAreToldApart) {
  const auto chinese = NSCalendar::calendarWithIdentifier("chinese"_ns);
  const EnvironmentVariable zone("TZ", "Asia/Shanghai");
  for (int day = 0; day < 400; day += 3) {
    const auto date = universalTime(2023, 1, 1, 16)->dateByAddingTimeInterval(day * 86400.0);  // midnight there
    const auto components = chinese->components_fromDate(dayUnits, date);
    EXPECT_SAME_DATE(chinese->dateFromComponents(components), date);
  }
}

}  // namespace
