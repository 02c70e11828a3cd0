#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include "categories/NSDictionary+Telvo.h"
#include "categories/NSString+Telvo.h"
#include "foundation/collections/NSArray.h"
#include "foundation/collections/NSDictionary.h"
#include "foundation/collections/NSNumber.h"
#include "foundation/files/NSBundle.h"
#include "foundation/text/NSCharacterSet.h"
#include "foundation/text/UTF16.h"

inline namespace telvo {

namespace {

// A number of years, days or minutes, with the words for one and for many.
struct Span {
  double amount;
  Ref<NSString> singular;
  Ref<NSString> plural;
};

// The largest unit of which there is at least one. A month has 31 days here and a year twelve such months: the spans
// are told without a calendar.
Span spanOf(NSTimeInterval seconds) {
  const double minutes = seconds / 60;
  const double hours = minutes / 60;
  const double days = hours / 24;
  if (const double years = days / 31 / 12; years >= 1.0) return {years, "year"_ns, "years"_ns};
  if (const double months = days / 31; months >= 1.0) return {months, "month"_ns, "months"_ns};
  if (const double weeks = days / 7; weeks >= 1.0) return {weeks, "week"_ns, "weeks"_ns};
  if (days >= 1.0) return {days, "day"_ns, "days"_ns};
  if (hours >= 1.0) return {hours, "hour"_ns, "hours"_ns};
  if (minutes >= 1.0) return {minutes, "minute"_ns, "minutes"_ns};
  return {seconds, "second"_ns, "seconds"_ns};
}

Ref<NSString> textOfSpan(const Ref<NSString>& format, const Span& span, const Ref<NSString>& suffix) {
  const auto word = telvo_stringWithFloatValue_zero_singular_plural(span.amount, nil, span.singular, span.plural);
  const auto text = NSString::stringWithFormat(format, span.amount, word);
  return telvo_containsSomething(suffix) ? NSString::stringWithFormat("%@ %@"_ns, text, suffix) : text;
}

Ref<NSString> byteText(const Ref<NSString>& key, const NSFormatArgument& value) {
  const auto format = NSBundle::mainBundle()->localizedStringForKey_value_table(key, ""_ns, "TelvoOpen"_ns);
  return NSString::stringWithFormat_arguments(format, {value});
}

// Where the text's first letter begins; its length when there is none.
NSUInteger firstLetter(const Ref<NSString>& text) {
  return NSCharacterSet::letterCharacterSet()->endOfRun(text->units(), 0, NSCharacterSet::Run::OfOthers);
}

const NSCategory category(
    NSString::classObject(),
    {
        method("telvo_dictionaryWithVersionComponents"_sel, &telvo_dictionaryWithVersionComponents),
        method("telvo_mappedFromValue:withDefault:"_sel, &telvo_mappedFromValue_withDefault),
        method("telvo_integerMappedFromString:withDefault:"_sel, &telvo_integerMappedFromString_withDefault),
        method("telvo_stringMappedFromInteger:withDefault:"_sel, &telvo_stringMappedFromInteger_withDefault),
    });

}  // namespace

Ref<NSString> telvo_stringWithIntegerValue(NSInteger value) { return NSString::stringWithFormat("%ld"_ns, value); }

Ref<NSString> telvo_stringWithFloatValue_places(double value, NSInteger places) {
  const auto format = NSString::stringWithFormat("%%.%ldf"_ns, std::max<NSInteger>(places, 0));
  return NSString::stringWithFormat(format, value);
}

Ref<NSString> telvo_stringWithTruncatedFloatValue(double value) {
  const auto text = NSString::stringWithFormat("%f"_ns, value);
  std::u16string_view units = text->units();
  while (units.ends_with(u'0')) units.remove_suffix(1);
  if (units.ends_with(u'.')) units.remove_suffix(1);
  return NSString::stringWithUnits(std::u16string(units));
}

Ref<NSString> telvo_stringWithIntegerValue_zero_singular_plural(NSInteger value, const Ref<NSString>& zero,
                                                                const Ref<NSString>& singular,
                                                                const Ref<NSString>& plural) {
  if (value == 0 && zero) return zero;
  const bool isOne = value == 1 || value == -1;
  return isOne && singular ? singular : plural;
}

Ref<NSString> telvo_stringWithFloatValue_zero_singular_plural(double value, const Ref<NSString>& zero,
                                                              const Ref<NSString>& singular,
                                                              const Ref<NSString>& plural) {
  if (value == 0.0 && zero) return zero;
  const bool isOne = value == 1.0 || value == -1.0;
  return isOne && singular ? singular : plural;
}

Ref<NSString> telvo_stringWithTimeInterval(NSTimeInterval seconds) {
  return telvo_stringWithTimeInterval_suffix(seconds, nil);
}

Ref<NSString> telvo_stringWithTimeInterval_suffix(NSTimeInterval seconds, const Ref<NSString>& suffix) {
  return textOfSpan("%.1f %@"_ns, spanOf(seconds), suffix);
}

Ref<NSString> telvo_stringWithRoundedTimeInterval_suffix(NSTimeInterval seconds, const Ref<NSString>& suffix) {
  Span span = spanOf(seconds);
  // In single precision, halves to the even number.
  span.amount = static_cast<double>(std::nearbyint(static_cast<float>(span.amount)));
  return textOfSpan("%.0f %@"_ns, span, suffix);
}

Ref<NSString> telvo_stringWithSeconds_minuteSingular_minutesPlural_secondSingular_secondsPlural(
    NSInteger seconds, const Ref<NSString>& minuteSingular, const Ref<NSString>& minutesPlural,
    const Ref<NSString>& secondSingular, const Ref<NSString>& secondsPlural) {
  constexpr NSInteger secondsPerMinute = 60;
  const bool tellsMinutes = minuteSingular && minutesPlural;
  const NSInteger minutes = seconds / secondsPerMinute;
  const NSInteger rest = tellsMinutes ? seconds % secondsPerMinute : seconds;
  Ref<NSString> minutesText;
  if (tellsMinutes) {
    const auto word = telvo_stringWithIntegerValue_zero_singular_plural(minutes, nil, minuteSingular, minutesPlural);
    minutesText = NSString::stringWithFormat("%ld %@"_ns, minutes, word);
  }
  if (!secondSingular || !secondsPlural) return minutesText;

  const auto format = NSBundle::mainBundle()->localizedStringForKey_value_table("%ld %@"_ns, ""_ns, nil);
  const auto word = telvo_stringWithIntegerValue_zero_singular_plural(rest, nil, secondSingular, secondsPlural);
  const auto secondsText = NSString::stringWithFormat(format, rest, word);
  if (tellsMinutes && rest != 0 && minutes != 0)
    return NSString::stringWithFormat("%@ %@"_ns, minutesText, secondsText);
  // A minute or more without words for minutes is not told in seconds: it gives nil, on purpose.
  return minutes == 0 ? secondsText : minutesText;
}

Ref<NSString> telvo_stringWithIntegerValue_minimumLength_paddedWith_padLeft(NSInteger value, NSInteger minimumLength,
                                                                            const Ref<NSString>& padding,
                                                                            bool padLeft) {
  return telvo_stringWithMinimumLength_paddedWith_padLeft(telvo_stringWithIntegerValue(value), minimumLength, padding,
                                                          padLeft);
}

Ref<NSString> telvo_stringWithLeadingZeroesForIntegerValue_digits(NSInteger value, NSInteger digits) {
  return telvo_right(NSString::stringWithFormat("%0.10ld"_ns, value), digits);
}

Ref<NSString> telvo_stringAsBytesWithInteger(NSInteger bytes) {
  const auto scaled = static_cast<double>(bytes);
  if (bytes == 0) return byteText("Zero KB"_ns, bytes);
  if (bytes < 1024) return byteText("%ld bytes"_ns, bytes);
  if (bytes < 1048576) return byteText("%.1f KB"_ns, scaled * 0x1p-10);
  if (bytes < 1073741824) return byteText("%.1f MB"_ns, scaled * 0x1p-20);
  return byteText("%.1f GB"_ns, scaled * 0x1p-30);
}

Ref<NSMutableDictionary> telvo_dictionaryWithVersionComponents(const Ref<NSString>& text) {
  if (!text) return nil;
  const NSUInteger letter = firstLetter(text);
  const bool isGeneral = letter == text->length();
  const auto general = text->substringToIndex(letter);
  const auto numbers = general->componentsSeparatedByString("."_ns);
  const auto components = NSMutableDictionary::dictionary({{"Version"_ns, text->copy()}, {"General"_ns, general}});
  telvo_setInteger_forKey(components, isGeneral ? 1 : 0, "IsGeneral"_ns);
  const Ref<NSString> keys[] = {"Major"_ns, "Minor"_ns, "Bug"_ns};
  for (NSUInteger i = 0; i < std::size(keys) && i < numbers->count(); ++i) {
    components->setObject_forKey(numbers->objectAtIndex(i), keys[i]);
  }
  if (isGeneral) return components;
  const NSUInteger length = foundation::lengthOfCharacterAt(text->units(), letter);
  components->setObject_forKey(text->substringWithRange({letter, length}), "Kind"_ns);
  components->setObject_forKey(text->substringFromIndex(letter + length), "Stage"_ns);
  return components;
}

Ref<NSString> telvo_versionWithDictionary(const Ref<NSDictionary>& components) {
  const auto version = as<NSString>(telvo_nilOrObjectForKey(components, "Version"_ns));
  if (telvo_containsSomething(version)) return version;
  return telvo_versionWithMajor_minor_bug_kind_stage(
      telvo_integerForKey(components, "Major"_ns), telvo_integerForKey(components, "Minor"_ns),
      telvo_integerForKey(components, "Bug"_ns), as<NSString>(telvo_nilOrObjectForKey(components, "Kind"_ns)),
      telvo_integerForKey(components, "Stage"_ns));
}

Ref<NSString> telvo_versionWithMajor_minor_bug_kind_stage(NSInteger major, NSInteger minor, NSInteger bug,
                                                          const Ref<NSString>& kind, NSInteger stage) {
  const auto general = bug != 0 ? NSString::stringWithFormat("%ld.%ld.%ld"_ns, major, minor, bug)
                                : NSString::stringWithFormat("%ld.%ld"_ns, major, minor);
  return telvo_containsSomething(kind) ? NSString::stringWithFormat("%@%@%ld"_ns, general, kind, stage) : general;
}

NSInteger telvo_lengthOfInteger(NSInteger value) { return telvo_signedLength(telvo_stringWithIntegerValue(value)); }

NSInteger telvo_integerMappedFromString_withDefault(const Ref<NSString>& map, const Ref<NSString>& value,
                                                    NSInteger defaultValue) {
  const auto mapped = telvo_mappedFromValue_withDefault(map, value, NSNumber::numberWithInteger(defaultValue));
  return mapped ? mapped->integerValue() : 0;
}

Ref<NSString> telvo_stringMappedFromInteger_withDefault(const Ref<NSString>& map, NSInteger value,
                                                        const Ref<NSString>& defaultValue) {
  return telvo_mappedFromValue_withDefault(map, NSNumber::numberWithInteger(value), defaultValue);
}

Ref<NSString> telvo_mappedFromValue_withDefault(const Ref<NSString>& map, const id& value, const id& defaultValue) {
  if (!map) return nil;
  Ref<NSString> mapped;
  const auto searched = NSDescription(value);
  const auto pieces = map->componentsSeparatedByString(";"_ns);
  for (const id& each : *pieces) {
    const auto piece = as<NSString>(each);
    const auto left = telvo_substringToString(piece, "="_ns);
    const auto right = telvo_substringFromString(piece, "="_ns);
    // Every pair is looked at: the last match wins.
    if (left->isEqualToString(searched)) {
      mapped = right;
    } else if (right->isEqualToString(searched)) {
      mapped = left;
    }
  }
  if (mapped || !defaultValue) return mapped;
  return as<NSString>(defaultValue->description()->copy());
}

}  // namespace telvo
