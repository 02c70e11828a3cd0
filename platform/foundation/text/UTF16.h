#pragma once

#include <cstddef>
#include <string>
#include <string_view>

inline namespace telvo {

// The arithmetic of surrogate pairs: two units, a lead and a trail, stand for one character from U+10000 on.
namespace foundation {

constexpr bool isLeadSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isTrailSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr bool isSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

// Whether a pair begins at the index.
constexpr bool isSurrogatePairAt(std::u16string_view text, std::size_t index) {
  return index + 1 < text.size() && isLeadSurrogate(text[index]) && isTrailSurrogate(text[index + 1]);
}

// The number of units, 1 or 2, of the character that begins at the index. A surrogate without its other half counts as
// a character.
constexpr std::size_t lengthOfCharacterAt(std::u16string_view text, std::size_t index) {
  return isSurrogatePairAt(text, index) ? 2 : 1;
}

constexpr char32_t characterOfPair(char16_t lead, char16_t trail) {
  return 0x10000 + (static_cast<char32_t>(lead - 0xD800) << 10U) + static_cast<char32_t>(trail - 0xDC00);
}

// The character that begins at the index, or the surrogate that stands alone there.
constexpr char32_t characterAt(std::u16string_view text, std::size_t index) {
  return isSurrogatePairAt(text, index) ? characterOfPair(text[index], text[index + 1]) : text[index];
}

// Up to U+10FFFF.
inline void appendCharacter(std::u16string& text, char32_t character) {
  if (character < 0x10000) {
    text.push_back(static_cast<char16_t>(character));
  } else {
    text.push_back(static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10U)));
    text.push_back(static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FFU)));
  }
}

}  // namespace foundation

}  // namespace telvo
