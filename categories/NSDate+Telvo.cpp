#include <algorithm>
#include <cmath>

#include "categories/NSDate+Telvo.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSCalendar.h"
#include "foundation/time/NSDateComponents.h"
#include "foundation/time/NSTimeZone.h"

inline namespace telvo {

namespace {

NSInteger component(const Ref<NSDate>& date, NSCalendarUnit unit, NSInteger (NSDateComponents::*field)() const) {
  const auto components = telvo_components(date, unit);
  return components ? (components.get()->*field)() : 0;
}

Ref<NSDate> adding(const Ref<NSCalendar>& calendar, const Ref<NSDate>& date, NSInteger amount,
                   void (NSDateComponents::*setField)(NSInteger)) {
  // The one number that the components would take for "not given".
  if (amount == NSDateComponentUndefined) return nil;
  const auto components = make<NSDateComponents>();
  (components.get()->*setField)(amount);
  return calendar->dateByAddingComponents_toDate_options(components, date, 0);
}

NSInteger difference(const Ref<NSDate>& start, const Ref<NSDate>& end, NSCalendarUnit unit,
                     NSInteger (NSDateComponents::*field)() const) {
  const auto components = telvo_gregorianCalendar()->components_fromDate_toDate_options(unit, start, end, 0);
  return components ? (components.get()->*field)() : 0;
}

Ref<NSDate> monthStart(const Ref<NSCalendar>& calendar, const Ref<NSDate>& date) {
  Ref<NSDate> start;
  calendar->rangeOfUnit_startDate_interval_forDate(NSCalendarUnitMonth, &start, nullptr, date);
  return start;
}

Ref<NSDate> startOfHour(const Ref<NSDate>& date) {
  const auto calendar = NSCalendar::currentCalendar();
  const auto components = calendar->components_fromDate(NSCalendarUnitHour, date);
  if (!components) return nil;
  return calendar->dateBySettingHour_minute_second_ofDate_options(components->hour(), 0, 0, date, 0);
}

const NSCategory category(
    NSDate::classObject(),
    {
        method("telvo_gregorianCalendar"_sel,
               static_cast<Ref<NSCalendar> (*)(const Ref<NSDate>&)>(&telvo_gregorianCalendar)),
        method("telvo_stringWithFormat:"_sel, &telvo_stringWithFormat),
        method("telvo_JSONStringValue"_sel, &telvo_JSONStringValue),
        method("telvo_oldStyleJSONStringValue"_sel, &telvo_oldStyleJSONStringValue),
        method("telvo_formattedShortDateString"_sel, &telvo_formattedShortDateString),
        method("telvo_formattedDateString"_sel, &telvo_formattedDateString),
        method("telvo_formattedStringUsingDateStyle:timeStyle:"_sel, &telvo_formattedStringUsingDateStyle_timeStyle),
        method("telvo_formattedStringUsingDateStyle:timeStyle:allowRelative:"_sel,
               &telvo_formattedStringUsingDateStyle_timeStyle_allowRelative),
        method("telvo_descriptionWithShortDateTime"_sel, &telvo_descriptionWithShortDateTime),
        method("telvo_descriptionWithShortDate"_sel, &telvo_descriptionWithShortDate),
        method("telvo_descriptionWithTime"_sel, &telvo_descriptionWithTime),
        method("telvo_relativeStringWithStyle:maximumUnits:keepZero:defaultValue:"_sel,
               &telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue),
        method("telvo_dateAsDateWithoutTime"_sel, &telvo_dateAsDateWithoutTime),
        method("telvo_includesTime"_sel, &telvo_includesTime),
        method("telvo_isToday"_sel, &telvo_isToday),
        method("telvo_isBetweenDaysBefore:daysAfter:"_sel, &telvo_isBetweenDaysBefore_daysAfter),
        method("telvo_dateWithTime:"_sel, &telvo_dateWithTime),
        method("telvo_dateByAligningToMinuteIncrement:"_sel, &telvo_dateByAligningToMinuteIncrement),
        method("telvo_components:"_sel, &telvo_components),
        method("telvo_second"_sel, &telvo_second),
        method("telvo_minute"_sel, &telvo_minute),
        method("telvo_hour"_sel, &telvo_hour),
        method("telvo_weekday"_sel, &telvo_weekday),
        method("telvo_day"_sel, &telvo_day),
        method("telvo_month"_sel, &telvo_month),
        method("telvo_year"_sel, &telvo_year),
        method("telvo_dayOfYear"_sel, &telvo_dayOfYear),
        method("telvo_dateByAddingMinutes:"_sel, &telvo_dateByAddingMinutes),
        method("telvo_dateByAddingHours:"_sel, &telvo_dateByAddingHours),
        method("telvo_dateByAddingDays:"_sel, &telvo_dateByAddingDays),
        method("telvo_dateByAddingWeeks:"_sel, &telvo_dateByAddingWeeks),
        method("telvo_dateByAddingMonths:"_sel, &telvo_dateByAddingMonths),
        method("telvo_dateByAddingYears:"_sel, &telvo_dateByAddingYears),
        method("telvo_differenceInMinutesTo:"_sel, &telvo_differenceInMinutesTo),
        method("telvo_differenceInHoursTo:"_sel, &telvo_differenceInHoursTo),
        method("telvo_differenceInDaysTo:"_sel, &telvo_differenceInDaysTo),
        method("telvo_differenceInWeeksTo:"_sel, &telvo_differenceInWeeksTo),
        method("telvo_differenceInMonthsTo:"_sel, &telvo_differenceInMonthsTo),
        method("telvo_differenceInYearsTo:"_sel, &telvo_differenceInYearsTo),
        method("telvo_dateOfMonthStartWithOffset:"_sel, &telvo_dateOfMonthStartWithOffset),
        method("telvo_dateOfMonthEndWithOffset:"_sel, &telvo_dateOfMonthEndWithOffset),
    });

}  // namespace

// ---- Shared objects

Ref<NSCalendar> telvo_gregorianCalendar() {
  static const Ref<NSCalendar>& calendar =
      *new Ref<NSCalendar>(NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian()));
  return calendar;
}

