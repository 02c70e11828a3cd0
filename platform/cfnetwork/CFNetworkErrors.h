#pragma once

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

TELVO_NAMESPACE_END
