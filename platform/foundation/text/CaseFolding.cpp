#include "foundation/text/CaseFolding.h"

#include <algorithm>

#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include "foundation/text/CanonicalForm.h"
#include "foundation/text/UTF16.h"

inline namespace telvo {

namespace {

char16_t foldedASCII(char16_t unit) { return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit; }

// Chinese, Japanese and Korean characters have no case; they are not worth asking about.
bool isWithoutCase(char16_t unit) { return (unit >= 0x2E80 && unit < 0xA640) || (unit >= 0xAC00 && unit < 0xD800); }

}  // namespace

std::u16string foundation::foldedText(std::u16string_view text) {
  // Most text that is compared is ASCII, for which folding is a table of 26 letters.
  std::u16string result(text);
  for (char16_t& unit : result) {
    if (unit < 0x80) {
      unit = foldedASCII(unit);
      continue;
    }
    icu::UnicodeString whole(false, text.data(), static_cast<std::int32_t>(text.size()));
    whole.foldCase();
    return {whole.getBuffer(), static_cast<std::size_t>(whole.length())};
  }
  return result;
}

std::u16string foundation::canonicallyFoldedText(std::u16string_view text) {
  if (std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; })) return foldedText(text);
  // Decomposed before as well, because a mark may change its class by folding; and behind, because letters may come out
  // composed.
  return canonicallyDecomposed(foldedText(canonicallyDecomposed(text)));
}

foundation::FoldedCharacter foundation::foldedCharacterAt(std::u16string_view text, std::size_t index) {
  FoldedCharacter folded;
  const char16_t unit = text[index];
  if (unit < 0x80 || isWithoutCase(unit)) {
    folded.units[0] = foldedASCII(unit);
    folded.size = 1;
    return folded;
  }
  folded.characterSize = lengthOfCharacterAt(text, index);
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t size =
      u_strFoldCase(folded.units.data(), static_cast<std::int32_t>(folded.units.size()), text.data() + index,
                    static_cast<std::int32_t>(folded.characterSize), U_FOLD_CASE_DEFAULT, &status);
  folded.size = static_cast<std::size_t>(size);
  return folded;
}

}  // namespace telvo
