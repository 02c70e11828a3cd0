// Dates as texts, read and written.

#include <cmath>
#include <string>
#include <string_view>
#include <unordered_map>

#include "categories/NSDate+Telvo.h"
#include "categories/NSString+Telvo.h"
#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSCalendar.h"
#include "foundation/time/NSDateComponentsFormatter.h"
#include "foundation/time/NSDateFormatter.h"
#include "foundation/time/NSTimeZone.h"

inline namespace telvo {

namespace {

// Lives as long as the process, beyond the reach of exit-time destructors: other threads may still be writing dates.
Ref<NSDateFormatter>* sharedInternetDateFormatter = nullptr;

Ref<NSDateFormatter> makeInternetDateFormatter() {
  auto formatter = make<NSDateFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"_ns));
  formatter->setDateFormat("yyyy-MM-dd'T'HH:mm:ss'Z'"_ns);
  // Both settings belong here: the second one replaces the first, so that the formatter works in UTC and the "Z" of the
  // format, a mere letter, tells the truth.
  formatter->setTimeZone(NSTimeZone::defaultTimeZone());
  formatter->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  return formatter;
}

Ref<NSDateFormatter> englishFormatter(const Ref<NSString>& format) {
  auto formatter = make<NSDateFormatter>();
  formatter->setLocale(NSLocale::localeWithLocaleIdentifier("en"_ns));
  if (format) formatter->setDateFormat(format);
  return formatter;
}

bool isPatternLetter(char16_t unit) { return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z'); }

// A field comes out the same wherever it stands, so each different one is written once, however long the pattern is.
Ref<NSString> stringByFields(const Ref<NSDate>& date, std::u16string_view pattern) {
  std::unordered_map<std::u16string_view, Ref<NSString>> texts;
  std::u16string result;
  bool quoted = false;
  for (std::size_t index = 0; index < pattern.size();) {
    const char16_t unit = pattern[index];
    if (unit == u'\'' && pattern.substr(index, 2) == u"''") {
      result.push_back(unit);
      index += 2;
    } else if (unit == u'\'') {
      quoted = !quoted;
      ++index;
    } else if (quoted || !isPatternLetter(unit)) {
      result.push_back(unit);
      ++index;
    } else {
      const auto field = pattern.substr(index, pattern.find_first_not_of(unit, index) - index);
      Ref<NSString>& text = texts[field];
      if (!text) text = englishFormatter(NSString::stringWithUnits(std::u16string(field)))->stringFromDate(date);
      if (!text) return nil;
      result += text->units();
      index += field.size();
    }
  }
  return NSString::stringWithUnits(std::move(result));
}

Ref<NSDate> dateFromOldStyleJSONString(const Ref<NSString>& text) {
  const auto number = telvo_substringToString(telvo_substringFromString(text, "/Date("_ns), ")/"_ns);
  // No local offset is taken off here, although telvo_oldStyleJSONStringValue() adds one: that is how the systems at
  // the other end read and write this form.
  return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(number->longLongValue()) / 1000.0);
}

Ref<NSDate> dateFromInternetString(const Ref<NSString>& text) {
  const bool isUniversalTime = text->hasSuffix("Z"_ns);
  const NSRange dot = text->rangeOfString("."_ns);
  auto wholeSeconds = dot.location == NSNotFound ? text : text->substringToIndex(dot.location);
  if (!wholeSeconds->hasSuffix("Z"_ns)) wholeSeconds = wholeSeconds->stringByAppendingString("Z"_ns);
  const auto formatter = telvo_internetDateFormatter();
  const auto date = formatter->dateFromString(wholeSeconds);
  // The formatter reads more than it writes: spaces before numbers, years of two digits, the digits of any script.
  if (!date || !wholeSeconds->isEqualToString(formatter->stringFromDate(date))) return nil;
  if (isUniversalTime) return date;
  return date->dateByAddingTimeInterval(telvo_localTimeOffset());
}

bool isPlaceholder(const Ref<NSString>& text) {
  return text->hasPrefix("1899-12-30"_ns) || text->hasPrefix("0001-01-01"_ns);
}

}  // namespace

Ref<NSDateFormatter> telvo_internetDateFormatter() {
  // A plain test without a lock, on purpose: whoever starts threads makes the first call before.
  if (!sharedInternetDateFormatter) {
    sharedInternetDateFormatter = new Ref<NSDateFormatter>(makeInternetDateFormatter());
  }
  return *sharedInternetDateFormatter;
}

// ---- Dates from texts

Ref<NSDate> telvo_dateWithString(const Ref<NSString>& text) {
  if (!text || text->length() == 0) return nil;
  return make<NSDateFormatter>()->dateFromString(text);
}

Ref<NSDate> telvo_dateWithString_format(const Ref<NSString>& text, const Ref<NSString>& format) {
  if (!text || text->length() == 0) return nil;
  return englishFormatter(format)->dateFromString(text);
}

Ref<NSDate> telvo_dateWithJSONString(const id& text) { return telvo_dateWithJSONString_allowPlaceholder(text, false); }

Ref<NSDate> telvo_dateWithJSONString_allowPlaceholder(const id& text, bool allowPlaceholder) {
  const auto string = as<NSString>(text);
  if (!string || string->length() == 0) return nil;
  if (!allowPlaceholder && isPlaceholder(string)) return nil;
  return string->hasPrefix("/Date("_ns) ? dateFromOldStyleJSONString(string) : dateFromInternetString(string);
}

// ---- Text for programs

Ref<NSString> telvo_stringWithFormat(const Ref<NSDate>& date, const Ref<NSString>& format) {
  constexpr NSUInteger longPattern = 4096;
  if (date && format && format->length() > longPattern) return stringByFields(date, format->units());
  return englishFormatter(format)->stringFromDate(date);
}

Ref<NSString> telvo_JSONStringValue(const Ref<NSDate>& date) {
  return telvo_internetDateFormatter()->stringFromDate(date);
}

Ref<NSString> telvo_oldStyleJSONStringValue(const Ref<NSDate>& date) {
  if (!date || !std::isfinite(date->timeIntervalSince1970())) return nil;
  const double milliseconds = (telvo_localTimeOffset() + date->timeIntervalSince1970()) * 1000.0;
  return NSString::stringWithFormat("/Date(%.0f)/"_ns, milliseconds);
}

// ---- Text for people

Ref<NSString> telvo_formattedShortDateString(const Ref<NSDate>& date) {
  return telvo_formattedStringUsingDateStyle_timeStyle(date, NSDateFormatterShortStyle, NSDateFormatterNoStyle);
}

Ref<NSString> telvo_formattedDateString(const Ref<NSDate>& date) {
  return telvo_formattedStringUsingDateStyle_timeStyle(date, NSDateFormatterLongStyle, NSDateFormatterNoStyle);
}

Ref<NSString> telvo_formattedStringUsingDateStyle_timeStyle(const Ref<NSDate>& date, NSInteger dateStyle,
                                                            NSInteger timeStyle) {
  return telvo_formattedStringUsingDateStyle_timeStyle_allowRelative(date, dateStyle, timeStyle, false);
}

Ref<NSString> telvo_formattedStringUsingDateStyle_timeStyle_allowRelative(const Ref<NSDate>& date, NSInteger dateStyle,
                                                                          NSInteger timeStyle, bool allowRelative) {
  const auto formatter = make<NSDateFormatter>();
  formatter->setDateStyle(static_cast<NSDateFormatterStyle>(dateStyle));
  formatter->setTimeStyle(static_cast<NSDateFormatterStyle>(timeStyle));
  formatter->setDoesRelativeDateFormatting(allowRelative);
  return formatter->stringFromDate(date);
}

Ref<NSString> telvo_descriptionWithShortDateTime(const Ref<NSDate>& date) {
  return telvo_formattedStringUsingDateStyle_timeStyle(date, NSDateFormatterShortStyle, NSDateFormatterShortStyle);
}

Ref<NSString> telvo_descriptionWithShortDate(const Ref<NSDate>& date) {
  return telvo_formattedStringUsingDateStyle_timeStyle(date, NSDateFormatterShortStyle, NSDateFormatterNoStyle);
}

Ref<NSString> telvo_descriptionWithTime(const Ref<NSDate>& date) {
  return telvo_formattedStringUsingDateStyle_timeStyle(date, NSDateFormatterNoStyle, NSDateFormatterShortStyle);
}

Ref<NSString> telvo_relativeStringForTimeInterval_style_maximumUnits_keepZero_defaultValue(
    NSTimeInterval interval, NSInteger style, NSInteger maximumUnits, bool keepZero,
    const Ref<NSString>& defaultValue) {
  constexpr NSTimeInterval day = 86400.0;
  constexpr NSTimeInterval longest = 3650.0 * day;
  if (!(std::fabs(interval) <= longest)) return defaultValue;

  const auto formatter = make<NSDateComponentsFormatter>();
  formatter->setUnitsStyle(static_cast<NSDateComponentsFormatterUnitsStyle>(style));
  formatter->setMaximumUnitCount(maximumUnits);
  formatter->setZeroFormattingBehavior(keepZero ? NSDateComponentsFormatterZeroFormattingBehaviorDropLeading |
                                                      NSDateComponentsFormatterZeroFormattingBehaviorDropMiddle
                                                : NSDateComponentsFormatterZeroFormattingBehaviorDropAll);
  auto text = formatter->stringFromTimeInterval(interval);
  if (interval >= day || !text || !text->hasPrefix("0"_ns)) return text;
  formatter->setAllowedUnits(NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond);
  return formatter->stringFromTimeInterval(interval);
}

Ref<NSString> telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(const Ref<NSDate>& date, NSInteger style,
                                                                               NSInteger maximumUnits, bool keepZero,
                                                                               const Ref<NSString>& defaultValue) {
  if (!date) return nil;
  return telvo_relativeStringForTimeInterval_style_maximumUnits_keepZero_defaultValue(
      std::fabs(date->timeIntervalSinceNow()), style, maximumUnits, keepZero, defaultValue);
}

}  // namespace telvo
