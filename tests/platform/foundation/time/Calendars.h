#pragma once

#include <string>

#include <gtest/gtest.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSCalendar.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateComponents.h"
#include "foundation/time/NSTimeZone.h"
#include "testing/Dates.h"

// Calendars, and the dates that they show.
namespace calendars {

inline constexpr NSUInteger dayUnits = NSCalendarUnitEra | NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay;
inline constexpr NSUInteger timeUnits = NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond;

// The Gregorian calendar in that zone, with weeks as in the United States.
inline Ref<NSCalendar> gregorian(const char* zone) {
  return make<NSCalendar>(NSCalendarIdentifierGregorian(), NSLocale::localeWithLocaleIdentifier("en_US"_ns),
                          NSTimeZone::timeZoneWithName(NSString::stringWithUTF8String(zone)));
}

inline Ref<NSDateComponents> moment(NSInteger year, NSInteger month, NSInteger day, NSInteger hour = 0,
                                    NSInteger minute = 0, NSInteger second = 0) {
  const auto components = make<NSDateComponents>();
  components->setYear(year);
  components->setMonth(month);
  components->setDay(day);
  components->setHour(hour);
  components->setMinute(minute);
  components->setSecond(second);
  return components;
}

inline Ref<NSDateComponents> span(NSDateComponents::Field field, NSInteger amount) {
  const auto components = make<NSDateComponents>();
  components->setValue(field, amount);
  return components;
}

// "AD 2024-03-05 14:07:09"
inline std::string shown(const Ref<NSCalendar>& calendar, const Ref<NSDate>& date) {
  const auto parts = calendar->components_fromDate(dayUnits | timeUnits, date);
  if (!parts) return "nil";
  return NSString::stringWithFormat("%s %04ld-%02ld-%02ld %02ld:%02ld:%02ld"_ns, parts->era() == 1 ? "AD" : "BC",
                                    parts->year(), parts->month(), parts->day(), parts->hour(), parts->minute(),
                                    parts->second())
      ->UTF8String();
}

inline double hoursOf(const Ref<NSCalendar>& calendar, NSCalendarUnit unit, const Ref<NSDate>& date) {
  NSTimeInterval seconds = 0.0;
  EXPECT_TRUE(calendar->rangeOfUnit_startDate_interval_forDate(unit, nullptr, &seconds, date));
  return seconds / 3600.0;
}

}  // namespace calendars
