#pragma once

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// Seconds from 1970-01-01 to the platform's reference date, 2001-01-01, both 00:00:00 UTC.
inline constexpr NSTimeInterval NSTimeIntervalSince1970 = 978307200.0;

// An instant: seconds from the reference date. Immutable, any thread.
class NSDate : public NSObject {
  NS_OBJECT(NSDate, NSObject)

 public:
  explicit NSDate(NSTimeInterval sinceReferenceDate) : sinceReferenceDate_(sinceReferenceDate) {}

  static Ref<NSDate> date();  // now
  static Ref<NSDate> dateWithTimeIntervalSinceNow(NSTimeInterval seconds);
  static Ref<NSDate> dateWithTimeIntervalSince1970(NSTimeInterval seconds);
  static Ref<NSDate> dateWithTimeIntervalSinceReferenceDate(NSTimeInterval seconds);
  static Ref<NSDate> distantFuture();
  static Ref<NSDate> distantPast();
  static NSTimeInterval timeIntervalSinceReferenceDateNow();

  NSTimeInterval timeIntervalSinceReferenceDate() const { return sinceReferenceDate_; }
  NSTimeInterval timeIntervalSince1970() const { return sinceReferenceDate_ + NSTimeIntervalSince1970; }
  NSTimeInterval timeIntervalSinceNow() const;
  NSTimeInterval timeIntervalSinceDate(const Ref<NSDate>& other) const;
  Ref<NSDate> dateByAddingTimeInterval(NSTimeInterval seconds) const;

  NSComparisonResult compare(const Ref<NSDate>& other) const;
  bool isEqualToDate(const Ref<NSDate>& other) const;

  // "2001-01-01 00:00:00 +0000": UTC, the fraction of a second cut off downward, the way property lists keep dates.
  Ref<NSString> description() const override;
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  NSTimeInterval sinceReferenceDate_;
};

TELVO_NAMESPACE_END
