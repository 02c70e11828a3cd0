#include "cfnetwork/CFNetworkErrors.h"

#include "foundation/text/NSString.h"

inline namespace telvo {

const Ref<NSString>& kCFErrorDomainCFNetwork() { return "kCFErrorDomainCFNetwork"_ns; }
const Ref<NSString>& kCFFTPStatusCodeKey() { return "kCFFTPStatusCodeKey"_ns; }
const Ref<NSString>& kCFFTPBeforeLoginKey() { return "kCFFTPBeforeLoginKey"_ns; }

}  // namespace telvo
