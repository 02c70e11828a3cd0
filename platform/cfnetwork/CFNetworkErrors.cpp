#include "cfnetwork/CFNetworkErrors.h"

#include <string>

#include "cfnetwork/FTPReply.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

const Ref<NSString>& kCFErrorDomainCFNetwork() { return "kCFErrorDomainCFNetwork"_ns; }
const Ref<NSString>& kCFFTPStatusCodeKey() { return "kCFFTPStatusCodeKey"_ns; }
const Ref<NSString>& kCFFTPBeforeLoginKey() { return "kCFFTPBeforeLoginKey"_ns; }

Ref<NSError> cfnetwork::errorWithReply(const FTPReply& reply) {
  return NSError::errorWithDomain_code_userInfo(
      kCFErrorDomainCFNetwork(), kCFFTPErrorUnexpectedStatusCode,
      NSDictionary::dictionary({{kCFFTPStatusCodeKey(), NSNumber::numberWithInteger(reply.code)},
                                {NSLocalizedDescriptionKey(), NSString::stringWithUTF8String(reply.text)}}));
}

Ref<NSError> cfnetwork::errorWithCode(CFNetworkErrorCode code, std::string_view text) {
  return NSError::errorWithDomain_code_userInfo(
      kCFErrorDomainCFNetwork(), code,
      NSDictionary::dictionary({{NSLocalizedDescriptionKey(), NSString::stringWithUTF8String(text)}}));
}

Ref<NSError> cfnetwork::errorWithoutSecurity(std::string_view text, const FTPReply& reply) {
  return NSError::errorWithDomain_code_userInfo(
      kCFErrorDomainCFNetwork(), kCFURLErrorSecureConnectionFailed,
      NSDictionary::dictionary(
          {{kCFFTPStatusCodeKey(), NSNumber::numberWithInteger(reply.code)},
           {NSLocalizedDescriptionKey(), NSString::stringWithUTF8String(std::string(text) + ": " + reply.text)}}));
}

Ref<NSError> cfnetwork::errorBeforeLogin(const Ref<NSError>& error) {
  const auto info = NSMutableDictionary::dictionary({{kCFFTPBeforeLoginKey(), NSNumber::numberWithBool(true)}});
  if (error->userInfo()) info->addEntriesFromDictionary(error->userInfo());
  return NSError::errorWithDomain_code_userInfo(error->domain(), error->code(), info);
}

}  // namespace telvo
