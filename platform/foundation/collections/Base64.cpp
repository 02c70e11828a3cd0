#include "foundation/collections/Base64.h"

#include <algorithm>
#include <array>
#include <cstdint>

inline namespace telvo {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char16_t padding = u'=';
constexpr std::uint8_t unknown = 0xFF;

constexpr std::array<std::uint8_t, 128> makeValues() {
  std::array<std::uint8_t, 128> values{};
  values.fill(unknown);
  for (std::size_t value = 0; value < alphabet.size(); ++value) {
    values[static_cast<unsigned char>(alphabet[value])] = static_cast<std::uint8_t>(value);
  }
  return values;
}

constexpr std::array<std::uint8_t, 128> values = makeValues();

std::uint8_t valueOf(char16_t unit) { return unit < values.size() ? values[unit] : unknown; }

char byteOf(std::uint32_t bits, unsigned shift) {
  return static_cast<char>(static_cast<unsigned char>((bits >> shift) & 0xFFU));
}

}  // namespace

std::string foundation::base64FromBytes(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = std::min<std::size_t>(bytes.size() - at, 3);
    std::uint32_t bits = 0;
    for (std::size_t index = 0; index < 3; ++index) {
      const std::uint32_t byte = index < count ? static_cast<unsigned char>(bytes[at + index]) : 0U;
      bits = (bits << 8U) | byte;
    }
    for (std::size_t index = 0; index < 4; ++index) {
      text.push_back(index <= count ? alphabet[(bits >> (18 - 6 * index)) & 63U] : '=');
    }
  }
  return text;
}

std::optional<std::string> foundation::bytesFromBase64(std::u16string_view text, UnknownCharacters unknownCharacters) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  unsigned digits = 0;  // of the group in progress, padding included
  unsigned paddings = 0;
  for (const char16_t unit : text) {
    const std::uint8_t value = valueOf(unit);
    if (unit == padding) {
      if (digits < 2) return std::nullopt;
      ++paddings;
    } else if (value == unknown) {
      if (unknownCharacters == UnknownCharacters::AreRefused) return std::nullopt;
      continue;
    } else if (paddings > 0) {
      return std::nullopt;
    }
    bits = (bits << 6U) | (unit == padding ? 0U : value);
    if (++digits < 4) continue;
    for (unsigned index = 0; index < 3 - paddings; ++index) bytes.push_back(byteOf(bits, 16 - 8 * index));
    digits = 0;
  }
  if (digits != 0) return std::nullopt;
  return bytes;
}

}  // namespace telvo
