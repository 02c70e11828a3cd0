#pragma once

#include "foundation/runtime/NSObject.h"
#include "foundation/time/NSCalendar.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// How the spans are written. What each gives for 3,661 and for 90,061 seconds, otherwise with initial settings:
//
//   Positional   en "1:01:01"                             "1d 1:01:01"
//   Abbreviated  en "1h 1m 1s"                            "1d 1h 1m 1s"
//   Short        en "1 hr, 1 min, 1 sec"                  "1 day, 1 hr, 1 min, 1 sec"
//   Full         en "1 hour, 1 minute, 1 second"          "1 day, 1 hour, 1 minute, 1 second"
//   SpellOut     en "one hour, one minute, one second"    "one day, one hour, one minute, one second"
//   Brief        en "1hr 1min 1sec"                       "1day 1hr 1min 1sec"
enum NSDateComponentsFormatterUnitsStyle : NSInteger {
  NSDateComponentsFormatterUnitsStylePositional = 0,
  NSDateComponentsFormatterUnitsStyleAbbreviated = 1,
  NSDateComponentsFormatterUnitsStyleShort = 2,
  NSDateComponentsFormatterUnitsStyleFull = 3,
  NSDateComponentsFormatterUnitsStyleSpellOut = 4,
  NSDateComponentsFormatterUnitsStyleBrief = 5,
};

// Which units with the value 0 are left out: those before the first, between, or after the last one that is not 0. The
// default is leading ones in positional style and all of them in the others.
enum NSDateComponentsFormatterZeroFormattingBehavior : NSUInteger {
  NSDateComponentsFormatterZeroFormattingBehaviorNone = 0,
  NSDateComponentsFormatterZeroFormattingBehaviorDefault = 1,
  NSDateComponentsFormatterZeroFormattingBehaviorDropLeading = 2,
  NSDateComponentsFormatterZeroFormattingBehaviorDropMiddle = 4,
  NSDateComponentsFormatterZeroFormattingBehaviorDropTrailing = 8,
  NSDateComponentsFormatterZeroFormattingBehaviorDropAll = 14,
};

// Writes a span of time in units from years down to seconds, in the language of the current locale. One thread at a
// time.
//
// Years, months and days are those of the Gregorian calendar from 1 January 2001 in GMT on, so a span always gives the
// same text. What is smaller than the last unit shown is rounded to it, a half downward. In positional style only
// hours, minutes and seconds stand between colons; the middle and trailing ones stay then even when they are 0, since
// "1:10" could not be told from another pair of units; units that would be unclear without a name are abbreviated ones.
class NSDateComponentsFormatter : public NSObject {
  NS_OBJECT(NSDateComponentsFormatter, NSObject)

 public:
  // Initially positional, which is also meant by every value that is not in the list.
  NSDateComponentsFormatterUnitsStyle unitsStyle() const { return unitsStyle_; }
  void setUnitsStyle(NSDateComponentsFormatterUnitsStyle style) { unitsStyle_ = style; }

  // A mask of year, month, week of month, day, hour, minute and second. Initially 0, which stands for all of them, as
  // does a mask without any.
  NSUInteger allowedUnits() const { return allowedUnits_; }
  void setAllowedUnits(NSUInteger units) { allowedUnits_ = units; }

  // How many units are shown at most, from the largest on. Initially 0: as many as there are; so with negative values.
  NSInteger maximumUnitCount() const { return maximumUnitCount_; }
  void setMaximumUnitCount(NSInteger count) { maximumUnitCount_ = count; }

  // A mask of NSDateComponentsFormatterZeroFormattingBehavior. The smallest unit stays when all of them are 0.
  NSUInteger zeroFormattingBehavior() const { return zeroFormattingBehavior_; }
  void setZeroFormattingBehavior(NSUInteger behavior) { zeroFormattingBehavior_ = behavior; }

  // In seconds. A negative one has its sign before the first unit that is not 0. Nil for what is not a number or spans
  // more than a million years.
  Ref<NSString> stringFromTimeInterval(NSTimeInterval interval) const;

 private:
  NSDateComponentsFormatterUnitsStyle unitsStyle_ = NSDateComponentsFormatterUnitsStylePositional;
  NSUInteger allowedUnits_ = 0;
  NSInteger maximumUnitCount_ = 0;
  NSUInteger zeroFormattingBehavior_ = NSDateComponentsFormatterZeroFormattingBehaviorDefault;
};

TELVO_NAMESPACE_END
