#include "foundation/collections/NSUUID.h"

#include <cerrno>
#include <cstring>

#include <sys/random.h>

#include "foundation/errors/NSException.h"
#include "foundation/text/NSString.h"

inline namespace telvo {

namespace {

constexpr std::string_view digits = "0123456789ABCDEF0123456789abcdef";

// Groups of 8, 4, 4, 4 and 12 digits.
bool isGroupStart(std::size_t byte) { return byte == 4 || byte == 6 || byte == 8 || byte == 10; }

NSUUID::Bytes randomBytes() {
  NSUUID::Bytes bytes{};
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const ssize_t count = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      // An identifier that is not random is worse than none.
      NSException::raise_format(NSInternalInconsistencyException(), "no random numbers available (%d)"_ns, errno);
    }
  }
  return bytes;
}

}  // namespace

Class NSUUID::classObject() {
  static const NSClass object("NSUUID", NSObject::classObject(), {method("UUIDString"_sel, &NSUUID::UUIDString)});
  return &object;
}

Ref<NSUUID> NSUUID::UUID() {
  Bytes bytes = randomBytes();
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);  // the RFC's variant
  return make<NSUUID>(bytes);
}

Ref<NSUUID> NSUUID::UUIDWithUUIDString(const Ref<NSString>& text) {
  if (!text) return nil;
  const std::string form = text->UTF8String();
  if (form.size() != 36) return nil;
  Bytes bytes{};
  std::size_t at = 0;
  for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
    if (isGroupStart(byte) && form[at++] != '-') return nil;
    const std::size_t high = digits.find(form[at++]);
    const std::size_t low = digits.find(form[at++]);
    if (high == std::string_view::npos || low == std::string_view::npos) return nil;
    bytes[byte] = static_cast<std::uint8_t>((high % 16) * 16 + low % 16);
  }
  return make<NSUUID>(bytes);
}

Ref<NSString> NSUUID::UUIDString() const {
  std::string text;
  for (std::size_t byte = 0; byte < bytes_.size(); ++byte) {
    if (isGroupStart(byte)) text.push_back('-');
    text.push_back(digits[bytes_[byte] >> 4U]);
    text.push_back(digits[bytes_[byte] & 15U]);
  }
  return NSString::stringWithUTF8String(text);
}

bool NSUUID::isEqual(const id& other) const {
  const auto uuid = as<NSUUID>(other);
  return uuid && bytes_ == uuid->bytes_;
}

NSUInteger NSUUID::hash() const {
  NSUInteger value = 0;
  std::memcpy(&value, bytes_.data(), sizeof value);
  return value;
}

}  // namespace telvo
