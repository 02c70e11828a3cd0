#include "foundation/text/NSString.h"

#include <algorithm>
#include <limits>

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include "foundation/errors/NSException.h"
#include "foundation/text/CanonicalForm.h"
#include "foundation/text/CaseFolding.h"
#include "foundation/text/Collation.h"
#include "foundation/text/StringArguments.h"
#include "foundation/text/UTF8.h"

inline namespace telvo {

namespace {

using foundation::requireRange;
using foundation::requireText;

icu::UnicodeString unicodeString(std::u16string_view units) {
  return {false, units.data(), static_cast<std::int32_t>(units.size())};
}

Ref<NSString> stringFrom(const icu::UnicodeString& text) {
  return NSString::stringWithUnits({text.getBuffer(), static_cast<std::size_t>(text.length())});
}

bool isWhiteSpace(char16_t unit) { return unit == u' ' || (unit >= 0x09 && unit <= 0x0D) || unit == 0xA0; }

NSComparisonResult ordering(std::u16string_view left, std::u16string_view right) {
  const int order = left.compare(right);
  return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
}

}  // namespace

namespace foundation {

void requireText(const Ref<NSString>& text) {
  if (!text) NSException::raise_format(NSInvalidArgumentException(), "nil string argument"_ns);
}

void requireRange(NSRange range, NSUInteger length) {
  if (range.location <= length && range.length <= length - range.location) return;
  NSException::raise_format(NSRangeException(), "range {%lu, %lu} out of bounds; string length %lu"_ns, range.location,
                            range.length, length);
}

}  // namespace foundation

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

NSComparisonResult NSString::compare(const Ref<NSString>& other) const {
  return other ? ordering(units_, other->units_) : NSOrderedDescending;
}

NSComparisonResult NSString::caseInsensitiveCompare(const Ref<NSString>& other) const {
  if (!other) return NSOrderedDescending;
  return ordering(foundation::canonicallyFoldedText(units_), foundation::canonicallyFoldedText(other->units_));
}

NSComparisonResult NSString::localizedStandardCompare(const Ref<NSString>& other) const {
  return other ? foundation::compareInFileBrowserOrder(units_, other->units_) : NSOrderedDescending;
}

bool NSString::isEqualToString(const Ref<NSString>& other) const { return other && units_ == other->units_; }

Ref<NSString> NSString::foldedString() const { return stringWithUnits(foundation::canonicallyFoldedText(units_)); }

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
  return stringWithUnits(foundation::canonicallyDecomposed(units_));
}

Ref<NSString> NSString::precomposedStringWithCanonicalMapping() const {
  return stringWithUnits(foundation::canonicallyComposed(units_));
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

id NSMutableString::copy() const { return make<NSString>(units_); }

}  // namespace telvo
