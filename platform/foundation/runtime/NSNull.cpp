#include "foundation/runtime/NSNull.h"

#include "foundation/text/NSString.h"

inline namespace telvo {

Class NSNull::classObject() {
  static const NSClass object("NSNull", NSObject::classObject(), {});
  return &object;
}

const Ref<NSNull>& NSNull::null() {
  static const Ref<NSNull>& marker = *new Ref<NSNull>(make<NSNull>());
  return marker;
}

Ref<NSString> NSNull::description() const { return "<null>"_ns; }

bool NSNull::isEqual(const id& other) const { return as<NSNull>(other) != nil; }

}  // namespace telvo
