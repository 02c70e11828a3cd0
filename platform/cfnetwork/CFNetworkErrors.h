#pragma once

#include <string_view>

#include "foundation/errors/NSError.h"
#include "foundation/runtime/Ref.h"

TELVO_NAMESPACE_BEGIN

const Ref<NSString>& kCFErrorDomainCFNetwork();
// In the user information of an error that a server's reply caused: the reply's code, a number. The reply's text is
// the error's localized description.
const Ref<NSString>& kCFFTPStatusCodeKey();
// In the user information of an error that has come before the login was done: true. Nobody could be reached then, or
// logged in to.
const Ref<NSString>& kCFFTPBeforeLoginKey();

// Codes in kCFErrorDomainCFNetwork.
enum CFNetworkErrorCode : NSInteger {
  kCFHostErrorHostNotFound = 1,
  kCFFTPErrorUnexpectedStatusCode = 200,
  kCFURLErrorBadURL = -1000,
  kCFURLErrorTimedOut = -1001,
  kCFURLErrorNetworkConnectionLost = -1005,
  kCFURLErrorBadServerResponse = -1011,
  kCFURLErrorSecureConnectionFailed = -1200,  // no encryption, or not with whom it should be: nothing was sent
};

namespace cfnetwork {

struct FTPReply;

// A refusal, or whatever else was not to be expected, as the error that tells it.
Ref<NSError> errorWithReply(const FTPReply& reply);
// The same error, marked as one that has come before the login was done.
Ref<NSError> errorBeforeLogin(const Ref<NSError>& error);
Ref<NSError> errorWithCode(CFNetworkErrorCode code, std::string_view text);
// A refusal that leaves the connection unencrypted: the text, and then the server's own words.
Ref<NSError> errorWithoutSecurity(std::string_view text, const FTPReply& reply);

}  // namespace cfnetwork

TELVO_NAMESPACE_END
