#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSData.h"
#include "foundation/collections/NSUUID.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/NSCharacterSet.h"

inline namespace telvo {

namespace {

using Run = NSCharacterSet::Run;

constexpr NSRange notFound{NSNotFound, 0};

// The characters that belong to the set, or those that do not.
Ref<NSString> keeping(Run kept, const Ref<NSCharacterSet>& set, const Ref<NSString>& text) {
  const Run left = kept == Run::OfMembers ? Run::OfOthers : Run::OfMembers;
  const std::u16string_view units = text->units();
  std::u16string result;
  for (NSUInteger start = 0; start < units.size();) {
    start = set->endOfRun(units, start, left);
    const NSUInteger end = set->endOfRun(units, start, kept);
    result.append(units.substr(start, end - start));
    start = end;
  }
  return NSString::stringWithUnits(std::move(result));
}

Ref<NSString> withoutSpaces(const Ref<NSString>& text) {
  std::u16string units(text->units());
  std::erase(units, u' ');
  return NSString::stringWithUnits(std::move(units));
}

NSRange rangeOf(const Ref<NSString>& marker, const Ref<NSString>& text, NSUInteger from = 0) {
  if (!marker) return notFound;
  return text->rangeOfString_options_range(marker, NSLiteralSearch, {from, text->length() - from});
}

// How many units of a text of that length a count asks for: 3 for three of them, -3 for all but three.
NSUInteger unitsAskedFor(NSInteger count, NSInteger length) {
  const NSInteger units = count < 0 ? length + count : count;
  return static_cast<NSUInteger>(std::clamp<NSInteger>(units, 0, length));
}

char16_t rotated13(char16_t unit) {
  constexpr unsigned caseBit = 0x20;
  unsigned letter = unit & ~caseBit;
  // The bound takes in what lies between Z and the end of ASCII, which is why brackets turn into letters.
  if (static_cast<std::uint16_t>(letter - u'A') <= 57) letter = (letter - u'A' + 13) % 26 + u'A';
  return static_cast<char16_t>((letter | (unit & caseBit)) & 0xFFU);
}

// One line on its way into pieces.
class LineWrapper {
 public:
  LineWrapper(NSInteger maximumLength, std::vector<id>& pieces) : maximumLength_(maximumLength), pieces_(pieces) {}

  void wrap(std::u16string_view line) {
    const Ref<NSCharacterSet> whiteSpace = NSCharacterSet::whitespaceCharacterSet();
    for (std::size_t at = 0; at < line.size();) {
      const std::size_t wordEnd = whiteSpace->endOfRun(line, at, Run::OfOthers);
      const std::size_t spaceEnd = whiteSpace->endOfRun(line, wordEnd, Run::OfMembers);
      // A scan that finds nothing leaves the value of the one before it.
      if (wordEnd > at) word_ = line.substr(at, wordEnd - at);
      if (spaceEnd > wordEnd) space_ = line.substr(wordEnd, spaceEnd - wordEnd);
      appendWordAndSpace();
      at = spaceEnd;
    }
    endPiece();
  }

 private:
  void appendWordAndSpace() {
    const std::size_t length = piece_.size() + word_.value_or(u"").size() + space_.value_or(u"").size();
    if (static_cast<NSInteger>(length) > maximumLength_) endPiece();
    piece_.append(required(word_));
    piece_.append(required(space_));
  }

  void endPiece() {
    // Empty lines, of which there can be millions, share their piece.
    pieces_.push_back(piece_.empty() ? ""_ns : NSString::stringWithUnits(std::move(piece_)));
    piece_.clear();
  }

  // Appending nothing at all is an error of the platform's mutable text, and callers know it as one.
  static std::u16string_view required(std::optional<std::u16string_view> text) {
    if (!text) NSException::raise_format(NSInvalidArgumentException(), "nil string argument"_ns);
    return *text;
  }

  NSInteger maximumLength_;
  std::vector<id>& pieces_;
  std::u16string piece_;
  std::optional<std::u16string_view> word_;
  std::optional<std::u16string_view> space_;
};

const Ref<NSCharacterSet>& passedOverBeforeWords() {
  static const Ref<NSCharacterSet>& set = *new Ref([] {
    const auto united = as<NSMutableCharacterSet>(NSCharacterSet::whitespaceAndNewlineCharacterSet()->mutableCopy());
    united->formUnionWithCharacterSet(NSCharacterSet::punctuationCharacterSet());
    return as<NSCharacterSet>(united->copy());
  }());
  return set;
}

const NSCategory category(
    NSString::classObject(),
    {
        method("telvo_caseAndSpaceInsensitiveCompare:"_sel, &telvo_caseAndSpaceInsensitiveCompare),
        method("telvo_containsStringLetters:"_sel, &telvo_containsStringLetters),
        method("telvo_isLetterEquivalentToString:"_sel, &telvo_isLetterEquivalentToString),
        method("telvo_containsSomething"_sel, &telvo_containsSomething),
        method("telvo_signedLength"_sel, &telvo_signedLength),
        method("telvo_or:"_sel, &telvo_or),
        method("telvo_indexedBy:"_sel, &telvo_indexedBy),
        method("telvo_stringByRemovingCharactersInSet:"_sel, &telvo_stringByRemovingCharactersInSet),
        method("telvo_digitsOnly"_sel, &telvo_digitsOnly),
        method("telvo_lowercasedLettersOnly"_sel, &telvo_lowercasedLettersOnly),
        method("telvo_lowercasedLettersOrDigitsOnly"_sel, &telvo_lowercasedLettersOrDigitsOnly),
        method("telvo_stringByRemovingDiacriticalMarks"_sel, &telvo_stringByRemovingDiacriticalMarks),
        method("telvo_stringByRemovingPrefix:"_sel, &telvo_stringByRemovingPrefix),
        method("telvo_stringByRemovingSuffix:"_sel, &telvo_stringByRemovingSuffix),
        method("telvo_stringByDeletingLeadingSpaces:trailingSpaces:"_sel,
               &telvo_stringByDeletingLeadingSpaces_trailingSpaces),
        method("telvo_stringWithMinimumLength:paddedWith:padLeft:"_sel,
               &telvo_stringWithMinimumLength_paddedWith_padLeft),
        method("telvo_stringByRemovingQuotesAndSpaces"_sel, &telvo_stringByRemovingQuotesAndSpaces),
        method("telvo_left:"_sel, &telvo_left),
        method("telvo_right:"_sel, &telvo_right),
        method("telvo_from:length:"_sel, &telvo_from_length),
        method("telvo_from:to:"_sel, &telvo_from_to),
        method("telvo_substringFromString:"_sel, &telvo_substringFromString),
        method("telvo_substringToString:"_sel, &telvo_substringToString),
        method("telvo_rangeFromString:toString:"_sel, &telvo_rangeFromString_toString),
        method("telvo_rangeFromString:toString:inclusive:"_sel, &telvo_rangeFromString_toString_inclusive),
        method("telvo_substringFromString:toString:defaultString:"_sel,
               &telvo_substringFromString_toString_defaultString),
        method("telvo_reverse"_sel, &telvo_reverse),
        method("telvo_rotate13"_sel, &telvo_rotate13),
        method("telvo_encodeAsBase64UsingEncoding:"_sel, &telvo_encodeAsBase64UsingEncoding),
        method("telvo_decodeFromBase64UsingEncoding:"_sel, &telvo_decodeFromBase64UsingEncoding),
        method("telvo_componentsSeparatedByLength:"_sel, &telvo_componentsSeparatedByLength),
        method("telvo_wordCount"_sel, &telvo_wordCount),
    });

}  // namespace

NSComparisonResult telvo_caseAndSpaceInsensitiveCompare(const Ref<NSString>& text, const Ref<NSString>& other) {
  if (!text) return NSOrderedSame;
  return withoutSpaces(text)->caseInsensitiveCompare(other ? withoutSpaces(other) : nil);
}

bool telvo_containsStringLetters(const Ref<NSString>& text, const Ref<NSString>& other) {
  return text && other && telvo_lowercasedLettersOnly(text)->containsString(telvo_lowercasedLettersOnly(other));
}

bool telvo_isLetterEquivalentToString(const Ref<NSString>& text, const Ref<NSString>& other) {
  return text && telvo_lowercasedLettersOnly(text)->isEqualToString(telvo_lowercasedLettersOnly(other));
}

bool telvo_containsSomething(const Ref<NSString>& text) { return text && text->length() != 0; }

NSInteger telvo_signedLength(const Ref<NSString>& text) { return text ? static_cast<NSInteger>(text->length()) : 0; }

Ref<NSString> telvo_or(const Ref<NSString>& text, const Ref<NSString>& other) { return text && other ? other : text; }

Ref<NSString> telvo_indexedBy(const Ref<NSString>& text, NSInteger index) {
  if (!text) return nil;
  if (index < 0) return ""_ns;
  const Ref<NSString>& separator = " | "_ns;
  NSUInteger start = 0;
  NSRange end = rangeOf(separator, text);
  for (; index > 0; --index) {
    if (end.location == NSNotFound) return ""_ns;
    start = NSMaxRange(end);
    end = rangeOf(separator, text, start);
  }
  return text->substringWithRange({start, std::min(end.location, text->length()) - start});
}

Ref<NSString> telvo_stringByRemovingCharactersInSet(const Ref<NSString>& text, const Ref<NSCharacterSet>& set) {
  if (!text) return nil;
  const Ref<NSMutableString> result = NSMutableString::stringWithString(text);
  telvo_deleteCharactersInSet(result, set);
  return as<NSString>(result->copy());
}

Ref<NSString> telvo_digitsOnly(const Ref<NSString>& text) {
  return text ? keeping(Run::OfMembers, NSCharacterSet::decimalDigitCharacterSet(), text) : nil;
}

Ref<NSString> telvo_lowercasedLettersOnly(const Ref<NSString>& text) {
  return text ? keeping(Run::OfMembers, NSCharacterSet::lowercaseLetterCharacterSet(), text->lowercaseString()) : nil;
}

Ref<NSString> telvo_lowercasedLettersOrDigitsOnly(const Ref<NSString>& text) {
  return text ? keeping(Run::OfMembers, NSCharacterSet::alphanumericCharacterSet(), text->lowercaseString()) : nil;
}

Ref<NSString> telvo_stringByRemovingDiacriticalMarks(const Ref<NSString>& text) {
  if (!text) return nil;
  return keeping(Run::OfOthers, NSCharacterSet::nonBaseCharacterSet(), text->decomposedStringWithCanonicalMapping());
}

Ref<NSString> telvo_stringByRemovingPrefix(const Ref<NSString>& text, const Ref<NSString>& prefix) {
  return text && text->hasPrefix(prefix) ? text->substringFromIndex(prefix->length()) : text;
}

Ref<NSString> telvo_stringByRemovingSuffix(const Ref<NSString>& text, const Ref<NSString>& suffix) {
  return text && text->hasSuffix(suffix) ? text->substringToIndex(text->length() - suffix->length()) : text;
}

Ref<NSString> telvo_stringByDeletingLeadingSpaces_trailingSpaces(const Ref<NSString>& text, bool leading,
                                                                 bool trailing) {
  if (!text) return nil;
  const Ref<NSMutableString> result = NSMutableString::stringWithString(text);
  telvo_deleteLeadingSpaces_trailingSpaces(result, leading, trailing);
  return as<NSString>(result->copy());
}

Ref<NSString> telvo_stringWithMinimumLength_paddedWith_padLeft(const Ref<NSString>& text, NSInteger minimumLength,
                                                               const Ref<NSString>& padding, bool padLeft) {
  const std::u16string_view pad = padding ? padding->units() : u" ";
  const NSInteger length = telvo_signedLength(text);
  if (!text || minimumLength <= length || pad.empty()) return text;
  const auto missing = static_cast<std::size_t>(minimumLength - length);
  // Longer texts are beyond what the rest of the library can do with them, if memory held them at all.
  constexpr std::size_t longestPadding = std::numeric_limits<std::int32_t>::max();
  if (missing > longestPadding / pad.size()) return text;
  std::u16string units;
  units.reserve(text->length() + missing * pad.size());
  if (!padLeft) units.append(text->units());
  for (std::size_t count = 0; count < missing; ++count) units.append(pad);
  if (padLeft) units.append(text->units());
  return NSString::stringWithUnits(std::move(units));
}

Ref<NSString> telvo_stringByRemovingQuotesAndSpaces(const Ref<NSString>& text) {
  if (!text) return nil;
  std::u16string units;
  bool insideQuotes = false;
  for (const char16_t unit : text->units()) {
    if (unit == u'"') {
      insideQuotes = !insideQuotes;
    } else if (unit == u' ' && insideQuotes) {
      units.append(u"&SP&");
    } else {
      units.push_back(unit);
    }
  }
  return NSString::stringWithUnits(std::move(units));
}

Ref<NSString> telvo_left(const Ref<NSString>& text, NSInteger count) {
  const NSInteger length = telvo_signedLength(text);
  if (!text || count >= length) return text;
  return text->substringToIndex(unitsAskedFor(count, length));
}

Ref<NSString> telvo_right(const Ref<NSString>& text, NSInteger count) {
  const NSInteger length = telvo_signedLength(text);
  if (!text || count >= length) return text;
  return text->substringFromIndex(text->length() - unitsAskedFor(count, length));
}

Ref<NSString> telvo_from_length(const Ref<NSString>& text, NSInteger from, NSInteger length) {
  if (!text) return nil;
  // Taken unsigned, a negative index lies behind every end.
  const auto start = static_cast<NSUInteger>(from);
  return start < text->length() ? telvo_left(text->substringFromIndex(start), length) : ""_ns;
}

Ref<NSString> telvo_from_to(const Ref<NSString>& text, NSInteger from, NSInteger to) {
  if (!text) return nil;
  if (from < 0 || to < from) return ""_ns;
  const NSInteger length = to - from;  // one less than asked for: the whole range of integers may be
  return telvo_from_length(text, from, std::min(length, NSIntegerMax - 1) + 1);
}

Ref<NSString> telvo_substringFromString(const Ref<NSString>& text, const Ref<NSString>& marker) {
  if (!text) return nil;
  const NSRange found = rangeOf(marker, text);
  return found.location == NSNotFound ? text : text->substringFromIndex(NSMaxRange(found));
}

Ref<NSString> telvo_substringToString(const Ref<NSString>& text, const Ref<NSString>& marker) {
  if (!text) return nil;
  const NSRange found = rangeOf(marker, text);
  return found.location == NSNotFound ? text : text->substringToIndex(found.location);
}

NSRange telvo_rangeFromString_toString(const Ref<NSString>& text, const Ref<NSString>& start,
                                       const Ref<NSString>& end) {
  return telvo_rangeFromString_toString_inclusive(text, start, end, false);
}

NSRange telvo_rangeFromString_toString_inclusive(const Ref<NSString>& text, const Ref<NSString>& start,
                                                 const Ref<NSString>& end, bool inclusive) {
  if (!text) return {};
  const NSRange startRange = rangeOf(start, text);
  if (startRange.location == NSNotFound) return notFound;
  const NSRange endRange = rangeOf(end, text, NSMaxRange(startRange));
  if (endRange.location == NSNotFound) return notFound;
  if (inclusive) return {startRange.location, NSMaxRange(endRange) - startRange.location};
  return {NSMaxRange(startRange), endRange.location - NSMaxRange(startRange)};
}

Ref<NSString> telvo_substringFromString_toString_defaultString(const Ref<NSString>& text, const Ref<NSString>& start,
                                                               const Ref<NSString>& end,
                                                               const Ref<NSString>& defaultString) {
  if (!text) return nil;
  const NSRange range = telvo_rangeFromString_toString(text, start, end);
  return range.location == NSNotFound ? defaultString : text->substringWithRange(range);
}

Ref<NSString> telvo_reverse(const Ref<NSString>& text) {
  if (!text) return nil;
  return NSString::stringWithUnits({text->units().rbegin(), text->units().rend()});
}

Ref<NSString> telvo_rotate13(const Ref<NSString>& text) {
  if (!text) return nil;
  std::u16string units(text->units());
  std::ranges::transform(units, units.begin(), rotated13);
  return NSString::stringWithUnits(std::move(units));
}

Ref<NSString> telvo_encodeAsBase64UsingEncoding(const Ref<NSString>& text, NSStringEncoding encoding) {
  const Ref<NSData> bytes = text ? text->dataUsingEncoding(encoding) : nil;
  return bytes ? bytes->base64EncodedString() : nil;
}

Ref<NSString> telvo_decodeFromBase64UsingEncoding(const Ref<NSString>& text, NSStringEncoding encoding) {
  const Ref<NSData> bytes =
      NSData::dataWithBase64EncodedString_options(text, NSDataBase64DecodingIgnoreUnknownCharacters);
  return NSString::stringWithData_encoding(bytes, encoding);
}

Ref<NSString> telvo_uuid() {
  return NSUUID::UUID()->UUIDString()->stringByReplacingOccurrencesOfString_withString("-"_ns, ""_ns);
}

Ref<NSArray> telvo_componentsSeparatedByLength(const Ref<NSString>& text, NSInteger maximumLength) {
  if (!text) return nil;
  std::vector<id> pieces;
  const std::u16string_view units = text->units();
  for (std::size_t start = 0; start <= units.size();) {
    const std::size_t end = std::min(units.find(u'\n', start), units.size());
    LineWrapper(maximumLength, pieces).wrap(units.substr(start, end - start));
    start = end + 1;
  }
  return NSArray::arrayWithVector(std::move(pieces));
}

NSUInteger telvo_wordCount(const Ref<NSString>& text) {
  if (!text) return 0;
  const std::u16string_view units = text->units();
  const Ref<NSCharacterSet> whiteSpace = NSCharacterSet::whitespaceCharacterSet();
  NSUInteger count = 0;
  for (NSUInteger at = 0;; ++count) {
    at = passedOverBeforeWords()->endOfRun(units, at, Run::OfMembers);
    if (at == units.size()) return count;
    at = whiteSpace->endOfRun(units, at, Run::OfOthers);
  }
}

}  // namespace telvo
