#pragma once

#include "foundation/time/NSDate.h"

TELVO_NAMESPACE_BEGIN

class NSCalendar;
class NSDateComponents;
class NSDateFormatter;
class NSString;

// Extensions of dates: calendar arithmetic, dates as JSON text, texts for people. A nil date answers nil, 0 or false,
// and where calendars are needed so does every date that they do not reach (see NSCalendar).
//
// Building dates, adding units and counting differences go by the Gregorian calendar. Days without time, components,
// days of the year and month bounds go by the user's calendar, looked up on each call. Both are in the default time
// zone, texts in the user's language, where nothing else is said. Any thread.

// ---- Shared objects

// The one Gregorian calendar of the process.
Ref<NSCalendar> telvo_gregorianCalendar();
Ref<NSCalendar> telvo_gregorianCalendar(const Ref<NSDate>& date);

// The one formatter for "2024-03-05T14:07:09Z", always in UTC. Made by the first call, which is not to race with other
// threads; from then on it may be used on any thread, and is not to be changed.
Ref<NSDateFormatter> telvo_internetDateFormatter();

// ---- Making dates

// In the default time zone, or in GMT. Values outside the usual range carry over (month 13, day 0).
Ref<NSDate> telvo_dateWithYear_month_day_localTimeZone(NSInteger year, NSInteger month, NSInteger day,
                                                       bool localTimeZone);
Ref<NSDate> telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(NSInteger year, NSInteger month,
                                                                          NSInteger day, NSInteger hour,
                                                                          NSInteger minute, NSInteger second,
                                                                          bool localTimeZone);

// Reads with a formatter as it is when new. Since that has neither a style nor a pattern, it reads no text as a date:
// the result is always nil.
Ref<NSDate> telvo_dateWithString(const Ref<NSString>& text);
// Reads an English text of that pattern, in the default time zone unless the text names one; nil when it does not
// match, and for an empty text. Without a pattern the result is nil as above.
Ref<NSDate> telvo_dateWithString_format(const Ref<NSString>& text, const Ref<NSString>& format);

// Reads a JSON date in one of two forms; anything else, be it text or another object, gives nil.
//   "2024-03-05T14:07:09Z"   UTC. A fraction of a second is dropped. Without the "Z" the text is in local standard
//   time.
//   "/Date(1700000000000)/"  milliseconds since 1970 in UTC; a zone behind the number is ignored, no number is 0.
// Texts that begin with "1899-12-30" or "0001-01-01" are what other systems write for a missing date: they give nil
// unless placeholders are allowed.
Ref<NSDate> telvo_dateWithJSONString(const id& text);
Ref<NSDate> telvo_dateWithJSONString_allowPlaceholder(const id& text, bool allowPlaceholder);

// Noon of today.
Ref<NSDate> telvo_dateWithoutTime();

// What has to be added to local standard time to get UTC, in seconds: -3600 in a zone one hour east of Greenwich, in
// summer as in winter.
NSTimeInterval telvo_localTimeOffset();

// ---- Text for programs

// By a pattern, in English and the default time zone; empty without one.
Ref<NSString> telvo_stringWithFormat(const Ref<NSDate>& date, const Ref<NSString>& format);
// "2024-03-05T14:07:09Z"
Ref<NSString> telvo_JSONStringValue(const Ref<NSDate>& date);
// "/Date(1709647629000)/": milliseconds since 1970, shifted by telvo_localTimeOffset(). Reading the text does not shift
// it back. Nil for what is not a finite number of seconds.
Ref<NSString> telvo_oldStyleJSONStringValue(const Ref<NSDate>& date);

// ---- Text for people

// Styles are those of NSDateFormatterStyle. Relative: "today", "yesterday" and the like where the language has a word.
Ref<NSString> telvo_formattedShortDateString(const Ref<NSDate>& date);  // short date
Ref<NSString> telvo_formattedDateString(const Ref<NSDate>& date);       // long date
Ref<NSString> telvo_formattedStringUsingDateStyle_timeStyle(const Ref<NSDate>& date, NSInteger dateStyle,
                                                            NSInteger timeStyle);
