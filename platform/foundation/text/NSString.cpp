#include "foundation/text/NSString.h"

#include <algorithm>
#include <limits>

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

#include "foundation/collections/NSArray.h"
#include "foundation/errors/NSException.h"
#include "foundation/text/CaseFolding.h"
#include "foundation/text/Collation.h"
#include "foundation/text/TextSearch.h"
#include "foundation/text/UTF8.h"

namespace {

icu::UnicodeString unicodeString(std::u16string_view units) {
  return {false, units.data(), static_cast<std::int32_t>(units.size())};
}

Ref<NSString> stringFrom(const icu::UnicodeString& text) {
  return NSString::stringWithUnits({text.getBuffer(), static_cast<std::size_t>(text.length())});
}

void requireRange(NSRange range, NSUInteger length) {
  if (range.location <= length && range.length <= length - range.location) return;
  NSException::raise_format(NSRangeException(), "range {%lu, %lu} out of bounds; string length %lu"_ns, range.location,
                            range.length, length);
}

void requireText(const Ref<NSString>& text) {
  if (!text) NSException::raise_format(NSInvalidArgumentException(), "nil string argument"_ns);
}

bool isWhiteSpace(char16_t unit) { return unit == u' ' || (unit >= 0x09 && unit <= 0x0D) || unit == 0xA0; }

NSComparisonResult ordering(std::u16string_view left, std::u16string_view right) {
  const int order = left.compare(right);
  return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
}

// The length of the shortest run of `units` from `from` on whose folding is `target`, or npos.
std::size_t foldedMatch(std::u16string_view units, std::size_t from, std::u16string_view target) {
  std::size_t at = from;
  std::size_t matched = 0;
  while (matched < target.size()) {
    if (at >= units.size()) return std::u16string_view::npos;
    const foundation::FoldedCharacter character = foundation::foldedCharacterAt(units, at);
    if (target.substr(matched, character.size) != character.view()) return std::u16string_view::npos;
    matched += character.size;
    at += character.characterSize;
  }
  return at - from;
}

}  // namespace

Class NSString::classObject() {
  static const NSClass object(
      "NSString", NSObject::classObject(),
      {
          method("length"_sel, &NSString::length),
          method("integerValue"_sel, &NSString::integerValue),
          method("intValue"_sel, &NSString::intValue),
          method("longLongValue"_sel, &NSString::longLongValue),
          method("doubleValue"_sel, &NSString::doubleValue),
          method("floatValue"_sel, &NSString::floatValue),
          method("boolValue"_sel, &NSString::boolValue),
          method("compare:"_sel, &NSString::compare),
          method("caseInsensitiveCompare:"_sel, &NSString::caseInsensitiveCompare),
          method("localizedStandardCompare:"_sel, &NSString::localizedStandardCompare),
          method("isEqualToString:"_sel, &NSString::isEqualToString),
          method("hasPrefix:"_sel, &NSString::hasPrefix),
          method("hasSuffix:"_sel, &NSString::hasSuffix),
          method("containsString:"_sel, &NSString::containsString),
          method("lowercaseString"_sel, &NSString::lowercaseString),
          method("uppercaseString"_sel, &NSString::uppercaseString),
          method("capitalizedString"_sel, &NSString::capitalizedString),
          method("lastPathComponent"_sel, &NSString::lastPathComponent),
          method("pathExtension"_sel, &NSString::pathExtension),
          method("stringByDeletingPathExtension"_sel, &NSString::stringByDeletingPathExtension),
          method("stringByDeletingLastPathComponent"_sel, &NSString::stringByDeletingLastPathComponent),
          method("stringByAppendingString:"_sel, &NSString::stringByAppendingString),
          method("stringByAppendingPathComponent:"_sel, &NSString::stringByAppendingPathComponent),
      });
  return &object;
}

Class NSMutableString::classObject() {
  static const NSClass object("NSMutableString", NSString::classObject(),
                              {
                                  method("appendString:"_sel, &NSMutableString::appendString),
                                  method("setString:"_sel, &NSMutableString::setString),
                              });
  return &object;
}

Ref<NSString> NSString::string() { return ""_ns; }

Ref<NSString> NSString::stringWithString(const Ref<NSString>& other) {
  requireText(other);
  return make<NSString>(other->units_);
}

Ref<NSString> NSString::stringWithUTF8String(std::string_view utf8) {
  return make<NSString>(foundation::unitsFromUTF8(utf8));
}

Ref<NSString> NSString::stringWithCharacters_length(const char16_t* units, NSUInteger length) {
  return make<NSString>(std::u16string(units, length));
}

Ref<NSString> NSString::stringWithUnits(std::u16string units) { return make<NSString>(std::move(units)); }

char16_t NSString::characterAtIndex(NSUInteger index) const {
  requireRange({index, 1}, length());
  return units_[index];
}