Ref<NSCalendar> telvo_gregorianCalendar(const Ref<NSDate>& date) { return date ? telvo_gregorianCalendar() : nil; }

// ---- Making dates

Ref<NSDate> telvo_dateWithYear_month_day_localTimeZone(NSInteger year, NSInteger month, NSInteger day,
                                                       bool localTimeZone) {
  return telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(year, month, day, 0, 0, 0, localTimeZone);
}

Ref<NSDate> telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(NSInteger year, NSInteger month,
                                                                          NSInteger day, NSInteger hour,
                                                                          NSInteger minute, NSInteger second,
                                                                          bool localTimeZone) {
  const auto given = {year, month, day, hour, minute, second};
  if (std::ranges::find(given, NSDateComponentUndefined) != given.end()) return nil;
  const auto components = make<NSDateComponents>();
  components->setTimeZone(localTimeZone ? NSTimeZone::defaultTimeZone() : NSTimeZone::timeZoneForSecondsFromGMT(0));
  components->setYear(year);
  components->setMonth(month);
  components->setDay(day);
  components->setHour(hour);
  components->setMinute(minute);
  components->setSecond(second);
  return telvo_gregorianCalendar()->dateFromComponents(components);
}

Ref<NSDate> telvo_dateWithoutTime() { return telvo_dateAsDateWithoutTime(NSDate::date()); }

NSTimeInterval telvo_localTimeOffset() {
  const auto zone = NSTimeZone::defaultTimeZone();
  // The daylight saving is taken out on purpose: the result is about standard time all the year round.
  return zone->daylightSavingTimeOffset() - static_cast<NSTimeInterval>(zone->secondsFromGMT());
}

