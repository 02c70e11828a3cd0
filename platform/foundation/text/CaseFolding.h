#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

inline namespace telvo {

// Full case folding (Unicode chapter 3.13), which no locale changes: "Straße" and "STRASSE" fold to the same text.
namespace foundation {

std::u16string foldedText(std::u16string_view text);

// The same for all texts that differ in letter case or in the way their characters are composed: canonical caseless
// matching (Unicode chapter 3.13). Linear, however many combining marks there are.
std::u16string canonicallyFoldedText(std::u16string_view text);

// One character's folding, and the number of units that the character itself has.
struct FoldedCharacter {
  std::array<char16_t, 4> units{};
  std::size_t size = 0;
  std::size_t characterSize = 1;

  std::u16string_view view() const { return {units.data(), size}; }
};
FoldedCharacter foldedCharacterAt(std::u16string_view text, std::size_t index);

}  // namespace foundation

}  // namespace telvo