std::string NSString::UTF8String() const { return foundation::UTF8FromUnits(units_); }

Ref<NSString> NSString::substringFromIndex(NSUInteger from) const {
  requireRange({from, 0}, length());
  return stringWithUnits(units_.substr(from));
}

Ref<NSString> NSString::substringToIndex(NSUInteger to) const {
  requireRange({0, to}, length());
  return stringWithUnits(units_.substr(0, to));
}

Ref<NSString> NSString::substringWithRange(NSRange range) const {
  requireRange(range, length());
  return stringWithUnits(units_.substr(range.location, range.length));
}

Ref<NSString> NSString::stringByAppendingString(const Ref<NSString>& other) const {
  requireText(other);
  return stringWithUnits(units_ + other->units_);
}

Ref<NSArray> NSString::componentsSeparatedByString(const Ref<NSString>& separator) const {
  requireText(separator);
  const foundation::TextSearch search(separator->units_, false);
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

NSRange NSString::rangeOfString(const Ref<NSString>& text, NSUInteger options) const {
  return rangeOfString_options_range(text, options, {0, length()});
}

NSRange NSString::rangeOfString_options_range(const Ref<NSString>& text, NSUInteger options, NSRange range) const {
  requireText(text);
  requireRange(range, length());
  constexpr NSRange none{NSNotFound, 0};
  if (text->units_.empty()) return none;
  const std::u16string_view searched = std::u16string_view(units_).substr(range.location, range.length);
  const bool insensitive = (options & NSCaseInsensitiveSearch) != 0;
  const bool backwards = (options & NSBackwardsSearch) != 0;
  const bool anchored = (options & NSAnchoredSearch) != 0;
  if (!backwards && !anchored) {
    const NSRange found = foundation::TextSearch(text->units_, insensitive).find(searched);
    return found.location == NSNotFound ? none : NSRange{range.location + found.location, found.length};
  }
  const std::u16string target = insensitive ? foundation::foldedText(text->units_) : text->units_;

  if (!insensitive && !anchored) {
    const std::size_t found = searched.rfind(target);
    return found == std::u16string_view::npos ? none : NSRange{range.location + found, target.size()};
  }
  const auto matchAt = [&](std::size_t at) {
    if (insensitive) return foldedMatch(searched, at, target);
    return searched.substr(at, target.size()) == target ? target.size() : std::u16string_view::npos;
  };
  for (std::size_t step = 0; step <= searched.size(); ++step) {
    const std::size_t at = backwards ? searched.size() - step : step;
    if (anchored && !backwards && at > 0) break;
    const std::size_t size = matchAt(at);
    if (size == std::u16string_view::npos) continue;
    if (anchored && backwards && at + size != searched.size()) continue;
    return {range.location + at, size};
  }
  return none;
}

bool NSString::containsString(const Ref<NSString>& text) const { return rangeOfString(text).location != NSNotFound; }

bool NSString::hasPrefix(const Ref<NSString>& prefix) const { return prefix && units_.starts_with(prefix->units_); }

bool NSString::hasSuffix(const Ref<NSString>& suffix) const { return suffix && units_.ends_with(suffix->units_); }

NSComparisonResult NSString::compare(const Ref<NSString>& other) const {
  return other ? ordering(units_, other->units_) : NSOrderedDescending;
}

NSComparisonResult NSString::caseInsensitiveCompare(const Ref<NSString>& other) const {
  return other ? ordering(foundation::foldedText(units_), foundation::foldedText(other->units_)) : NSOrderedDescending;
}

NSComparisonResult NSString::localizedStandardCompare(const Ref<NSString>& other) const {
  return other ? foundation::compareInFileBrowserOrder(units_, other->units_) : NSOrderedDescending;
}

bool NSString::isEqualToString(const Ref<NSString>& other) const { return other && units_ == other->units_; }

Ref<NSString> NSString::foldedString() const { return stringWithUnits(foundation::foldedText(units_)); }

Ref<NSString> NSString::lowercaseString() const {
  return stringFrom(icu::UnicodeString(unicodeString(units_)).toLower(icu::Locale::getRoot()));
}

Ref<NSString> NSString::uppercaseString() const {
  return stringFrom(icu::UnicodeString(unicodeString(units_)).toUpper(icu::Locale::getRoot()));
}

Ref<NSString> NSString::capitalizedString() const {
  return stringFrom(icu::UnicodeString(unicodeString(units_)).toTitle(nullptr, icu::Locale::getRoot()));
}

Ref<NSString> NSString::decomposedStringWithCanonicalMapping() const {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) return stringWithUnits(units_);
  return stringFrom(normalizer->normalize(unicodeString(units_), status));
}

