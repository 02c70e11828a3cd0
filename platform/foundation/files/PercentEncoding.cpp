#include "foundation/files/PercentEncoding.h"

#include <array>

inline namespace telvo {

namespace {

constexpr std::array<unsigned char, 128> makeClasses() {
  std::array<unsigned char, 128> classes{};
  const auto add = [&](std::string_view characters, unsigned urlClass) {
    for (const char character : characters) {
      auto& entry = classes[static_cast<unsigned char>(character)];
      entry = static_cast<unsigned char>(entry | urlClass);
    }
  };
  add("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~", foundation::URLUnreserved);
  add("!$&'()*+,;=", foundation::URLSubDelimiters);
  add(":", foundation::URLColon);
  add("@", foundation::URLAt);
  add("/", foundation::URLSlash);
  add("?", foundation::URLQuestionMark);
  add("0123456789ABCDEFabcdef", foundation::URLHexadecimal);
  return classes;
}

constexpr std::array<unsigned char, 128> classesOfCharacters = makeClasses();

bool isEscape(std::string_view text, std::size_t at) {
  return at + 2 < text.size() && text[at] == '%' &&
         foundation::isURLCharacter(text[at + 1], foundation::URLHexadecimal) &&
         foundation::isURLCharacter(text[at + 2], foundation::URLHexadecimal);
}

unsigned hexadecimalValue(char digit) {
  if (digit <= '9') return static_cast<unsigned>(digit - '0');
  return (static_cast<unsigned>(digit) & 0xDFU) - 'A' + 10;
}

}  // namespace

bool foundation::isURLCharacter(char byte, unsigned classes) {
  const auto index = static_cast<unsigned char>(byte);
  return index < classesOfCharacters.size() && (classesOfCharacters[index] & classes) != 0;
}

std::string foundation::percentEncoded(std::string_view bytes, unsigned allowedClasses) {
  static constexpr std::string_view digits = "0123456789ABCDEF";
  std::string text;
  text.reserve(bytes.size() * 3 / 2);
  for (const char byte : bytes) {
    if (isURLCharacter(byte, allowedClasses)) {
      text.push_back(byte);
      continue;
    }
    const auto value = static_cast<unsigned char>(byte);
    const char escape[] = {'%', digits[value >> 4U], digits[value & 15U]};
    text.append(escape, sizeof escape);
  }
  return text;
}

std::string foundation::percentDecoded(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (!isEscape(text, at)) {
      bytes.push_back(text[at]);
      continue;
    }
    const unsigned value = hexadecimalValue(text[at + 1]) * 16 + hexadecimalValue(text[at + 2]);
    bytes.push_back(static_cast<char>(static_cast<unsigned char>(value)));
    at += 2;
  }
  return bytes;
}

bool foundation::isPercentEncoded(std::string_view text, unsigned allowedClasses) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (isURLCharacter(text[at], allowedClasses)) continue;
    if (!isEscape(text, at)) return false;
    at += 2;
  }
  return true;
}

}  // namespace telvo
