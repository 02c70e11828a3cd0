#include "foundation/text/TextSearch.h"

#include "foundation/text/CaseFolding.h"

inline namespace telvo {

namespace {

constexpr NSRange notFound{NSNotFound, 0};
// Up to this length the standard search's comparison of the whole target at every place costs next to nothing.
constexpr std::size_t shortTarget = 16;

std::vector<std::size_t> fallbacksOf(std::u16string_view target) {
  std::vector<std::size_t> fallback(target.size() + 1, 0);
  std::size_t matched = 0;
  for (std::size_t at = 1; at < target.size(); ++at) {
    while (matched > 0 && target[at] != target[matched]) matched = fallback[matched];
    if (target[at] == target[matched]) ++matched;
    fallback[at + 1] = matched;
  }
  return fallback;
}

}  // namespace

foundation::TextSearch::TextSearch(std::u16string_view target, LetterCase letterCase)
    : target_(letterCase == LetterCase::Folded ? foldedText(target) : std::u16string(target)), letterCase_(letterCase) {
  if (letterCase == LetterCase::Folded || target.size() > shortTarget) fallback_ = fallbacksOf(target_);
}

NSRange foundation::TextSearch::find(std::u16string_view text, std::size_t from) const {
  if (target_.empty()) return notFound;
  if (letterCase_ == LetterCase::Folded) return findFolded(text, from);
  if (!fallback_.empty()) return findUnits(text, from);
  const std::size_t found = text.find(target_, from);
  return found == std::u16string_view::npos ? notFound : NSRange{found, target_.size()};
}

std::size_t foundation::TextSearch::matchedAfter(std::size_t matched, char16_t unit) const {
  if (matched == target_.size()) matched = fallback_[matched];
  while (matched > 0 && target_[matched] != unit) matched = fallback_[matched];
  return target_[matched] == unit ? matched + 1 : 0;
}

NSRange foundation::TextSearch::findUnits(std::u16string_view text, std::size_t from) const {
  std::size_t matched = 0;
  for (std::size_t at = from; at < text.size(); ++at) {
    matched = matchedAfter(matched, text[at]);
    if (matched == target_.size()) return {at + 1 - matched, matched};
  }
  return notFound;
}

NSRange foundation::TextSearch::findFolded(std::u16string_view text, std::size_t from) const {
  constexpr std::size_t insideCharacter = NSNotFound;
  // Where in the text the character began whose folding gave the unit; one place for each of the last units.
  std::vector<std::size_t> origins(target_.size(), insideCharacter);
  std::size_t folded = 0;
  std::size_t matched = 0;
  for (std::size_t at = from; at < text.size();) {
    const FoldedCharacter character = foldedCharacterAt(text, at);
    for (std::size_t index = 0; index < character.size; ++index) {
      origins[folded++ % origins.size()] = index == 0 ? at : insideCharacter;
      matched = matchedAfter(matched, character.units[index]);
    }
    at += character.characterSize;
    if (matched != target_.size()) continue;
    const std::size_t start = origins[folded % origins.size()];
    if (start != insideCharacter) return {start, at - start};
  }
  return notFound;
}

}  // namespace telvo