Ref<NSString> NSString::precomposedStringWithCanonicalMapping() const {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status)) return stringWithUnits(units_);
  return stringFrom(normalizer->normalize(unicodeString(units_), status));
}

NSInteger NSString::integerValue() const {
  std::size_t at = 0;
  while (at < units_.size() && isWhiteSpace(units_[at])) ++at;
  const bool negative = at < units_.size() && units_[at] == u'-';
  if (at < units_.size() && (units_[at] == u'-' || units_[at] == u'+')) ++at;
  // Counted downward: the lowest integer has no positive counterpart.
  NSInteger value = 0;
  for (; at < units_.size() && units_[at] >= u'0' && units_[at] <= u'9'; ++at) {
    if (__builtin_mul_overflow(value, 10, &value) || __builtin_sub_overflow(value, units_[at] - u'0', &value)) {
      return negative ? std::numeric_limits<NSInteger>::min() : NSIntegerMax;
    }
  }
  if (negative) return value;
  return value == std::numeric_limits<NSInteger>::min() ? NSIntegerMax : -value;
}

int NSString::intValue() const {
  constexpr NSInteger lowest = std::numeric_limits<int>::min();
  constexpr NSInteger highest = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(integerValue(), lowest, highest));
}

double NSString::doubleValue() const {
  std::size_t at = 0;
  while (at < units_.size() && isWhiteSpace(units_[at])) ++at;
  std::size_t end = at;
  const auto digits = [&] {
    const std::size_t from = end;
    while (end < units_.size() && units_[end] >= u'0' && units_[end] <= u'9') ++end;
    return end > from;
  };
  if (end < units_.size() && (units_[end] == u'-' || units_[end] == u'+')) ++end;
  bool any = digits();
  if (end < units_.size() && units_[end] == u'.') {
    ++end;
    any = digits() || any;
  }
  if (!any) return 0.0;
  if (end < units_.size() && (units_[end] == u'e' || units_[end] == u'E')) {
    const std::size_t mantissaEnd = end++;
    if (end < units_.size() && (units_[end] == u'-' || units_[end] == u'+')) ++end;
    if (!digits()) end = mantissaEnd;
  }
  std::string text(units_.begin() + static_cast<std::ptrdiff_t>(at), units_.begin() + static_cast<std::ptrdiff_t>(end));
  if (text.front() == '+') text.erase(0, 1);
  return foundation::doubleFromASCII(text);
}

float NSString::floatValue() const { return static_cast<float>(doubleValue()); }

bool NSString::boolValue() const {
  std::size_t at = 0;
  while (at < units_.size() && isWhiteSpace(units_[at])) ++at;
  if (at < units_.size() && (units_[at] == u'-' || units_[at] == u'+')) ++at;
  while (at < units_.size() && units_[at] == u'0') ++at;
  return at < units_.size() && std::u16string_view(u"YyTt123456789").find(units_[at]) != std::u16string_view::npos;
}

Ref<NSString> NSString::description() const { return Ref<NSString>(const_cast<NSString*>(this)); }

bool NSString::isEqual(const id& other) const {
  return other && other->isKindOfClass(classObject()) && units_ == static_cast<const NSString&>(*other).units_;
}

NSUInteger NSString::hash() const { return std::hash<std::u16string>()(units_); }
id NSString::copy() const { return self(); }
id NSString::mutableCopy() const { return make<NSMutableString>(units_); }

Ref<NSMutableString> NSMutableString::string() { return make<NSMutableString>(); }

Ref<NSMutableString> NSMutableString::stringWithString(const Ref<NSString>& other) {
  requireText(other);
  return make<NSMutableString>(std::u16string(other->units()));
}

void NSMutableString::appendString(const Ref<NSString>& text) {
  requireText(text);
  units_.append(text->units());
}

void NSMutableString::setString(const Ref<NSString>& text) {
  requireText(text);
  units_ = std::u16string(text->units());
}

void NSMutableString::insertString_atIndex(const Ref<NSString>& text, NSUInteger index) {
  replaceCharactersInRange_withString({index, 0}, text);
}

void NSMutableString::deleteCharactersInRange(NSRange range) {
  requireRange(range, length());
  units_.erase(range.location, range.length);
}

void NSMutableString::replaceCharactersInRange_withString(NSRange range, const Ref<NSString>& text) {
  requireText(text);
  requireRange(range, length());
  units_.replace(range.location, range.length, std::u16string(text->units()));
}

std::vector<NSRange> NSMutableString::occurrences(const Ref<NSString>& target, NSUInteger options,
                                                  NSRange range) const {
  std::vector<NSRange> places;
  if (!(options & (NSBackwardsSearch | NSAnchoredSearch))) {
    const foundation::TextSearch search(target->units(), (options & NSCaseInsensitiveSearch) != 0);
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

id NSMutableString::copy() const { return make<NSString>(units_); }
