#include "foundation/NSDate.h"

#include <chrono>
#include <cmath>

#include "foundation/NSString.h"

Class NSDate::classObject() {
  static const NSClass object("NSDate", NSObject::classObject(),
                              {
                                  method("timeIntervalSinceReferenceDate"_sel, &NSDate::timeIntervalSinceReferenceDate),
                                  method("timeIntervalSince1970"_sel, &NSDate::timeIntervalSince1970),
                                  method("timeIntervalSinceNow"_sel, &NSDate::timeIntervalSinceNow),
                                  method("compare:"_sel, &NSDate::compare),
                              });
  return &object;
}

NSTimeInterval NSDate::timeIntervalSinceReferenceDateNow() {
  const std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return sinceEpoch.count() - NSTimeIntervalSince1970;
}

Ref<NSDate> NSDate::date() { return make<NSDate>(timeIntervalSinceReferenceDateNow()); }
Ref<NSDate> NSDate::dateWithTimeIntervalSinceNow(NSTimeInterval seconds) {
  return make<NSDate>(timeIntervalSinceReferenceDateNow() + seconds);
}
Ref<NSDate> NSDate::dateWithTimeIntervalSince1970(NSTimeInterval seconds) {
  return make<NSDate>(seconds - NSTimeIntervalSince1970);
}
Ref<NSDate> NSDate::dateWithTimeIntervalSinceReferenceDate(NSTimeInterval seconds) { return make<NSDate>(seconds); }
Ref<NSDate> NSDate::distantFuture() { return make<NSDate>(63113904000.0); }
Ref<NSDate> NSDate::distantPast() { return make<NSDate>(-63114076800.0); }

NSTimeInterval NSDate::timeIntervalSinceNow() const {
  return sinceReferenceDate_ - timeIntervalSinceReferenceDateNow();
}

NSTimeInterval NSDate::timeIntervalSinceDate(const Ref<NSDate>& other) const {
  return sinceReferenceDate_ - (other ? other->sinceReferenceDate_ : 0.0);
}

Ref<NSDate> NSDate::dateByAddingTimeInterval(NSTimeInterval seconds) const {
  return make<NSDate>(sinceReferenceDate_ + seconds);
}

NSComparisonResult NSDate::compare(const Ref<NSDate>& other) const {
  if (!other || sinceReferenceDate_ > other->sinceReferenceDate_) return NSOrderedDescending;
  return sinceReferenceDate_ < other->sinceReferenceDate_ ? NSOrderedAscending : NSOrderedSame;
}

bool NSDate::isEqualToDate(const Ref<NSDate>& other) const {
  return other && sinceReferenceDate_ == other->sinceReferenceDate_;
}

Ref<NSString> NSDate::description() const {
  const double seconds = std::floor(timeIntervalSince1970());
  // Days of the civil calendar, proleptic Gregorian (as property lists count), from days since 1970.
  constexpr double farthest = 1e11;
  if (!(std::fabs(seconds) < farthest)) return NSString::stringWithFormat("%f"_ns, sinceReferenceDate_);
  using namespace std::chrono;
  const sys_seconds instant{std::chrono::seconds(static_cast<std::int64_t>(seconds))};
  const auto day = floor<days>(instant);
  const auto inDay = static_cast<NSInteger>((instant - day).count());
  const std::int64_t sinceEpoch = day.time_since_epoch().count();
  // year_month_day stops at year 32767, which lies beyond `farthest`'s 3,168 years on either side of 1970.
  const year_month_day date{sys_days{days{sinceEpoch}}};
  return NSString::stringWithFormat("%04d-%02u-%02u %02ld:%02ld:%02ld +0000"_ns, static_cast<int>(date.year()),
                                    static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                    inDay / 3600, inDay / 60 % 60, inDay % 60);
}

bool NSDate::isEqual(const id& other) const { return isEqualToDate(as<NSDate>(other)); }

NSUInteger NSDate::hash() const { return std::hash<double>()(sinceReferenceDate_); }
