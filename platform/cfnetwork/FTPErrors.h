#pragma once

#include <string_view>

#include "cfnetwork/CFNetworkErrors.h"

// How the client makes its errors.
inline namespace telvo {

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

}  // namespace telvo
