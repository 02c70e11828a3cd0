#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSDate;
class NSDateComponents;
class NSLocale;
class NSString;
class NSTimeZone;

// Units of a calendar; masks of them say which components are wanted.
enum NSCalendarUnit : NSUInteger {
  NSCalendarUnitEra = 1U << 1U,
  NSCalendarUnitYear = 1U << 2U,
  NSCalendarUnitMonth = 1U << 3U,
  NSCalendarUnitDay = 1U << 4U,
  NSCalendarUnitHour = 1U << 5U,
  NSCalendarUnitMinute = 1U << 6U,
  NSCalendarUnitSecond = 1U << 7U,
  NSCalendarUnitWeekday = 1U << 9U,
  NSCalendarUnitWeekdayOrdinal = 1U << 10U,
  NSCalendarUnitWeekOfMonth = 1U << 12U,
  NSCalendarUnitWeekOfYear = 1U << 13U,
  NSCalendarUnitYearForWeekOfYear = 1U << 14U,
};

const Ref<NSString>& NSCalendarIdentifierGregorian();  // "gregorian"

// A way of counting days, in a time zone. Immutable, any thread.
//
// The Gregorian calendar is the historical one: Julian up to 4 October 1582, the next day being 15 October 1582, with
// the eras 0 (BC) and 1 (AD) and no year 0.
//
// A time of day that the clocks skip stands for the moment that it would have been without the change: 02:30 in a gap
// from 02:00 to 03:00 is 03:30, and midnight on a day without one is 01:00. A time of day that occurs twice is the
// first of the two. Hours, minutes and seconds are added and counted as elapsed time, larger units by the calendar, so
// that the time of day is kept.
//
// Dates farther than a million years from now are beyond every calendar: where one is given, or would be the result,
// the answer is nil, false or NSNotFound.
class NSCalendar : public NSObject {
  NS_OBJECT(NSCalendar, NSObject)

 public:
  // With no time zone the calendar is in the default one, which it looks up whenever it is used.
  NSCalendar(Ref<NSString> identifier, Ref<NSLocale> locale, Ref<NSTimeZone> timeZone = nil);
  ~NSCalendar() override;

  // The calendar that the user's locale prescribes, in the default time zone.
  static Ref<NSCalendar> currentCalendar();
  // A calendar that belongs to no locale, its weeks beginning on Sunday, in the default time zone. Nil for an
  // identifier that is not known.
  static Ref<NSCalendar> calendarWithIdentifier(const Ref<NSString>& identifier);

  const Ref<NSString>& calendarIdentifier() const { return identifier_; }
  Ref<NSTimeZone> timeZone() const;

  // Components that are not set count as the first year, month or day, or as 0; ones outside their usual range carry
  // over (month 13, day 0). The components' own time zone comes before the calendar's.
  Ref<NSDate> dateFromComponents(const Ref<NSDateComponents>& components) const;

  // The components that the mask names; the others stay undefined.
  Ref<NSDateComponents> components_fromDate(NSUInteger units, const Ref<NSDate>& date) const;

  // The span from one date to the other in the units of the mask (year, month, week, day, hour, minute, second), the
  // largest first, each a whole number truncated toward zero; negative when the end is the earlier one. Adding them in
  // the same order leads to the end or just short of it. There are no options: pass 0.
  Ref<NSDateComponents> components_fromDate_toDate_options(NSUInteger units, const Ref<NSDate>& start,
                                                           const Ref<NSDate>& end, NSUInteger options) const;

  // Adds the components that are set, the largest unit first. A day that the month does not have becomes its last one.
  // There are no options: pass 0.
  Ref<NSDate> dateByAddingComponents_toDate_options(const Ref<NSDateComponents>& components, const Ref<NSDate>& date,
                                                    NSUInteger options) const;

  // The year, month, week or day that the date lies in: its first moment, whatever the clocks show then, and its length
  // in seconds. Either may be null. False, with nothing stored, for other units.
  bool rangeOfUnit_startDate_interval_forDate(NSCalendarUnit unit, Ref<NSDate>* startDate, NSTimeInterval* interval,
                                              const Ref<NSDate>& date) const;

  // Which one of its kind within the larger unit the date's smaller unit is, counted from 1: a day or a week in its
  // year or month. NSNotFound for other pairs.
  NSUInteger ordinalityOfUnit_inUnit_forDate(NSCalendarUnit smaller, NSCalendarUnit larger,
                                             const Ref<NSDate>& date) const;

  // That time on the date's day. Of two moments that the clocks show it at, the one that keeps the date's distance from
  // GMT; the end of the gap when the clocks skip it. Nil for a time that no clock shows. There are no options: pass 0.
  Ref<NSDate> dateBySettingHour_minute_second_ofDate_options(NSInteger hour, NSInteger minute, NSInteger second,
                                                             const Ref<NSDate>& date, NSUInteger options) const;

  Ref<NSString> description() const override { return identifier_; }
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  Ref<NSString> identifier_;
  Ref<NSLocale> locale_;
  Ref<NSTimeZone> timeZone_;
};

TELVO_NAMESPACE_END
