#include "foundation/time/NSDate.h"

#include <chrono>
#include <cmath>

#include "foundation/text/NSString.h"
#include "foundation/time/CivilTime.h"

inline namespace telvo {

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
  if (!std::isfinite(sinceReferenceDate_)) return NSString::stringWithFormat("%f"_ns, sinceReferenceDate_);
  const foundation::CivilTime time = foundation::civilTimeFrom(timeIntervalSince1970());
  std::string text;
  foundation::appendDate(text, time);
  text.push_back(' ');
  foundation::appendTimeOfDay(text, time);
  text += " +0000";
  return NSString::stringWithUTF8String(text);
}

bool NSDate::isEqual(const id& other) const { return isEqualToDate(as<NSDate>(other)); }

NSUInteger NSDate::hash() const { return std::hash<double>()(sinceReferenceDate_); }

}  // namespace telvo
