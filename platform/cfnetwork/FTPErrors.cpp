#include "cfnetwork/FTPErrors.h"

#include <string>

#include "cfnetwork/FTPReply.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace cfnetwork {

Ref<NSError> errorWithReply(const FTPReply& reply) {
  return NSError::errorWithDomain_code_userInfo(
      kCFErrorDomainCFNetwork(), kCFFTPErrorUnexpectedStatusCode,
      NSDictionary::dictionary({{kCFFTPStatusCodeKey(), NSNumber::numberWithInteger(reply.code)},
                                {NSLocalizedDescriptionKey(), NSString::stringWithUTF8String(reply.text)}}));
}

Ref<NSError> errorWithCode(CFNetworkErrorCode code, std::string_view text) {
  return NSError::errorWithDomain_code_userInfo(
      kCFErrorDomainCFNetwork(), code,
      NSDictionary::dictionary({{NSLocalizedDescriptionKey(), NSString::stringWithUTF8String(text)}}));
}

Ref<NSError> errorWithoutSecurity(std::string_view text, const FTPReply& reply) {
  return NSError::errorWithDomain_code_userInfo(
      kCFErrorDomainCFNetwork(), kCFURLErrorSecureConnectionFailed,
      NSDictionary::dictionary(
          {{kCFFTPStatusCodeKey(), NSNumber::numberWithInteger(reply.code)},
           {NSLocalizedDescriptionKey(), NSString::stringWithUTF8String(std::string(text) + ": " + reply.text)}}));
}

Ref<NSError> errorBeforeLogin(const Ref<NSError>& error) {
  const auto info = NSMutableDictionary::dictionary({{kCFFTPBeforeLoginKey(), NSNumber::numberWithBool(true)}});
  if (error->userInfo()) info->addEntriesFromDictionary(error->userInfo());
  return NSError::errorWithDomain_code_userInfo(error->domain(), error->code(), info);
}

}  // namespace cfnetwork

}  // namespace telvo
