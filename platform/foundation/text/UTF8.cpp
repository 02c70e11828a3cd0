#include "foundation/text/UTF8.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "foundation/text/UTF16.h"

inline namespace telvo {

namespace {

struct Sequence {
  char32_t character = 0;
  std::size_t size = 0;  // 0: not valid
};

bool isContinuation(std::string_view bytes, std::size_t index) {
  return index < bytes.size() && (static_cast<unsigned char>(bytes[index]) & 0xC0U) == 0x80U;
}

// Most text is ASCII, or begins with a long run of it, which is taken eight bytes at a time.
std::size_t lengthOfASCII(std::string_view bytes) {
  constexpr std::uint64_t highBits = 0x8080808080808080;
  std::size_t length = 0;
  std::uint64_t eight = 0;
  while (bytes.size() - length >= sizeof eight) {
    std::memcpy(&eight, bytes.data() + length, sizeof eight);
    if (eight & highBits) break;
    length += sizeof eight;
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80) ++length;
  return length;
}

void appendASCII(std::u16string& units, std::string_view text) {
  const std::size_t length = units.size();
  units.resize(length + text.size());
  for (std::size_t i = 0; i < text.size(); ++i) units[length + i] = static_cast<unsigned char>(text[i]);
}

Sequence sequenceAt(std::string_view bytes, std::size_t at) {
  const auto byte = [&](std::size_t offset) {
    return static_cast<char32_t>(static_cast<unsigned char>(bytes[at + offset]));
  };
  const char32_t lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  if (lead >= 0xC2 && lead <= 0xDF && isContinuation(bytes, at + 1)) {
    return {((lead & 0x1FU) << 6U) | (byte(1) & 0x3FU), 2};
  }
  if (lead >= 0xE0 && lead <= 0xEF && isContinuation(bytes, at + 1) && isContinuation(bytes, at + 2)) {
    const char32_t character = ((lead & 0x0FU) << 12U) | ((byte(1) & 0x3FU) << 6U) | (byte(2) & 0x3FU);
    if (character >= 0x800 && !foundation::isSurrogate(character)) return {character, 3};
  }
  if (lead >= 0xF0 && lead <= 0xF4 && isContinuation(bytes, at + 1) && isContinuation(bytes, at + 2) &&
      isContinuation(bytes, at + 3)) {
    const char32_t character =
        ((lead & 0x07U) << 18U) | ((byte(1) & 0x3FU) << 12U) | ((byte(2) & 0x3FU) << 6U) | (byte(3) & 0x3FU);
    if (character >= 0x10000 && character <= 0x10FFFF) return {character, 4};
  }
  return {};
}

}  // namespace

std::u16string foundation::unitsFromUTF8(std::string_view utf8) {
  std::u16string units;
  units.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    if (const std::size_t run = lengthOfASCII(utf8.substr(at)); run > 0) {
      appendASCII(units, utf8.substr(at, run));
      at += run;
      continue;
    }
    const Sequence sequence = sequenceAt(utf8, at);
    if (sequence.size == 0) {
      units.push_back(static_cast<char16_t>(0xDC00U + static_cast<unsigned char>(utf8[at++])));
      continue;
    }
    appendCharacter(units, sequence.character);
    at += sequence.size;
  }
  return units;
}

void foundation::appendUTF8(std::string& utf8, char32_t character) {
  const auto put = [&](char32_t value) { utf8.push_back(static_cast<char>(static_cast<unsigned char>(value))); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0U | (character >> 6U));
    put(0x80U | (character & 0x3FU));
  } else if (character < 0x10000) {
    put(0xE0U | (character >> 12U));
    put(0x80U | ((character >> 6U) & 0x3FU));
    put(0x80U | (character & 0x3FU));
  } else {
    put(0xF0U | (character >> 18U));
    put(0x80U | ((character >> 12U) & 0x3FU));
    put(0x80U | ((character >> 6U) & 0x3FU));
    put(0x80U | (character & 0x3FU));
  }
}

std::string foundation::UTF8FromUnits(std::u16string_view units) {
  std::string output;
  output.reserve(units.size());
  for (std::size_t at = 0; at < units.size(); ++at) {
    const char16_t unit = units[at];
    if (isSurrogatePairAt(units, at)) {
      appendUTF8(output, characterAt(units, at));
      ++at;
    } else if (unit >= 0xDC80 && unit <= 0xDCFF) {
      output.push_back(static_cast<char>(static_cast<unsigned char>(unit - 0xDC00)));
    } else {
      appendUTF8(output, unit);
    }
  }
  return output;
}

bool foundation::isUTF8(std::string_view bytes) {
  for (std::size_t at = lengthOfASCII(bytes); at < bytes.size();) {
    const Sequence sequence = sequenceAt(bytes, at);
    if (sequence.size == 0) return false;
    at += sequence.size;
  }
  return true;
}

double foundation::doubleFromASCII(const std::string& text) {
  double value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  // Too small gives 0, too large infinity; the exponent's sign tells which.
  const bool small = text.find("e-") != std::string::npos || text.find("E-") != std::string::npos ||
                     text.find_first_of("eE") == std::string::npos;
  const double magnitude = small ? 0.0 : std::numeric_limits<double>::infinity();
  return text.starts_with('-') ? -magnitude : magnitude;
}

}  // namespace telvo
