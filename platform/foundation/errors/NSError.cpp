#include "foundation/errors/NSError.h"

#include <system_error>

#include "foundation/collections/NSDictionary.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

const Ref<NSString>& NSCocoaErrorDomain() { return "NSCocoaErrorDomain"_ns; }
const Ref<NSString>& NSPOSIXErrorDomain() { return "NSPOSIXErrorDomain"_ns; }
const Ref<NSString>& NSLocalizedDescriptionKey() { return "NSLocalizedDescription"_ns; }
const Ref<NSString>& NSFilePathErrorKey() { return "NSFilePath"_ns; }
const Ref<NSString>& NSUnderlyingErrorKey() { return "NSUnderlyingError"_ns; }

Class NSError::classObject() {
  static const NSClass object("NSError", NSObject::classObject(),
                              {
                                  method("domain"_sel, &NSError::domain),
                                  method("code"_sel, &NSError::code),
                                  method("userInfo"_sel, &NSError::userInfo),
                                  method("localizedDescription"_sel, &NSError::localizedDescription),
                              });
  return &object;
}

NSError::NSError(Ref<NSString> domain, NSInteger code, Ref<NSDictionary> userInfo)
    : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

NSError::~NSError() = default;

Ref<NSError> NSError::errorWithDomain_code_userInfo(const Ref<NSString>& domain, NSInteger code,
                                                    const Ref<NSDictionary>& userInfo) {
  return make<NSError>(domain, code, userInfo);
}

Ref<NSError> NSError::errorWithPOSIXCode(int code) {
  const auto text = NSString::stringWithUTF8String(std::generic_category().message(code));
  return errorWithDomain_code_userInfo(NSPOSIXErrorDomain(), code,
                                       NSDictionary::dictionary({{NSLocalizedDescriptionKey(), text}}));
}

Ref<NSString> NSError::localizedDescription() const {
  const auto text = userInfo_ ? as<NSString>(userInfo_->objectForKey(NSLocalizedDescriptionKey())) : Ref<NSString>();
  if (text) return text;
  return NSString::stringWithFormat("The operation couldn't be completed. (%@ error %ld.)"_ns, domain_, code_);
}

Ref<NSString> NSError::description() const {
  return NSString::stringWithFormat("Error Domain=%@ Code=%ld \"%@\""_ns, domain_, code_, localizedDescription());
}

bool NSError::isEqual(const id& other) const {
  const auto error = as<NSError>(other);
  return error && code_ == error->code_ && NSEqualObjects(domain_, error->domain_) &&
         NSEqualObjects(userInfo_, error->userInfo_);
}

NSUInteger NSError::hash() const { return static_cast<NSUInteger>(code_); }

}  // namespace telvo
