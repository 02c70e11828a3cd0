#include "foundation/errors/NSException.h"

#include "foundation/collections/NSDictionary.h"

inline namespace telvo {

const Ref<NSString>& NSInvalidArgumentException() { return "NSInvalidArgumentException"_ns; }
const Ref<NSString>& NSRangeException() { return "NSRangeException"_ns; }
const Ref<NSString>& NSInternalInconsistencyException() { return "NSInternalInconsistencyException"_ns; }
const Ref<NSString>& NSGenericException() { return "NSGenericException"_ns; }
const Ref<NSString>& NSUndefinedKeyException() { return "NSUnknownKeyException"_ns; }

Class NSException::classObject() {
  static const NSClass object("NSException", NSObject::classObject(),
                              {
                                  method("name"_sel, &NSException::name),
                                  method("reason"_sel, &NSException::reason),
                                  method("userInfo"_sel, &NSException::userInfo),
                              });
  return &object;
}

NSException::NSException(Ref<NSString> name, Ref<NSString> reason, Ref<NSDictionary> userInfo)
    : name_(std::move(name)), reason_(std::move(reason)), userInfo_(std::move(userInfo)) {}

NSException::~NSException() = default;

Ref<NSException> NSException::exceptionWithName_reason_userInfo(const Ref<NSString>& name, const Ref<NSString>& reason,
                                                                const Ref<NSDictionary>& userInfo) {
  return make<NSException>(name, reason, userInfo);
}

void NSException::raise() const { throw Ref<NSException>(const_cast<NSException*>(this)); }

Ref<NSString> NSException::description() const { return reason_ ? reason_ : name_; }

}  // namespace telvo
