#include "foundation/time/NSCalendar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>

#include <unicode/calendar.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/EngineTimeZone.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateComponents.h"
#include "foundation/time/NSTimeZone.h"

inline namespace telvo {

namespace {

using Milliseconds = double;  // since 1970, or between two instants

constexpr Milliseconds second = 1000.0;
constexpr Milliseconds minute = 60.0 * second;
constexpr Milliseconds hour = 60.0 * minute;
constexpr Milliseconds day = 24.0 * hour;
constexpr Milliseconds year = 365.2425 * day;

// The engine counts days in 32 bits. A million years keeps every sum of the components allowed below within them.
constexpr NSInteger farthestYear = 1'000'000;
constexpr NSInteger farthestDay = 365 * farthestYear;
constexpr NSInteger farthestTime = std::numeric_limits<std::int32_t>::max();

struct FieldRule {
  NSCalendarUnit unit;
  NSDateComponents::Field component;
  UCalendarDateFields field;
  std::int32_t shift;  // from the engine's value to ours
  NSInteger farthest;
};

// In the order of setting them: where fields contradict each other the engine goes by the one set last, and a day of
// the month shall win over a week and a weekday.
constexpr std::array fieldRules = {
    FieldRule{NSCalendarUnitEra, NSDateComponents::Era, UCAL_ERA, 0, farthestYear},
    FieldRule{NSCalendarUnitYearForWeekOfYear, NSDateComponents::YearForWeekOfYear, UCAL_YEAR_WOY, 0, farthestYear},
    FieldRule{NSCalendarUnitYear, NSDateComponents::Year, UCAL_YEAR, 0, farthestYear},
    FieldRule{NSCalendarUnitWeekOfYear, NSDateComponents::WeekOfYear, UCAL_WEEK_OF_YEAR, 0, farthestDay / 7},
    FieldRule{NSCalendarUnitWeekOfMonth, NSDateComponents::WeekOfMonth, UCAL_WEEK_OF_MONTH, 0, farthestDay / 7},
    FieldRule{NSCalendarUnitWeekdayOrdinal, NSDateComponents::WeekdayOrdinal, UCAL_DAY_OF_WEEK_IN_MONTH, 0,
              farthestDay / 7},
    FieldRule{NSCalendarUnitWeekday, NSDateComponents::Weekday, UCAL_DAY_OF_WEEK, 0, farthestDay},
    FieldRule{NSCalendarUnitMonth, NSDateComponents::Month, UCAL_MONTH, 1, 12 * farthestYear},
    FieldRule{NSCalendarUnitDay, NSDateComponents::Day, UCAL_DATE, 0, farthestDay},
    FieldRule{NSCalendarUnitHour, NSDateComponents::Hour, UCAL_HOUR_OF_DAY, 0, farthestTime},
    FieldRule{NSCalendarUnitMinute, NSDateComponents::Minute, UCAL_MINUTE, 0, farthestTime},
    FieldRule{NSCalendarUnitSecond, NSDateComponents::Second, UCAL_SECOND, 0, farthestTime},
};

// Units that are added by the calendar, so that the time of day stays, the largest first.
struct CalendarSpan {
  NSCalendarUnit unit;
  NSDateComponents::Field component;
  UCalendarDateFields field;
  Milliseconds averageLength;
  NSInteger farthest;
};
constexpr std::array calendarSpans = {
    CalendarSpan{NSCalendarUnitYear, NSDateComponents::Year, UCAL_YEAR, year, farthestYear},
    CalendarSpan{NSCalendarUnitMonth, NSDateComponents::Month, UCAL_MONTH, year / 12.0, 12 * farthestYear},
    CalendarSpan{NSCalendarUnitWeekOfYear, NSDateComponents::WeekOfYear, UCAL_WEEK_OF_YEAR, 7.0 * day, farthestDay / 7},
    CalendarSpan{NSCalendarUnitWeekOfMonth, NSDateComponents::WeekOfMonth, UCAL_WEEK_OF_MONTH, 7.0 * day,
                 farthestDay / 7},
    CalendarSpan{NSCalendarUnitDay, NSDateComponents::Day, UCAL_DATE, day, farthestDay},
};

// Units of elapsed time, the largest first.
struct TimeSpan {
  NSCalendarUnit unit;
  NSDateComponents::Field component;
  Milliseconds length;
};
constexpr std::array timeSpans = {
    TimeSpan{NSCalendarUnitHour, NSDateComponents::Hour, hour},
    TimeSpan{NSCalendarUnitMinute, NSDateComponents::Minute, minute},
    TimeSpan{NSCalendarUnitSecond, NSDateComponents::Second, second},
};

bool isCountable(Milliseconds instant) { return std::fabs(instant) <= static_cast<double>(farthestYear) * year; }

Milliseconds instantOf(const Ref<NSDate>& date) { return date->timeIntervalSince1970() * second; }

bool isCountable(const Ref<NSDate>& date) { return date && isCountable(instantOf(date)); }

Ref<NSDate> dateAt(Milliseconds instant) { return NSDate::dateWithTimeIntervalSince1970(instant / second); }

// The engine, set up for one calculation. Errors are collected in it, and every answer asks for them at the end.
class Engine {
 public:
  Engine(const Ref<NSString>& identifier, const Ref<NSLocale>& locale, const Ref<NSTimeZone>& timeZone) {
    icu::Locale place(locale->localeIdentifier()->UTF8String().c_str());
    place.setKeywordValue("calendar", identifier->UTF8String().c_str(), status_);
    calendar_.reset(
        icu::Calendar::createInstance(foundation::engineTimeZone(timeZone->name()).release(), place, status_));
    if (U_FAILURE(status_)) return;
    calendar_->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
  }

  bool failed() const { return U_FAILURE(status_) != 0; }
  const char* type() const { return calendar_->getType(); }
  icu::Calendar& operator*() { return *calendar_; }
  icu::Calendar* operator->() { return calendar_.get(); }

  void setInstant(Milliseconds instant) {
    if (!failed()) calendar_->setTime(std::floor(instant), status_);
  }
  Milliseconds instant() { return failed() ? 0.0 : calendar_->getTime(status_); }
  std::int32_t get(UCalendarDateFields field) { return failed() ? 0 : calendar_->get(field, status_); }
  void set(UCalendarDateFields field, std::int32_t value) {
    if (!failed()) calendar_->set(field, value);
  }
  void add(UCalendarDateFields field, NSInteger amount) {
    if (!failed()) calendar_->add(field, static_cast<std::int32_t>(amount), status_);
  }
  // A time that the clocks skip becomes the end of the gap. (The engine does the same, but only in zones of its own.)
  void setTimeOfDay(NSInteger hours, NSInteger minutes, NSInteger seconds) {
    set(UCAL_HOUR_OF_DAY, static_cast<std::int32_t>(hours));
    set(UCAL_MINUTE, static_cast<std::int32_t>(minutes));
    set(UCAL_SECOND, static_cast<std::int32_t>(seconds));
    set(UCAL_MILLISECOND, 0);
    const bool isShown = get(UCAL_HOUR_OF_DAY) == hours && get(UCAL_MINUTE) == minutes && get(UCAL_SECOND) == seconds;
    if (!isShown) goBackToChangeOfOffset();
  }
  std::int32_t offsetFromGMT() { return get(UCAL_ZONE_OFFSET) + get(UCAL_DST_OFFSET); }

 private:
  // To the moment, within the last day, from which on the clocks have been so far from GMT as they are now.
  void goBackToChangeOfOffset() {
    const std::int32_t offset = offsetFromGMT();
    Milliseconds after = instant();
    Milliseconds before = after - day;
    while (!failed() && after - before > second) {
      const Milliseconds middle = before + std::floor((after - before) / (2.0 * second)) * second;
      setInstant(middle);
      (offsetFromGMT() == offset ? after : before) = middle;
    }
    setInstant(after);
  }

  UErrorCode status_ = U_ZERO_ERROR;
  std::unique_ptr<icu::Calendar> calendar_;
};

// How many whole units lie between two instants, toward zero. `fraction` is the part of a millisecond that `start` has
// beyond what the engine counts.
NSInteger wholeUnits(Engine& engine, const CalendarSpan& span, Milliseconds start, Milliseconds fraction,
                     Milliseconds end) {
  const auto after = [&](NSInteger count) {
    engine.setInstant(start);
    engine.add(span.field, count);
    return engine.instant() + fraction;
  };
  NSInteger count = 0;
  for (;;) {
    const auto step = static_cast<NSInteger>((end - after(count)) / span.averageLength);
    if (step == 0 || engine.failed()) break;
    count += step;
  }
  // The count is off by a few at most, since units differ in length. It is brought to the side of the start.
  const NSInteger onward = end < start + fraction ? -1 : 1;
  const auto overshoots = [&](NSInteger units) { return onward > 0 ? after(units) > end : after(units) < end; };
  while (!engine.failed() && overshoots(count)) count -= onward;
  while (!engine.failed() && !overshoots(count + onward)) count += onward;
  return count;
}

// Puts the engine at the first moment of the unit that it is in. False for units without one.
bool goToStart(Engine& engine, NSCalendarUnit unit) {
  if (unit == NSCalendarUnitYear) {
    engine.set(UCAL_DAY_OF_YEAR, 1);
  } else if (unit == NSCalendarUnitMonth) {
    engine.set(UCAL_DATE, 1);
  } else if (unit == NSCalendarUnitWeekOfYear || unit == NSCalendarUnitWeekOfMonth) {
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t sinceWeekStart = engine.get(UCAL_DAY_OF_WEEK) - engine->getFirstDayOfWeek(status);
    engine.add(UCAL_DATE, -((sinceWeekStart + 7) % 7));
  } else if (unit != NSCalendarUnitDay) {
    return false;
  }
  engine.setTimeOfDay(0, 0, 0);
  return true;
}

UCalendarDateFields addedField(NSCalendarUnit unit) {
  const auto* span = std::ranges::find(calendarSpans, unit, &CalendarSpan::unit);
  return span->field;
}

}  // namespace

const Ref<NSString>& NSCalendarIdentifierGregorian() { return "gregorian"_ns; }

Class NSCalendar::classObject() {
  static const NSClass object("NSCalendar", NSObject::classObject(),
                              {
                                  method("calendarIdentifier"_sel, &NSCalendar::calendarIdentifier),
                                  method("timeZone"_sel, &NSCalendar::timeZone),
                                  method("dateFromComponents:"_sel, &NSCalendar::dateFromComponents),
                                  method("components:fromDate:"_sel, &NSCalendar::components_fromDate),
                              });
  return &object;
}

NSCalendar::NSCalendar(Ref<NSString> identifier, Ref<NSLocale> locale, Ref<NSTimeZone> timeZone)
    : identifier_(std::move(identifier)), locale_(std::move(locale)), timeZone_(std::move(timeZone)) {}

NSCalendar::~NSCalendar() = default;

Ref<NSCalendar> NSCalendar::currentCalendar() {
  const auto locale = NSLocale::currentLocale();
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Calendar> calendar(
      icu::Calendar::createInstance(icu::Locale(locale->localeIdentifier()->UTF8String().c_str()), status));
  const auto identifier =
      U_FAILURE(status) ? NSCalendarIdentifierGregorian() : NSString::stringWithUTF8String(calendar->getType());
  return make<NSCalendar>(identifier, locale);
}

Ref<NSCalendar> NSCalendar::calendarWithIdentifier(const Ref<NSString>& identifier) {
  if (!identifier || identifier->length() == 0) return nil;
  const auto locale = NSLocale::localeWithLocaleIdentifier("en_US_POSIX"_ns);
  const Engine engine(identifier, locale, NSTimeZone::timeZoneForSecondsFromGMT(0));
  // The engine takes the Gregorian calendar for names that it does not know.
  if (engine.failed() || identifier->UTF8String() != engine.type()) return nil;
  return make<NSCalendar>(NSString::stringWithString(identifier), locale);
}

Ref<NSTimeZone> NSCalendar::timeZone() const { return timeZone_ ? timeZone_ : NSTimeZone::defaultTimeZone(); }

Ref<NSDate> NSCalendar::dateFromComponents(const Ref<NSDateComponents>& components) const {
  if (!components) return nil;
  Engine engine(identifier_, locale_, components->timeZone() ? components->timeZone() : timeZone());
  if (engine.failed()) return nil;
  engine->clear();
  if (!components->isSet(NSDateComponents::YearForWeekOfYear)) engine.set(UCAL_YEAR, 1);
  for (const FieldRule& rule : fieldRules) {
    if (!components->isSet(rule.component)) continue;
    const NSInteger value = components->value(rule.component);
    if (value < -rule.farthest || value > rule.farthest) return nil;
    engine.set(rule.field, static_cast<std::int32_t>(value) - rule.shift);
  }
  if (components->isLeapMonth()) engine.set(UCAL_IS_LEAP_MONTH, 1);
  const Milliseconds instant = engine.instant();
  return engine.failed() || !isCountable(instant) ? nil : dateAt(instant);
}

Ref<NSDateComponents> NSCalendar::components_fromDate(NSUInteger units, const Ref<NSDate>& date) const {
  if (!isCountable(date)) return nil;
  Engine engine(identifier_, locale_, timeZone());
  engine.setInstant(instantOf(date));
  const auto components = make<NSDateComponents>();
  for (const FieldRule& rule : fieldRules) {
    if ((units & rule.unit) != 0) components->setValue(rule.component, engine.get(rule.field) + rule.shift);
  }
  if ((units & NSCalendarUnitMonth) != 0) components->setLeapMonth(engine.get(UCAL_IS_LEAP_MONTH) != 0);
  return engine.failed() ? nil : components;
}

Ref<NSDateComponents> NSCalendar::components_fromDate_toDate_options(NSUInteger units, const Ref<NSDate>& start,
                                                                     const Ref<NSDate>& end,
                                                                     [[maybe_unused]] NSUInteger options) const {
  if (!isCountable(start) || !isCountable(end)) return nil;
  Engine engine(identifier_, locale_, timeZone());
  // A date holds a fraction of a second in binary, so that sums are off by a few of its last digits: an end that misses
  // a whole unit by less than a microsecond is meant to be a whole unit away.
  constexpr Milliseconds tolerance = 0.001;
  const bool backward = instantOf(end) < instantOf(start);
  const Milliseconds target = instantOf(end) + (backward ? -tolerance : tolerance);
  Milliseconds reached = std::floor(instantOf(start));
  const Milliseconds fraction = instantOf(start) - reached;

  const auto components = make<NSDateComponents>();
  for (const CalendarSpan& span : calendarSpans) {
    if ((units & span.unit) == 0) continue;
    const NSInteger count = wholeUnits(engine, span, reached, fraction, target);
    components->setValue(span.component, count);
    engine.setInstant(reached);
    engine.add(span.field, count);
    reached = engine.instant();
  }
  Milliseconds rest = target - (reached + fraction);
  for (const TimeSpan& span : timeSpans) {
    if ((units & span.unit) == 0) continue;
    const auto count = static_cast<NSInteger>(rest / span.length);
    components->setValue(span.component, count);
    rest -= static_cast<Milliseconds>(count) * span.length;
  }
  return engine.failed() ? nil : components;
}

Ref<NSDate> NSCalendar::dateByAddingComponents_toDate_options(const Ref<NSDateComponents>& components,
                                                              const Ref<NSDate>& date,
                                                              [[maybe_unused]] NSUInteger options) const {
  if (!components || !isCountable(date)) return nil;
  Engine engine(identifier_, locale_, components->timeZone() ? components->timeZone() : timeZone());
  engine.setInstant(instantOf(date));
  const Milliseconds before = engine.instant();
  for (const CalendarSpan& span : calendarSpans) {
    if (!components->isSet(span.component)) continue;
    const NSInteger amount = components->value(span.component);
    if (amount < -span.farthest || amount > span.farthest) return nil;
    engine.add(span.field, amount);
    if (!isCountable(engine.instant())) return nil;
  }
  Milliseconds elapsed = engine.instant() - before;
  for (const TimeSpan& span : timeSpans) {
    if (!components->isSet(span.component)) continue;
    elapsed += static_cast<Milliseconds>(components->value(span.component)) * span.length;
  }
  if (engine.failed() || !isCountable(before + elapsed)) return nil;
  return date->dateByAddingTimeInterval(elapsed / second);
}

bool NSCalendar::rangeOfUnit_startDate_interval_forDate(NSCalendarUnit unit, Ref<NSDate>* startDate,
                                                        NSTimeInterval* interval, const Ref<NSDate>& date) const {
  if (!isCountable(date)) return false;
  Engine engine(identifier_, locale_, timeZone());
  engine.setInstant(instantOf(date));
  if (engine.failed()) return false;
  if (!goToStart(engine, unit)) return false;
  const Milliseconds start = engine.instant();
  engine.add(addedField(unit), 1);
  goToStart(engine, unit);
  const Milliseconds end = engine.instant();
  if (engine.failed()) return false;
  if (startDate) *startDate = dateAt(start);
  if (interval) *interval = (end - start) / second;
  return true;
}

NSUInteger NSCalendar::ordinalityOfUnit_inUnit_forDate(NSCalendarUnit smaller, NSCalendarUnit larger,
                                                       const Ref<NSDate>& date) const {
  struct Ordinal {
    NSCalendarUnit smaller;
    NSCalendarUnit larger;
    UCalendarDateFields field;
  };
  static constexpr std::array ordinals = {
      Ordinal{NSCalendarUnitDay, NSCalendarUnitYear, UCAL_DAY_OF_YEAR},
      Ordinal{NSCalendarUnitDay, NSCalendarUnitMonth, UCAL_DATE},
      Ordinal{NSCalendarUnitWeekOfYear, NSCalendarUnitYear, UCAL_WEEK_OF_YEAR},
      Ordinal{NSCalendarUnitWeekOfMonth, NSCalendarUnitMonth, UCAL_WEEK_OF_MONTH},
  };
  const auto* ordinal = std::ranges::find_if(
      ordinals, [&](const Ordinal& each) { return each.smaller == smaller && each.larger == larger; });
  if (ordinal == ordinals.end() || !isCountable(date)) return NSNotFound;
  Engine engine(identifier_, locale_, timeZone());
  engine.setInstant(instantOf(date));
  const std::int32_t value = engine.get(ordinal->field);
  return engine.failed() ? NSNotFound : static_cast<NSUInteger>(value);
}

Ref<NSDate> NSCalendar::dateBySettingHour_minute_second_ofDate_options(NSInteger hours, NSInteger minutes,
                                                                       NSInteger seconds, const Ref<NSDate>& date,
                                                                       [[maybe_unused]] NSUInteger options) const {
  const auto within = [](NSInteger value, NSInteger limit) { return value >= 0 && value < limit; };
  if (!isCountable(date) || !within(hours, 24) || !within(minutes, 60) || !within(seconds, 60)) return nil;
  Engine engine(identifier_, locale_, timeZone());
  if (engine.failed()) return nil;
  Milliseconds chosen = 0.0;
  for (const UCalendarWallTimeOption occurrence : {UCAL_WALLTIME_LAST, UCAL_WALLTIME_FIRST}) {
    engine->setRepeatedWallTimeOption(occurrence);
    engine.setInstant(instantOf(date));
    const std::int32_t offset = engine.offsetFromGMT();
    engine.setTimeOfDay(hours, minutes, seconds);
    chosen = engine.instant();
    if (engine.offsetFromGMT() == offset) break;
  }
  return engine.failed() ? nil : dateAt(chosen);
}

}  // namespace telvo