Ref<NSString> telvo_formattedStringUsingDateStyle_timeStyle_allowRelative(const Ref<NSDate>& date, NSInteger dateStyle,
                                                                          NSInteger timeStyle, bool allowRelative);
Ref<NSString> telvo_descriptionWithShortDateTime(const Ref<NSDate>& date);
Ref<NSString> telvo_descriptionWithShortDate(const Ref<NSDate>& date);
Ref<NSString> telvo_descriptionWithTime(const Ref<NSDate>& date);  // short time

// A span of time, given in seconds or as the distance between the date and now, in at most maximumUnits units (0: as
// many as it takes) from years to seconds. Units that are 0 are left out; with keepZero, those behind the last one that
// is not 0 stay. Spans of more than 3,650 days give the default value. Other styles count as 0. The styles, each for
// 3,661 and 90,061 seconds (the spaces next to a number are no-break ones in many languages):
//
//   0 positional  en  1:01:01                                     1d 1:01:01
//                 de  1:01:01                                     1 T 1:01:01
//                 fr  1:01:01                                     1j 1:01:01
//                 ja  1:01:01                                     1d 1:01:01
//   1 abbreviated en  1h 1m 1s                                    1d 1h 1m 1s
//                 de  1 Std., 1 Min. und 1 Sek.                   1 T, 1 Std., 1 Min. und 1 Sek.
//                 fr  1h 1min 1s                                  1j 1h 1min 1s
//                 ja  1h1m1s                                      1d1h1m1s
//   2 short       en  1 hr, 1 min, 1 sec                          1 day, 1 hr, 1 min, 1 sec
//                 de  1 Std., 1 Min. und 1 Sek.                   1 Tg., 1 Std., 1 Min. und 1 Sek.
//                 fr  1 h, 1 min et 1 s                           1 j, 1 h, 1 min et 1 s
//                 ja  1 時間 1 分 1 秒                            1 日 1 時間 1 分 1 秒
//   3 full        en  1 hour, 1 minute, 1 second                  1 day, 1 hour, 1 minute, 1 second
//                 de  1 Stunde, 1 Minute und 1 Sekunde            1 Tag, 1 Stunde, 1 Minute und 1 Sekunde
//                 fr  1 heure, 1 minute et 1 seconde              1 jour, 1 heure, 1 minute et 1 seconde
//                 ja  1 時間 1 分 1 秒                            1 日 1 時間 1 分 1 秒
//   4 spelled out en  one hour, one minute, one second            one day, one hour, one minute, one second
//                 de  eine Stunde, eine Minute und eine Sekunde   ein Tag, eine Stunde, eine Minute und eine Sekunde
//                 fr  une heure, une minute et une seconde        un jour, une heure, une minute et une seconde
//                 ja  一時間 一分 一秒                            一日 一時間 一分 一秒
//   5 brief       en  1hr 1min 1sec                               1day 1hr 1min 1sec
//                 de  1Std., 1Min. und 1Sek.                      1Tg., 1Std., 1Min. und 1Sek.
//                 fr  1h 1min 1s                                  1j 1h 1min 1s
//                 ja  1時間1分1秒                                 1日1時間1分1秒
Ref<NSString> telvo_relativeStringForTimeInterval_style_maximumUnits_keepZero_defaultValue(
    NSTimeInterval interval, NSInteger style, NSInteger maximumUnits, bool keepZero, const Ref<NSString>& defaultValue);
Ref<NSString> telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(const Ref<NSDate>& date, NSInteger style,
                                                                               NSInteger maximumUnits, bool keepZero,
                                                                               const Ref<NSString>& defaultValue);

// ---- Day and time of day

