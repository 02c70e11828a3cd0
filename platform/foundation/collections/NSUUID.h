#pragma once

#include <array>
#include <cstdint>

#include "foundation/runtime/NSObject.h"

TELVO_NAMESPACE_BEGIN

class NSString;

// A universally unique identifier (RFC 4122). Immutable, any thread.
class NSUUID : public NSObject {
  NS_OBJECT(NSUUID, NSObject)

 public:
  using Bytes = std::array<std::uint8_t, 16>;
  explicit NSUUID(const Bytes& bytes) : bytes_(bytes) {}

  // A new random one (version 4).
  static Ref<NSUUID> UUID();
  // Nil unless the text is 32 hexadecimal digits in groups of 8, 4, 4, 4 and 12 with "-" between them.
  static Ref<NSUUID> UUIDWithUUIDString(const Ref<NSString>& text);

  const Bytes& bytes() const { return bytes_; }
  // In that form, in upper case.
  Ref<NSString> UUIDString() const;

  Ref<NSString> description() const override { return UUIDString(); }
  bool isEqual(const id& other) const override;
  NSUInteger hash() const override;
  id copy() const override { return self(); }
  bool conformsToCopying() const override { return true; }

 private:
  Bytes bytes_;
};

TELVO_NAMESPACE_END
