#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSDate;
class NSString;

// The rules by which a place's clocks differ from GMT, as the system's zone files have them. Immutable, any thread.
class NSTimeZone : public NSObject {
  NS_OBJECT(NSTimeZone, NSObject)

 public:
  explicit NSTimeZone(Ref<NSString> name) : name_(std::move(name)) {}

  // The zone of the process, looked up anew on every call: the environment's TZ, otherwise the system's setting. TZ
  // may hold a zone's name ("Europe/Berlin", also behind "posix/" or "right/"), the path of a zone file, or a rule
  // ("CET-1CEST,M3.5.0,M10.5.0/3"), which is then the zone's name. A file that is a copy of a named zone's is that
  // zone; any other one gives a zone that keeps the same clock all through the current year, or else its standard time.
  static Ref<NSTimeZone> defaultTimeZone();
  // Nil for a name that neither the system nor the engine of the calendars knows, and that is neither "GMT+hhmm" nor a
  // rule.
  static Ref<NSTimeZone> timeZoneWithName(const Ref<NSString>& name);
  // Nil beyond 18 hours. Named "GMT", "GMT+0530", "GMT-033015".
  static Ref<NSTimeZone> timeZoneForSecondsFromGMT(NSInteger seconds);

  const Ref<NSString>& name() const { return name_; }

  // Seconds that the clocks are ahead of GMT, daylight saving included; and the part of it that is daylight saving.
  // Without a date: now. For nil: 0.
  NSInteger secondsFromGMT() const;
  NSInteger secondsFromGMTForDate(const Ref<NSDate>& date) const;
  NSTimeInterval daylightSavingTimeOffset() const;
  NSTimeInterval daylightSavingTimeOffsetForDate(const Ref<NSDate>& date) const;
  bool isDaylightSavingTime() const { return daylightSavingTimeOffset() != 0.0; }
  bool isDaylightSavingTimeForDate(const Ref<NSDate>& date) const {
    return daylightSavingTimeOffsetForDate(date) != 0.0;
  }

  Ref<NSString> description() const override { return name_; }
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  Ref<NSString> name_;
};

TELVO_NAMESPACE_END
