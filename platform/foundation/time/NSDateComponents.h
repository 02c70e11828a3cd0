#pragma once

#include <array>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSTimeZone;

// What a component reads that was not set.
inline constexpr NSInteger NSDateComponentUndefined = NSIntegerMax;

// The parts of a date, of a time of day or of a span of time, as a calendar counts them: months and days from 1, days
// of the week from 1 = Sunday. Holds any values; a calendar makes sense of them. One thread at a time.
class NSDateComponents : public NSObject {
  NS_OBJECT(NSDateComponents, NSObject)

 public:
  enum Field {
    Era,
    Year,
    Month,
    Day,
    Hour,
    Minute,
    Second,
    Weekday,
    WeekdayOrdinal,
    WeekOfMonth,
    WeekOfYear,
    YearForWeekOfYear,
    FieldCount
  };

  NSDateComponents();
  ~NSDateComponents() override;

  NSInteger era() const { return value(Era); }
  NSInteger year() const { return value(Year); }
  NSInteger month() const { return value(Month); }
  NSInteger day() const { return value(Day); }
  NSInteger hour() const { return value(Hour); }
  NSInteger minute() const { return value(Minute); }
  NSInteger second() const { return value(Second); }
  NSInteger weekday() const { return value(Weekday); }
  NSInteger weekdayOrdinal() const { return value(WeekdayOrdinal); }
  NSInteger weekOfMonth() const { return value(WeekOfMonth); }
  NSInteger weekOfYear() const { return value(WeekOfYear); }
  NSInteger yearForWeekOfYear() const { return value(YearForWeekOfYear); }

  void setEra(NSInteger era) { setValue(Era, era); }
  void setYear(NSInteger year) { setValue(Year, year); }
  void setMonth(NSInteger month) { setValue(Month, month); }
  void setDay(NSInteger day) { setValue(Day, day); }
  void setHour(NSInteger hour) { setValue(Hour, hour); }
  void setMinute(NSInteger minute) { setValue(Minute, minute); }
  void setSecond(NSInteger second) { setValue(Second, second); }
  void setWeekday(NSInteger weekday) { setValue(Weekday, weekday); }
  void setWeekdayOrdinal(NSInteger ordinal) { setValue(WeekdayOrdinal, ordinal); }
  void setWeekOfMonth(NSInteger week) { setValue(WeekOfMonth, week); }
  void setWeekOfYear(NSInteger week) { setValue(WeekOfYear, week); }
  void setYearForWeekOfYear(NSInteger year) { setValue(YearForWeekOfYear, year); }

  // In calendars that repeat a month in some years (the Chinese one): whether the month is the repeated one.
  bool isLeapMonth() const { return leapMonth_; }
  void setLeapMonth(bool leapMonth) { leapMonth_ = leapMonth; }

  // The zone that the components are meant in; nil leaves it to the calendar.
  const Ref<NSTimeZone>& timeZone() const { return timeZone_; }
  void setTimeZone(const Ref<NSTimeZone>& timeZone);

  // The same by field, for code that walks over all of them.
  NSInteger value(Field field) const { return values_[field]; }
  void setValue(Field field, NSInteger value) { values_[field] = value; }
  bool isSet(Field field) const { return values_[field] != NSDateComponentUndefined; }

 private:
  std::array<NSInteger, FieldCount> values_;
  bool leapMonth_ = false;
  Ref<NSTimeZone> timeZone_;
};

TELVO_NAMESPACE_END
