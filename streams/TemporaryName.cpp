#include "streams/TemporaryName.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "foundation/text/NSString.h"

inline namespace telvo {

namespace streams {

namespace {

constexpr std::size_t longestName = 255;  // bytes
constexpr std::string_view prefix = ".";  // so that web servers do not show it
constexpr std::string_view suffix = ".telvo-part";

// FNV-1a. Two long names that begin alike must not share a temporary one.
std::string hashOf(std::string_view bytes) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  std::array<char, 20> text;
  const int length = std::snprintf(text.data(), text.size(), "-%016llx", static_cast<unsigned long long>(hash));
  return {text.data(), static_cast<std::size_t>(length)};
}

// Without half a character at the end.
std::string_view cut(std::string_view name, std::size_t length) {
  while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0U) == 0x80U) --length;
  return name.substr(0, length);
}

}  // namespace

Ref<NSString> temporaryName(const Ref<NSString>& name, const std::string& runIdentity) {
  std::string middle = name->UTF8String();
  const std::string end = "." + runIdentity + std::string(suffix);
  const std::size_t room = longestName - prefix.size() - end.size();
  if (middle.size() > room) {
    const std::string hash = hashOf(middle);
    middle = std::string(cut(middle, room - hash.size())) + hash;
  }
  return NSString::stringWithUTF8String(std::string(prefix) + middle + end);
}

}  // namespace streams

}  // namespace telvo
