#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "foundation/text/NSString.h"

// What the fuzzers share.

// The input as text: UTF-8 that may be broken, or after the bytes FF FE any UTF-16 units whatever.
inline Ref<NSString> textFromInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (!bytes.starts_with("\xff\xfe")) return NSString::stringWithUTF8String(bytes);
  std::u16string units((size - 2) / 2, u'\0');
  if (!units.empty()) std::memcpy(units.data(), data + 2, units.size() * 2);
  return NSString::stringWithUnits(std::move(units));
}

// A result that breaks its promise ends the run as a crash does.
inline void require(bool holds) {
  if (!holds) std::abort();
}

inline bool areEqual(const Ref<NSString>& left, const Ref<NSString>& right) {
  return left && left->isEqualToString(right);
}
