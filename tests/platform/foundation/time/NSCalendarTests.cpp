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

namespace {

constexpr NSUInteger dayUnits = NSCalendarUnitEra | NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay;
constexpr NSUInteger timeUnits = NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond;

// The Gregorian calendar in that zone, with weeks as in the United States.
Ref<NSCalendar> gregorian(const char* zone) {
  return make<NSCalendar>(NSCalendarIdentifierGregorian(), NSLocale::localeWithLocaleIdentifier("en_US"_ns),
                          NSTimeZone::timeZoneWithName(NSString::stringWithUTF8String(zone)));
}

Ref<NSDateComponents> moment(NSInteger year, NSInteger month, NSInteger day, NSInteger hour = 0, NSInteger minute = 0,
                             NSInteger second = 0) {
  const auto components = make<NSDateComponents>();
  components->setYear(year);
  components->setMonth(month);
  components->setDay(day);
  components->setHour(hour);
  components->setMinute(minute);
  components->setSecond(second);
  return components;
}

Ref<NSDateComponents> span(NSDateComponents::Field field, NSInteger amount) {
  const auto components = make<NSDateComponents>();
  components->setValue(field, amount);
  return components;
}

// "AD 2024-03-05 14:07:09"
std::string shown(const Ref<NSCalendar>& calendar, const Ref<NSDate>& date) {
  const auto parts = calendar->components_fromDate(dayUnits | timeUnits, date);
  if (!parts) return "nil";
  return NSString::stringWithFormat("%s %04ld-%02ld-%02ld %02ld:%02ld:%02ld"_ns, parts->era() == 1 ? "AD" : "BC",
                                    parts->year(), parts->month(), parts->day(), parts->hour(), parts->minute(),
                                    parts->second())
      ->UTF8String();
}

Ref<NSDate> startOf(const Ref<NSCalendar>& calendar, NSCalendarUnit unit, const Ref<NSDate>& date) {
  Ref<NSDate> start;
  EXPECT_TRUE(calendar->rangeOfUnit_startDate_interval_forDate(unit, &start, nullptr, date));
  return start;
}

double hoursOf(const Ref<NSCalendar>& calendar, NSCalendarUnit unit, const Ref<NSDate>& date) {
  NSTimeInterval seconds = 0.0;
  EXPECT_TRUE(calendar->rangeOfUnit_startDate_interval_forDate(unit, nullptr, &seconds, date));
  return seconds / 3600.0;
}

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

// ---- Adding

TEST(NSCalendar, DaysAndLongerUnitsKeepTheTimeOfDay) {
  const auto berlin = gregorian("Europe/Berlin");
  const auto beforeSpring = berlin->dateFromComponents(moment(2024, 3, 30, 12));
  const auto add = [&](NSDateComponents::Field field, NSInteger amount) {
    return shown(berlin, berlin->dateByAddingComponents_toDate_options(span(field, amount), beforeSpring, 0));
  };
  EXPECT_EQ(add(NSDateComponents::Day, 1), "AD 2024-03-31 12:00:00");
  EXPECT_EQ(add(NSDateComponents::WeekOfYear, 1), "AD 2024-04-06 12:00:00");
  EXPECT_EQ(add(NSDateComponents::WeekOfMonth, -1), "AD 2024-03-23 12:00:00");
  EXPECT_EQ(add(NSDateComponents::Month, 1), "AD 2024-04-30 12:00:00");
  EXPECT_EQ(add(NSDateComponents::Year, -1), "AD 2023-03-30 12:00:00");
  EXPECT_EQ(add(NSDateComponents::Hour, 24), "AD 2024-03-31 13:00:00");
}

TEST(NSCalendar, HoursAreElapsedTimeAcrossARepeatedHour) {
  const auto berlin = gregorian("Europe/Berlin");
  const auto date = berlin->dateFromComponents(moment(2024, 10, 27, 1, 30));
  const auto later = [&](NSInteger hours) {
    return shown(berlin, berlin->dateByAddingComponents_toDate_options(span(NSDateComponents::Hour, hours), date, 0));
  };
  EXPECT_EQ(later(1), "AD 2024-10-27 02:30:00");
  EXPECT_EQ(later(2), "AD 2024-10-27 02:30:00");
  EXPECT_EQ(later(3), "AD 2024-10-27 03:30:00");
}

TEST(NSCalendar, DayThatTheMonthDoesNotHaveBecomesItsLast) {
  const auto utc = gregorian("UTC");
  const auto add = [&](NSDateComponents::Field field, NSInteger amount, const Ref<NSDate>& date) {
    return shown(utc, utc->dateByAddingComponents_toDate_options(span(field, amount), date, 0));
  };
  EXPECT_EQ(add(NSDateComponents::Month, 1, universalTime(2024, 1, 31)), "AD 2024-02-29 00:00:00");
  EXPECT_EQ(add(NSDateComponents::Month, 1, universalTime(2023, 1, 31)), "AD 2023-02-28 00:00:00");
  EXPECT_EQ(add(NSDateComponents::Year, 1, universalTime(2024, 2, 29)), "AD 2025-02-28 00:00:00");
  EXPECT_EQ(add(NSDateComponents::Year, 4, universalTime(2024, 2, 29)), "AD 2028-02-29 00:00:00");
}

TEST(NSCalendar, LargerUnitsAreAddedFirst) {
  const auto components = make<NSDateComponents>();
  components->setMonth(1);
  components->setDay(1);
  components->setHour(1);
  components->setMinute(-1);
  const auto utc = gregorian("UTC");
  EXPECT_EQ(shown(utc, utc->dateByAddingComponents_toDate_options(components, universalTime(2023, 1, 31), 0)),
            "AD 2023-03-01 00:59:00");
}

TEST(NSCalendar, FractionsOfASecondSurviveAdding) {
  const auto date = NSDate::dateWithTimeIntervalSinceReferenceDate(0.123456789);
  const auto later = gregorian("UTC")->dateByAddingComponents_toDate_options(span(NSDateComponents::Day, 1), date, 0);
  EXPECT_EQ(later->timeIntervalSinceReferenceDate(), 0.123456789 + 86400.0);
}

// ---- Counting the units between two dates

TEST(NSCalendar, DifferencesAreTruncatedTowardZero) {
  const auto utc = gregorian("UTC");
  const auto start = universalTime(2024, 1, 31, 12);
  const auto count = [&](NSCalendarUnit unit, NSDateComponents::Field field, const Ref<NSDate>& end) {
    return utc->components_fromDate_toDate_options(unit, start, end, 0)->value(field);
  };
  EXPECT_EQ(count(NSCalendarUnitDay, NSDateComponents::Day, universalTime(2024, 2, 2, 11, 59, 59)), 1);
  EXPECT_EQ(count(NSCalendarUnitDay, NSDateComponents::Day, universalTime(2024, 2, 2, 12)), 2);
  EXPECT_EQ(count(NSCalendarUnitDay, NSDateComponents::Day, universalTime(2024, 1, 29, 12, 0, 1)), -1);
  EXPECT_EQ(count(NSCalendarUnitDay, NSDateComponents::Day, universalTime(2024, 1, 29, 12)), -2);
  EXPECT_EQ(count(NSCalendarUnitMonth, NSDateComponents::Month, universalTime(2024, 2, 29, 11)), 0);
  EXPECT_EQ(count(NSCalendarUnitMonth, NSDateComponents::Month, universalTime(2024, 2, 29, 12)), 1);
  EXPECT_EQ(count(NSCalendarUnitYear, NSDateComponents::Year, universalTime(2034, 1, 31, 11)), 9);
  EXPECT_EQ(count(NSCalendarUnitWeekOfYear, NSDateComponents::WeekOfYear, universalTime(2024, 2, 14, 12)), 2);
}

TEST(NSCalendar, SecondsAreCountedBeyondThirtyTwoBits) {
  const auto utc = gregorian("UTC");
  const auto count = utc->components_fromDate_toDate_options(NSCalendarUnitSecond, universalTime(1000, 1, 1),
                                                             universalTime(12000, 1, 1), 0);
  const auto expected = universalTime(12000, 1, 1)->timeIntervalSinceDate(universalTime(1000, 1, 1));
  EXPECT_EQ(static_cast<double>(count->second()), expected);
}

TEST(NSCalendar, SeveralUnitsShareTheSpan) {
  const auto utc = gregorian("UTC");
  const auto parts = utc->components_fromDate_toDate_options(dayUnits | timeUnits | NSCalendarUnitWeekOfMonth,
                                                             universalTime(2022, 2, 27, 23, 0, 0),
                                                             universalTime(2024, 3, 9, 1, 2, 3), 0);
  EXPECT_EQ(parts->year(), 2);
  EXPECT_EQ(parts->month(), 0);
  EXPECT_EQ(parts->weekOfMonth(), 1);
  EXPECT_EQ(parts->day(), 3);
  EXPECT_EQ(parts->hour(), 2);
  EXPECT_EQ(parts->minute(), 2);
  EXPECT_EQ(parts->second(), 3);
  EXPECT_FALSE(parts->isSet(NSDateComponents::Era));
}

TEST(NSCalendar, DaysOfTwentyThreeAndTwentyFiveHoursAreWholeDays) {
  const auto berlin = gregorian("Europe/Berlin");
  for (const unsigned month : {3U, 10U}) {
    const NSInteger changeDay = month == 3 ? 31 : 27;
    const auto before = berlin->dateFromComponents(moment(2024, month, changeDay, 0));
    const auto after = berlin->dateFromComponents(moment(2024, month, changeDay + 1, 0));
    EXPECT_EQ(berlin->components_fromDate_toDate_options(NSCalendarUnitDay, before, after, 0)->day(), 1);
    EXPECT_EQ(berlin->components_fromDate_toDate_options(NSCalendarUnitDay, after, before, 0)->day(), -1);
    const auto hours = berlin->components_fromDate_toDate_options(NSCalendarUnitHour, before, after, 0)->hour();
    EXPECT_EQ(hours, month == 3 ? 23 : 25);
  }
}

TEST(NSCalendar, BinaryFractionsDoNotLoseAUnit) {
  const auto utc = gregorian("UTC");
  for (int i = 0; i < 1000; ++i) {
    const auto start = NSDate::dateWithTimeIntervalSinceReferenceDate(i * 0.1);
    const auto hour = utc->dateByAddingComponents_toDate_options(span(NSDateComponents::Hour, 1), start, 0);
    const auto month = utc->dateByAddingComponents_toDate_options(span(NSDateComponents::Month, 1), start, 0);
    EXPECT_EQ(utc->components_fromDate_toDate_options(NSCalendarUnitHour, start, hour, 0)->hour(), 1);
    EXPECT_EQ(utc->components_fromDate_toDate_options(NSCalendarUnitHour, hour, start, 0)->hour(), -1);
    EXPECT_EQ(utc->components_fromDate_toDate_options(NSCalendarUnitMonth, start, month, 0)->month(), 1);
  }
}

TEST(NSCalendar, AddingADifferenceLeadsBack) {
  for (const char* zone : {"UTC", "Europe/Berlin", "Asia/Kolkata", "Pacific/Kiritimati", "America/Sao_Paulo"}) {
    const auto calendar = gregorian(zone);
    const auto end = universalTime(2018, 11, 4, 17, 3, 1);
    for (int step = -4000; step < 4000; step += 37) {
      const auto start = end->dateByAddingTimeInterval(step * 86400.0 * 0.37);
      const auto parts = calendar->components_fromDate_toDate_options(
          NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay | timeUnits, start, end, 0);
      const auto back = calendar->dateByAddingComponents_toDate_options(parts, start, 0);
      EXPECT_LT(std::fabs(back->timeIntervalSinceDate(end)), 1.0) << zone << " " << step;
    }
  }
}

// ---- Ranges

TEST(NSCalendar, DaysBeginAtTheirFirstMoment) {
  const auto berlin = gregorian("Europe/Berlin");
  EXPECT_SAME_DATE(startOf(berlin, NSCalendarUnitDay, universalTime(2024, 3, 31, 12)), universalTime(2024, 3, 30, 23));
  EXPECT_EQ(hoursOf(berlin, NSCalendarUnitDay, universalTime(2024, 3, 31, 12)), 23.0);
  EXPECT_EQ(hoursOf(berlin, NSCalendarUnitDay, universalTime(2024, 10, 27, 12)), 25.0);

  const auto saoPaulo = gregorian("America/Sao_Paulo");
  const auto withoutMidnight = universalTime(2018, 11, 4, 12);
  EXPECT_EQ(shown(saoPaulo, startOf(saoPaulo, NSCalendarUnitDay, withoutMidnight)), "AD 2018-11-04 01:00:00");
  EXPECT_EQ(hoursOf(saoPaulo, NSCalendarUnitDay, withoutMidnight), 23.0);
  EXPECT_EQ(hoursOf(saoPaulo, NSCalendarUnitDay, universalTime(2018, 2, 17, 12)), 25.0);

  // Clocks that went from 01:00 back to 00:00 showed midnight twice: the day began at the first one.
  const auto havana = gregorian("America/Havana");
  EXPECT_SAME_DATE(startOf(havana, NSCalendarUnitDay, universalTime(2015, 11, 1, 12)), universalTime(2015, 11, 1, 4));

  // From 23:30 to 00:30: midnight lies in the middle of the gap.
  const auto toronto = gregorian("America/Toronto");
  EXPECT_EQ(shown(toronto, startOf(toronto, NSCalendarUnitDay, universalTime(1919, 3, 31, 12))),
            "AD 1919-03-31 00:30:00");
}

TEST(NSCalendar, MonthsYearsAndWeeksBeginAtTheirFirstMoment) {
  const auto kolkata = gregorian("Asia/Kolkata");
  const auto date = universalTime(2024, 2, 15, 12);
  EXPECT_SAME_DATE(startOf(kolkata, NSCalendarUnitMonth, date), universalTime(2024, 1, 31, 18, 30));
  EXPECT_EQ(hoursOf(kolkata, NSCalendarUnitMonth, date), 29.0 * 24.0);
  EXPECT_SAME_DATE(startOf(kolkata, NSCalendarUnitYear, date), universalTime(2023, 12, 31, 18, 30));
  EXPECT_EQ(hoursOf(kolkata, NSCalendarUnitYear, date), 366.0 * 24.0);
  EXPECT_SAME_DATE(startOf(kolkata, NSCalendarUnitWeekOfYear, date), universalTime(2024, 2, 10, 18, 30));
  EXPECT_EQ(hoursOf(kolkata, NSCalendarUnitWeekOfMonth, date), 7.0 * 24.0);

  const auto asuncion = gregorian("America/Asuncion");
  EXPECT_EQ(shown(asuncion, startOf(asuncion, NSCalendarUnitMonth, universalTime(2017, 10, 15))),
            "AD 2017-10-01 01:00:00");
}

TEST(NSCalendar, OtherUnitsHaveNoRange) {
  Ref<NSDate> start;
  EXPECT_FALSE(gregorian("UTC")->rangeOfUnit_startDate_interval_forDate(NSCalendarUnitWeekday, &start, nullptr,
                                                                        universalTime(2024, 1, 1)));
  EXPECT_EQ(start, nil);
}

TEST(NSCalendar, OrdinalsCountFromOne) {
  const auto utc = gregorian("UTC");
  const auto ordinal = [&](NSCalendarUnit smaller, NSCalendarUnit larger, const Ref<NSDate>& date) {
    return utc->ordinalityOfUnit_inUnit_forDate(smaller, larger, date);
  };
  EXPECT_EQ(ordinal(NSCalendarUnitDay, NSCalendarUnitYear, universalTime(2024, 1, 1)), 1U);
  EXPECT_EQ(ordinal(NSCalendarUnitDay, NSCalendarUnitYear, universalTime(2024, 12, 31)), 366U);
  EXPECT_EQ(ordinal(NSCalendarUnitDay, NSCalendarUnitYear, universalTime(2023, 12, 31)), 365U);
  EXPECT_EQ(ordinal(NSCalendarUnitDay, NSCalendarUnitMonth, universalTime(2024, 2, 29)), 29U);
  EXPECT_EQ(ordinal(NSCalendarUnitWeekOfYear, NSCalendarUnitYear, universalTime(2024, 1, 7)), 2U);
  EXPECT_EQ(ordinal(NSCalendarUnitWeekOfMonth, NSCalendarUnitMonth, universalTime(2024, 3, 31)), 6U);
  EXPECT_EQ(ordinal(NSCalendarUnitYear, NSCalendarUnitDay, universalTime(2024, 1, 1)), NSNotFound);
}

// ---- Setting the time of day

TEST(NSCalendar, TimeOfDayIsSetOnTheDatesDay) {
  const auto kiritimati = gregorian("Pacific/Kiritimati");
  const auto date = universalTime(2024, 3, 5, 14, 7, 9)->dateByAddingTimeInterval(0.25);  // the 6th there
  EXPECT_EQ(shown(kiritimati, kiritimati->dateBySettingHour_minute_second_ofDate_options(23, 59, 58, date, 0)),
            "AD 2024-03-06 23:59:58");
  EXPECT_SAME_DATE(kiritimati->dateBySettingHour_minute_second_ofDate_options(0, 0, 0, date, 0),
                   universalTime(2024, 3, 5, 10));
}

TEST(NSCalendar, TimeOfDayInAGapIsTheEndOfTheGap) {
  const auto berlin = gregorian("Europe/Berlin");
  EXPECT_SAME_DATE(berlin->dateBySettingHour_minute_second_ofDate_options(2, 30, 0, universalTime(2024, 3, 31, 12), 0),
                   universalTime(2024, 3, 31, 1));
}

TEST(NSCalendar, TimeOfDayThatOccursTwiceKeepsTheDatesOffset) {
  const auto berlin = gregorian("Europe/Berlin");
  const auto first = universalTime(2024, 10, 27, 0, 45);
  const auto second = universalTime(2024, 10, 27, 1, 45);
  EXPECT_SAME_DATE(berlin->dateBySettingHour_minute_second_ofDate_options(2, 0, 0, first, 0),
                   universalTime(2024, 10, 27, 0));
  EXPECT_SAME_DATE(berlin->dateBySettingHour_minute_second_ofDate_options(2, 0, 0, second, 0),
                   universalTime(2024, 10, 27, 1));
}

TEST(NSCalendar, TimeOfDayThatNoClockShowsGivesNil) {
  const auto utc = gregorian("UTC");
  const auto date = universalTime(2024, 3, 5);
  EXPECT_EQ(utc->dateBySettingHour_minute_second_ofDate_options(24, 0, 0, date, 0), nil);
  EXPECT_EQ(utc->dateBySettingHour_minute_second_ofDate_options(0, 60, 0, date, 0), nil);
  EXPECT_EQ(utc->dateBySettingHour_minute_second_ofDate_options(0, 0, -1, date, 0), nil);
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
