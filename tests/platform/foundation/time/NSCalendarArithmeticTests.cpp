#include <cmath>

#include <gtest/gtest.h>

#include "foundation/text/NSString.h"
#include "foundation/time/NSCalendar.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateComponents.h"
#include "testing/Dates.h"
#include "tests/platform/foundation/time/Calendars.h"

// What calendars add, count and set.

namespace {

using namespace calendars;

Ref<NSDate> startOf(const Ref<NSCalendar>& calendar, NSCalendarUnit unit, const Ref<NSDate>& date) {
  Ref<NSDate> start;
  EXPECT_TRUE(calendar->rangeOfUnit_startDate_interval_forDate(unit, &start, nullptr, date));
  return start;
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

}  // namespace