// ---- Day and time of day

Ref<NSDate> telvo_dateAsDateWithoutTime(const Ref<NSDate>& date) {
  const auto calendar = NSCalendar::currentCalendar();
  const auto components = calendar->components_fromDate(
      NSCalendarUnitEra | NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay, date);
  if (!components) return nil;
  // Set rather than added to midnight: twelve elapsed hours would end at 11:00 or 13:00 on a day whose clocks change,
  // and then such a day would be one day away from itself or from none of its neighbours.
  components->setHour(12);
  return calendar->dateFromComponents(components);
}

bool telvo_includesTime(const Ref<NSDate>& date) {
  const auto noon = telvo_dateAsDateWithoutTime(date);
  return noon && !date->isEqualToDate(noon);
}

bool telvo_isToday(const Ref<NSDate>& date) {
  const auto noon = telvo_dateAsDateWithoutTime(date);
  return noon && noon->isEqualToDate(telvo_dateWithoutTime());
}

bool telvo_isBetweenDaysBefore_daysAfter(const Ref<NSDate>& date, NSInteger daysBefore, NSInteger daysAfter) {
  const auto day = telvo_dateAsDateWithoutTime(date);
  if (!day) return false;
  const NSInteger distance = telvo_differenceInDaysTo(telvo_dateWithoutTime(), day);
  return distance < 0 ? daysBefore >= -distance : distance <= daysAfter;
}

Ref<NSDate> telvo_dateWithTime(const Ref<NSDate>& date, const Ref<NSDate>& time) {
  auto noon = telvo_dateAsDateWithoutTime(date);
  if (!noon || !time) return noon;
  const auto noonOfTime = telvo_dateAsDateWithoutTime(time);
  return noonOfTime ? noon->dateByAddingTimeInterval(time->timeIntervalSinceDate(noonOfTime)) : nil;
}

Ref<NSDate> telvo_dateByAligningToMinuteIncrement(const Ref<NSDate>& date, NSInteger minutes) {
  if (!date) return nil;
  if (minutes < 1) return startOfHour(date);
  constexpr NSTimeInterval farthest = 9.2e18;  // still a 64-bit number
  const NSTimeInterval exact = date->timeIntervalSinceReferenceDate();
  if (!(std::fabs(exact) < farthest)) return nil;
  const NSInteger increment = std::min(minutes, NSIntegerMax / 60) * 60;
  const auto seconds = static_cast<NSInteger>(exact);
  // The remainder has the sign of the seconds. Before the reference date it is thus never more than half an increment,
  // and the date moves forward.
  const NSInteger remainder = seconds % increment;
  const NSInteger roundedUp = remainder > increment / 2 ? increment : 0;
  // Added as reals, which cannot overflow.
  return NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<NSTimeInterval>(seconds - remainder) +
                                                        static_cast<NSTimeInterval>(roundedUp));
}

// ---- Components

Ref<NSDateComponents> telvo_components(const Ref<NSDate>& date, NSUInteger units) {
  return NSCalendar::currentCalendar()->components_fromDate(units, date);
}

NSInteger telvo_second(const Ref<NSDate>& date) {
  return component(date, NSCalendarUnitSecond, &NSDateComponents::second);
}
NSInteger telvo_minute(const Ref<NSDate>& date) {
  return component(date, NSCalendarUnitMinute, &NSDateComponents::minute);
}
NSInteger telvo_hour(const Ref<NSDate>& date) { return component(date, NSCalendarUnitHour, &NSDateComponents::hour); }
NSInteger telvo_weekday(const Ref<NSDate>& date) {
  return component(date, NSCalendarUnitWeekday, &NSDateComponents::weekday);
}
NSInteger telvo_day(const Ref<NSDate>& date) { return component(date, NSCalendarUnitDay, &NSDateComponents::day); }
NSInteger telvo_month(const Ref<NSDate>& date) {
  return component(date, NSCalendarUnitMonth, &NSDateComponents::month);
}
NSInteger telvo_year(const Ref<NSDate>& date) { return component(date, NSCalendarUnitYear, &NSDateComponents::year); }

