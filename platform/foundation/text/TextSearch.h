#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/runtime/NSRange.h"

inline namespace telvo {

namespace foundation {

enum class LetterCase { Kept, Folded };

// Searches texts for one text, by units or by full case folding, in time linear in both lengths. A folded match begins
// and ends between characters: "s" is not found in "ß", though "ß" folds to "ss". Immutable, any thread.
class TextSearch {
 public:
  TextSearch(std::u16string_view target, LetterCase letterCase);

  // The first occurrence that begins at `from` or behind it; {NSNotFound, 0} when there is none, and always for an
  // empty target.
  NSRange find(std::u16string_view text, std::size_t from = 0) const;

 private:
  NSRange findUnits(std::u16string_view text, std::size_t from) const;
  NSRange findFolded(std::u16string_view text, std::size_t from) const;
  std::size_t matchedAfter(std::size_t matched, char16_t unit) const;

  std::u16string target_;
  LetterCase letterCase_;
  // For each beginning of the target, the length of the longest shorter beginning that it also ends in
  // (Knuth, Morris and Pratt). Empty where the standard library's search is as good.
  std::vector<std::size_t> fallback_;
};

}  // namespace foundation

}  // namespace telvo
