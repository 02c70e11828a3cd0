// The methods of NSString that search in texts, and those that split and replace by what they find.

#include <algorithm>

#include "foundation/collections/NSArray.h"
#include "foundation/text/CaseFolding.h"
#include "foundation/text/NSString.h"
#include "foundation/text/StringArguments.h"
#include "foundation/text/TextSearch.h"

inline namespace telvo {

namespace {

using foundation::LetterCase;
using foundation::requireRange;
using foundation::requireText;

constexpr NSRange nowhere{NSNotFound, 0};
constexpr std::size_t noMatch = std::u16string_view::npos;

LetterCase letterCaseOf(NSUInteger options) {
  return (options & NSCaseInsensitiveSearch) != 0 ? LetterCase::Folded : LetterCase::Kept;
}

// The length of the shortest run of `text` from `from` on whose folding is `target`, or noMatch.
std::size_t foldedMatch(std::u16string_view text, std::size_t from, std::u16string_view target) {
  std::size_t at = from;
  std::size_t matched = 0;
  while (matched < target.size()) {
    if (at >= text.size()) return noMatch;
    const foundation::FoldedCharacter character = foundation::foldedCharacterAt(text, at);
    if (target.substr(matched, character.size) != character.view()) return noMatch;
    matched += character.size;
    at += character.characterSize;
  }
  return at - from;
}

// What a search looks for, in the form that it is compared in.
struct Target {
  Target(std::u16string_view text, LetterCase given)
      : units(given == LetterCase::Folded ? foundation::foldedText(text) : std::u16string(text)), letterCase(given) {}

  // The length of the match that begins at the index, or noMatch.
  std::size_t matchAt(std::u16string_view text, std::size_t index) const {
    if (letterCase == LetterCase::Folded) return foldedMatch(text, index, units);
    return text.substr(index, units.size()) == units ? units.size() : noMatch;
  }

  std::u16string units;
  LetterCase letterCase;
};

NSRange lastOccurrence(std::u16string_view text, const Target& target) {
  if (target.letterCase == LetterCase::Kept) {
    const std::size_t found = text.rfind(target.units);
    return found == noMatch ? nowhere : NSRange{found, target.units.size()};
  }
  for (std::size_t rest = text.size(); rest > 0; --rest) {
    const std::size_t size = target.matchAt(text, rest - 1);
    if (size != noMatch) return {rest - 1, size};
  }
  return nowhere;
}

NSRange occurrenceAtStart(std::u16string_view text, const Target& target) {
  const std::size_t size = target.matchAt(text, 0);
  return size == noMatch ? nowhere : NSRange{0, size};
}

// A match that ignores case may be longer or shorter than the target, so each place near the end is tried.
NSRange occurrenceAtEnd(std::u16string_view text, const Target& target) {
  if (target.letterCase == LetterCase::Kept) {
    const std::size_t size = target.units.size();
    return text.ends_with(target.units) ? NSRange{text.size() - size, size} : nowhere;
  }
  for (std::size_t rest = text.size(); rest > 0; --rest) {
    const std::size_t size = target.matchAt(text, rest - 1);
    if (size != noMatch && rest - 1 + size == text.size()) return {rest - 1, size};
  }
  return nowhere;
}

NSRange occurrence(std::u16string_view text, const Ref<NSString>& target, NSUInteger options) {
  const LetterCase letterCase = letterCaseOf(options);
  const bool backwards = (options & NSBackwardsSearch) != 0;
  if ((options & NSAnchoredSearch) != 0) {
    const Target anchored(target->units(), letterCase);
    return backwards ? occurrenceAtEnd(text, anchored) : occurrenceAtStart(text, anchored);
  }
  if (backwards) return lastOccurrence(text, Target(target->units(), letterCase));
  return foundation::TextSearch(target->units(), letterCase).find(text);
}

}  // namespace

NSRange NSString::rangeOfString(const Ref<NSString>& text, NSUInteger options) const {
  return rangeOfString_options_range(text, options, {0, length()});
}

NSRange NSString::rangeOfString_options_range(const Ref<NSString>& text, NSUInteger options, NSRange range) const {
  requireText(text);
  requireRange(range, length());
  if (text->length() == 0) return nowhere;
  const NSRange found = occurrence(units().substr(range.location, range.length), text, options);
  return found.location == NSNotFound ? nowhere : NSRange{range.location + found.location, found.length};
}

bool NSString::containsString(const Ref<NSString>& text) const { return rangeOfString(text).location != NSNotFound; }

bool NSString::hasPrefix(const Ref<NSString>& prefix) const { return prefix && units_.starts_with(prefix->units_); }

bool NSString::hasSuffix(const Ref<NSString>& suffix) const { return suffix && units_.ends_with(suffix->units_); }

Ref<NSArray> NSString::componentsSeparatedByString(const Ref<NSString>& separator) const {
  requireText(separator);
  const foundation::TextSearch search(separator->units(), foundation::LetterCase::Kept);
  std::vector<id> components;
  std::size_t from = 0;
  for (NSRange found = search.find(units_); found.location != NSNotFound; found = search.find(units_, from)) {
    components.push_back(stringWithUnits(units_.substr(from, found.location - from)));
    from = NSMaxRange(found);
  }
  components.push_back(stringWithUnits(units_.substr(from)));
  return NSArray::arrayWithVector(std::move(components));
}

Ref<NSString> NSString::stringByReplacingOccurrencesOfString_withString(const Ref<NSString>& target,
                                                                        const Ref<NSString>& replacement) const {
  const auto result = make<NSMutableString>(units_);
  result->replaceOccurrencesOfString_withString_options_range(target, replacement, NSLiteralSearch, {0, length()});
  return as<NSString>(result->copy());
}

std::vector<NSRange> NSMutableString::occurrences(const Ref<NSString>& target, NSUInteger options,
                                                  NSRange range) const {
  std::vector<NSRange> places;
  if (!(options & (NSBackwardsSearch | NSAnchoredSearch))) {
    const foundation::TextSearch search(target->units(), letterCaseOf(options));
    const std::u16string_view searched = std::u16string_view(units_).substr(0, NSMaxRange(range));
    std::size_t from = range.location;
    for (NSRange found = search.find(searched, from); found.location != NSNotFound;
         found = search.find(searched, from)) {
      places.push_back(found);
      from = NSMaxRange(found);
    }
    return places;
  }
  // A backward search finds other places than a forward one where occurrences overlap.
  NSRange rest = range;
  while (true) {
    const NSRange found = rangeOfString_options_range(target, options, rest);
    if (found.location == NSNotFound) break;
    places.push_back(found);
    if (options & NSAnchoredSearch) break;
    rest.length = found.location - rest.location;
  }
  std::ranges::reverse(places);
  return places;
}

NSUInteger NSMutableString::replaceOccurrencesOfString_withString_options_range(const Ref<NSString>& target,
                                                                                const Ref<NSString>& replacement,
                                                                                NSUInteger options, NSRange range) {
  requireText(target);
  requireText(replacement);
  requireRange(range, length());
  // Collected into a new text, so that many replacements cost one pass.
  const std::vector<NSRange> places = occurrences(target, options, range);
  if (places.empty()) return 0;
  std::u16string result;
  std::size_t copied = 0;
  for (const NSRange place : places) {
    result.append(units_, copied, place.location - copied);
    result.append(replacement->units());
    copied = NSMaxRange(place);
  }
  result.append(units_, copied);
  units_ = std::move(result);
  return places.size();
}

}  // namespace telvo
