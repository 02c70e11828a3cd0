#include "foundation/time/NSDateComponents.h"

#include "foundation/time/NSTimeZone.h"

inline namespace telvo {

Class NSDateComponents::classObject() {
  static const NSClass object("NSDateComponents", NSObject::classObject(),
                              {
                                  method("era"_sel, &NSDateComponents::era),
                                  method("year"_sel, &NSDateComponents::year),
                                  method("month"_sel, &NSDateComponents::month),
                                  method("day"_sel, &NSDateComponents::day),
                                  method("hour"_sel, &NSDateComponents::hour),
                                  method("minute"_sel, &NSDateComponents::minute),
                                  method("second"_sel, &NSDateComponents::second),
                                  method("weekday"_sel, &NSDateComponents::weekday),
                                  method("weekOfYear"_sel, &NSDateComponents::weekOfYear),
                              });
  return &object;
}

NSDateComponents::NSDateComponents() { values_.fill(NSDateComponentUndefined); }

NSDateComponents::~NSDateComponents() = default;

void NSDateComponents::setTimeZone(const Ref<NSTimeZone>& timeZone) { timeZone_ = timeZone; }

}  // namespace telvo
