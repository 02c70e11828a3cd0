#pragma once

#include <memory>
#include <variant>

#include "foundation/runtime/NSObject.h"

inline namespace telvo {

class NSError;

namespace cfnetwork {

class TLSContext;

// How the connections to a server are encrypted: not at all, after the client has asked for it (RFC 4217), or from
// their first byte on.
enum class FTPEncryption { None, Explicit, Implicit };

struct FTPSecurity {
  FTPEncryption encryption = FTPEncryption::None;
  std::shared_ptr<const TLSContext> context;  // null without encryption

  bool operator==(const FTPSecurity&) const = default;
};

// As kCFStreamPropertyFTPSecurity describes it; nil is no encryption. An error when anything in it cannot be used:
// nothing must be sent then, least of all in the clear.
std::variant<FTPSecurity, Ref<NSError>> FTPSecurityFromSettings(const id& settings);

}  // namespace cfnetwork

}  // namespace telvo
