#include "foundation/coding/NSPropertyListUID.h"

#include "foundation/text/NSString.h"

inline namespace telvo {

Class NSPropertyListUID::classObject() {
  static const NSClass object("NSPropertyListUID", NSObject::classObject(),
                              {method("value"_sel, &NSPropertyListUID::value)});
  return &object;
}

Ref<NSPropertyListUID> NSPropertyListUID::uidWithValue(NSUInteger value) { return make<NSPropertyListUID>(value); }

Ref<NSString> NSPropertyListUID::description() const { return NSString::stringWithFormat("<UID %lu>"_ns, value_); }

bool NSPropertyListUID::isEqual(const id& other) const {
  const auto uid = as<NSPropertyListUID>(other);
  return uid && uid->value_ == value_;
}

}  // namespace telvo