NSInteger telvo_dayOfYear(const Ref<NSDate>& date) {
  const NSUInteger day =
      NSCalendar::currentCalendar()->ordinalityOfUnit_inUnit_forDate(NSCalendarUnitDay, NSCalendarUnitYear, date);
  return day == NSNotFound ? 0 : static_cast<NSInteger>(day);
}

// ---- Adding and counting

Ref<NSDate> telvo_dateByAddingMinutes(const Ref<NSDate>& date, NSInteger minutes) {
  return adding(telvo_gregorianCalendar(), date, minutes, &NSDateComponents::setMinute);
}
Ref<NSDate> telvo_dateByAddingHours(const Ref<NSDate>& date, NSInteger hours) {
  return adding(telvo_gregorianCalendar(), date, hours, &NSDateComponents::setHour);
}
Ref<NSDate> telvo_dateByAddingDays(const Ref<NSDate>& date, NSInteger days) {
  return adding(telvo_gregorianCalendar(), date, days, &NSDateComponents::setDay);
}
Ref<NSDate> telvo_dateByAddingWeeks(const Ref<NSDate>& date, NSInteger weeks) {
  return adding(telvo_gregorianCalendar(), date, weeks, &NSDateComponents::setWeekOfYear);
}
Ref<NSDate> telvo_dateByAddingMonths(const Ref<NSDate>& date, NSInteger months) {
  return adding(telvo_gregorianCalendar(), date, months, &NSDateComponents::setMonth);
}
Ref<NSDate> telvo_dateByAddingYears(const Ref<NSDate>& date, NSInteger years) {
  return adding(telvo_gregorianCalendar(), date, years, &NSDateComponents::setYear);
}

NSInteger telvo_differenceInMinutesTo(const Ref<NSDate>& date, const Ref<NSDate>& other) {
  return difference(date, other, NSCalendarUnitMinute, &NSDateComponents::minute);
}
NSInteger telvo_differenceInHoursTo(const Ref<NSDate>& date, const Ref<NSDate>& other) {
  return difference(date, other, NSCalendarUnitHour, &NSDateComponents::hour);
}
NSInteger telvo_differenceInDaysTo(const Ref<NSDate>& date, const Ref<NSDate>& other) {
  return difference(date, other, NSCalendarUnitDay, &NSDateComponents::day);
}
NSInteger telvo_differenceInWeeksTo(const Ref<NSDate>& date, const Ref<NSDate>& other) {
  return difference(date, other, NSCalendarUnitWeekOfYear, &NSDateComponents::weekOfYear);
}
NSInteger telvo_differenceInMonthsTo(const Ref<NSDate>& date, const Ref<NSDate>& other) {
  return difference(date, other, NSCalendarUnitMonth, &NSDateComponents::month);
}
NSInteger telvo_differenceInYearsTo(const Ref<NSDate>& date, const Ref<NSDate>& other) {
  return difference(date, other, NSCalendarUnitYear, &NSDateComponents::year);
}

Ref<NSDate> telvo_dateOfMonthStartWithOffset(const Ref<NSDate>& date, NSInteger months) {
  const auto calendar = NSCalendar::currentCalendar();
  const auto shifted = adding(calendar, monthStart(calendar, date), months, &NSDateComponents::setMonth);
  // Once more the start: the clocks may show another time when one of the two months begins.
  return monthStart(calendar, shifted);
}

Ref<NSDate> telvo_dateOfMonthEndWithOffset(const Ref<NSDate>& date, NSInteger months) {
  if (months == NSIntegerMax) return nil;
  const auto nextMonth = telvo_dateOfMonthStartWithOffset(date, months + 1);
  return nextMonth ? nextMonth->dateByAddingTimeInterval(-1.0) : nil;
}

}  // namespace telvo