// Noon of the date's day. Noon, not midnight, so that a shift of the local offset between writing and reading the date
// does not move the day.
Ref<NSDate> telvo_dateAsDateWithoutTime(const Ref<NSDate>& date);
// Whether the date is anything but the noon of its day.
bool telvo_includesTime(const Ref<NSDate>& date);

bool telvo_isToday(const Ref<NSDate>& date);
// Whether the date's day lies in the range from daysBefore days before today to daysAfter days after it, both included.
bool telvo_isBetweenDaysBefore_daysAfter(const Ref<NSDate>& date, NSInteger daysBefore, NSInteger daysAfter);
// The date's day with the time of day of the other date, measured from noon; noon when there is no other date.
Ref<NSDate> telvo_dateWithTime(const Ref<NSDate>& date, const Ref<NSDate>& time);
// The nearest multiple of that many minutes counted from 2001-01-01 00:00:00 UTC, a half downward; fractions of a
// second are dropped. Before 2001 it is always the next multiple. An increment below 1 gives the start of the date's
// hour.
Ref<NSDate> telvo_dateByAligningToMinuteIncrement(const Ref<NSDate>& date, NSInteger minutes);

// ---- Components

// The units of the mask (NSCalendarUnit).
Ref<NSDateComponents> telvo_components(const Ref<NSDate>& date, NSUInteger units);

NSInteger telvo_second(const Ref<NSDate>& date);
NSInteger telvo_minute(const Ref<NSDate>& date);
NSInteger telvo_hour(const Ref<NSDate>& date);
NSInteger telvo_weekday(const Ref<NSDate>& date);  // 1 is Sunday
NSInteger telvo_day(const Ref<NSDate>& date);
NSInteger telvo_month(const Ref<NSDate>& date);
NSInteger telvo_year(const Ref<NSDate>& date);
NSInteger telvo_dayOfYear(const Ref<NSDate>& date);  // 1 is 1 January

// ---- Adding and counting

// Minutes and hours are elapsed time; days, weeks, months and years keep the time of day. A day that the month does not
// have becomes its last one.
Ref<NSDate> telvo_dateByAddingMinutes(const Ref<NSDate>& date, NSInteger minutes);
Ref<NSDate> telvo_dateByAddingHours(const Ref<NSDate>& date, NSInteger hours);
Ref<NSDate> telvo_dateByAddingDays(const Ref<NSDate>& date, NSInteger days);
Ref<NSDate> telvo_dateByAddingWeeks(const Ref<NSDate>& date, NSInteger weeks);
Ref<NSDate> telvo_dateByAddingMonths(const Ref<NSDate>& date, NSInteger months);
Ref<NSDate> telvo_dateByAddingYears(const Ref<NSDate>& date, NSInteger years);

// Whole units from the date to the other one, truncated toward zero: positive when the other one is later.
NSInteger telvo_differenceInMinutesTo(const Ref<NSDate>& date, const Ref<NSDate>& other);
NSInteger telvo_differenceInHoursTo(const Ref<NSDate>& date, const Ref<NSDate>& other);
NSInteger telvo_differenceInDaysTo(const Ref<NSDate>& date, const Ref<NSDate>& other);
NSInteger telvo_differenceInWeeksTo(const Ref<NSDate>& date, const Ref<NSDate>& other);
NSInteger telvo_differenceInMonthsTo(const Ref<NSDate>& date, const Ref<NSDate>& other);
NSInteger telvo_differenceInYearsTo(const Ref<NSDate>& date, const Ref<NSDate>& other);

// The first moment and the last whole second of the month that lies `months` months after the date's.
Ref<NSDate> telvo_dateOfMonthStartWithOffset(const Ref<NSDate>& date, NSInteger months);
Ref<NSDate> telvo_dateOfMonthEndWithOffset(const Ref<NSDate>& date, NSInteger months);

TELVO_NAMESPACE_END
