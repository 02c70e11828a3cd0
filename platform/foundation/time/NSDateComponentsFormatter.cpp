#include "foundation/time/NSDateComponentsFormatter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string_view>
#include <vector>

#include <unicode/dcfmtsym.h>
#include <unicode/listformatter.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>
#include <unicode/numberformatter.h>
#include <unicode/rbnf.h>
#include <unicode/uchar.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateComponents.h"
#include "foundation/time/NSTimeZone.h"

inline namespace telvo {

namespace {

struct UnitRule {
  NSCalendarUnit unit;
  NSDateComponents::Field component;
  icu::MeasureUnit (*measure)();

  // Whether the unit can stand between colons.
  bool isOfTime() const { return unit >= NSCalendarUnitHour && unit <= NSCalendarUnitSecond; }
};

// The largest first.
constexpr std::array unitRules = {
    UnitRule{NSCalendarUnitYear, NSDateComponents::Year, &icu::MeasureUnit::getYear},
    UnitRule{NSCalendarUnitMonth, NSDateComponents::Month, &icu::MeasureUnit::getMonth},
    UnitRule{NSCalendarUnitWeekOfMonth, NSDateComponents::WeekOfMonth, &icu::MeasureUnit::getWeek},
    UnitRule{NSCalendarUnitDay, NSDateComponents::Day, &icu::MeasureUnit::getDay},
    UnitRule{NSCalendarUnitHour, NSDateComponents::Hour, &icu::MeasureUnit::getHour},
    UnitRule{NSCalendarUnitMinute, NSDateComponents::Minute, &icu::MeasureUnit::getMinute},
    UnitRule{NSCalendarUnitSecond, NSDateComponents::Second, &icu::MeasureUnit::getSecond},
};

struct Part {
  UnitRule rule;
  NSInteger amount;
};
using Parts = std::vector<Part>;

// ---- Splitting a span into units

// Counts the units of spans that begin on 1 January 2001 in GMT.
class Splitter {
 public:
  explicit Splitter(NSUInteger allowedUnits) {
    constexpr auto bits = [](NSUInteger mask, const UnitRule& rule) { return (mask & rule.unit) != 0; };
    const bool any = std::ranges::any_of(unitRules, [&](const UnitRule& rule) { return bits(allowedUnits, rule); });
    for (const UnitRule& rule : unitRules) {
      if (!any || bits(allowedUnits, rule)) rules_.push_back(rule);
    }
  }

  NSCalendarUnit smallestUnit() const { return rules_.back().unit; }

  // Empty when the span is beyond all calendars.
  Parts split(NSTimeInterval span) const {
    const auto components = counted(span, smallestUnit());
    if (!components) return {};
    Parts parts;
    for (const UnitRule& rule : rules_) parts.push_back({rule, components->value(rule.component)});
    return parts;
  }

  // The span rounded to a whole number of the unit, a half downward.
  NSTimeInterval rounded(NSTimeInterval span, NSCalendarUnit unit) const {
    const auto components = counted(span, unit);
    if (!components) return span;
    const auto rule = std::ranges::find(rules_, unit, &UnitRule::unit);
    const NSTimeInterval below = length(components);
    components->setValue(rule->component, components->value(rule->component) + 1);
    const NSTimeInterval above = length(components);
    return span - below > above - span ? above : below;
  }

 private:
  Ref<NSDateComponents> counted(NSTimeInterval span, NSCalendarUnit smallest) const {
    NSUInteger mask = 0;
    for (const UnitRule& rule : rules_) {
      mask |= rule.unit;
      if (rule.unit == smallest) break;
    }
    return calendar_->components_fromDate_toDate_options(mask, start_, start_->dateByAddingTimeInterval(span), 0);
  }

  NSTimeInterval length(const Ref<NSDateComponents>& components) const {
    const auto end = calendar_->dateByAddingComponents_toDate_options(components, start_, 0);
    return end ? end->timeIntervalSinceDate(start_) : 0.0;
  }

  std::vector<UnitRule> rules_;
  Ref<NSDate> start_ = NSDate::dateWithTimeIntervalSinceReferenceDate(0.0);
  Ref<NSCalendar> calendar_ =
      make<NSCalendar>(NSCalendarIdentifierGregorian(), NSLocale::localeWithLocaleIdentifier("en_US_POSIX"_ns),
                       NSTimeZone::timeZoneForSecondsFromGMT(0));
};

bool isPositional(NSDateComponentsFormatterUnitsStyle style) {
  return style < NSDateComponentsFormatterUnitsStyleAbbreviated || style > NSDateComponentsFormatterUnitsStyleBrief;
}

bool isZero(const Part& part) { return part.amount == 0; }

Parts withoutZeros(const Parts& parts, NSUInteger behavior, bool positional) {
  const auto drops = [&](NSUInteger bit) { return (behavior & bit) != 0; };
  const bool dropLeading = drops(NSDateComponentsFormatterZeroFormattingBehaviorDropLeading);
  const bool dropMiddle = drops(NSDateComponentsFormatterZeroFormattingBehaviorDropMiddle);
  const bool dropTrailing = drops(NSDateComponentsFormatterZeroFormattingBehaviorDropTrailing);

  const auto first = std::ranges::find_if_not(parts, isZero);
  if (first == parts.end()) return dropLeading || dropTrailing ? Parts{parts.back()} : parts;
  const auto last = std::find_if_not(parts.rbegin(), parts.rend(), isZero).base() - 1;
  const bool colons = positional && last->rule.isOfTime();

  Parts kept;
  for (auto part = parts.begin(); part != parts.end(); ++part) {
    const bool dropped = part < first ? dropLeading : part < last ? dropMiddle : dropTrailing;
    const bool heldByColons = colons && part > first && part->rule.isOfTime();
    if (!isZero(*part) || !dropped || heldByColons) kept.push_back(*part);
  }
  return kept;
}

// ---- Writing units in a language

class Writer {
 public:
  Writer(const Ref<NSLocale>& locale, NSDateComponentsFormatterUnitsStyle style)
      : locale_(locale->localeIdentifier()->UTF8String().c_str()), style_(style) {}

  icu::UnicodeString text(const Parts& parts) {
    if (isPositional(style_)) return positional(parts);
    std::vector<icu::UnicodeString> texts;
    for (const Part& part : parts) texts.push_back(text(part));
    return list(texts);
  }

  bool failed() const { return U_FAILURE(status_) != 0; }

 private:
  struct Numeral {
    icu::UnicodeString text;  // with the unit
    std::int32_t start = 0;   // of the digits in it; both 0 when the language expresses the number by the word alone
    std::int32_t end = 0;
    UDisplayOptionsNounClass nounClass = UDISPOPT_NOUN_CLASS_UNDEFINED;
  };

  // "1d 1:01:01", in every language with spaces, which keep the digits of different units apart.
  icu::UnicodeString positional(const Parts& parts) {
    if (parts.size() == 1 && parts.front().rule.unit == NSCalendarUnitSecond) return bareNumber(parts.front().amount);
    const auto firstOfTime = std::ranges::find_if(parts, [](const Part& part) { return part.rule.isOfTime(); });
    const Parts ofTime(firstOfTime, parts.end());
    const bool colons = canStandBetweenColons(ofTime);
    icu::UnicodeString text;
    for (auto part = parts.begin(); part != (colons ? firstOfTime : parts.end()); ++part) {
      if (!text.isEmpty()) text.append(u' ');
      text.append(abbreviated(*part));
    }
    if (!colons) return text;
    if (!text.isEmpty()) text.append(u' ');
    return text.append(betweenColons(ofTime));
  }

  icu::UnicodeString text(const Part& part) {
    switch (style_) {
      case NSDateComponentsFormatterUnitsStyleShort:
        return numeral(part.rule, part.amount, UNUM_UNIT_WIDTH_SHORT).text;
      case NSDateComponentsFormatterUnitsStyleFull:
        return numeral(part.rule, part.amount, UNUM_UNIT_WIDTH_FULL_NAME).text;
      case NSDateComponentsFormatterUnitsStyleSpellOut:
        return spelledOut(part);
      case NSDateComponentsFormatterUnitsStyleBrief:
        return closedUp(numeral(part.rule, part.amount, UNUM_UNIT_WIDTH_SHORT));
      default:
        return abbreviated(part);
    }
  }

  Numeral numeral(const UnitRule& rule, NSInteger amount, UNumberUnitWidth width) {
    const icu::number::FormattedNumber number = icu::number::NumberFormatter::withLocale(locale_)
                                                    .unit(rule.measure())
                                                    .unitWidth(width)
                                                    .formatInt(amount, status_);
    Numeral result;
    result.text = number.toString(status_);
    result.nounClass = number.getNounClass(status_);
    icu::ConstrainedFieldPosition position;
    position.constrainField(UFIELD_CATEGORY_NUMBER, UNUM_INTEGER_FIELD);
    if (!number.nextPosition(position, status_)) {
      // A form of the word that says "one" or "two" has no place for a sign.
      if (amount < 0) result.text.insert(0, minusSign());
      return result;
    }
    result.start = position.getStart();
    result.end = position.getLimit();
    return result;
  }

  // "1 hr" as "1hr".
  static icu::UnicodeString closedUp(const Numeral& numeral) {
    icu::UnicodeString text = numeral.text;
    while (u_isUWhiteSpace(text.char32At(numeral.end)) && numeral.end < text.length()) text.remove(numeral.end, 1);
    for (std::int32_t index = numeral.start - 1; index >= 0 && u_isUWhiteSpace(text.charAt(index)); --index) {
      text.remove(index, 1);
    }
    return text;
  }

  // In several languages one letter stands for months and for minutes alike.
  icu::UnicodeString abbreviated(const Part& part) {
    const Numeral narrow = numeral(part.rule, part.amount, UNUM_UNIT_WIDTH_NARROW);
    if (part.rule.unit != NSCalendarUnitMonth) return narrow.text;
    const auto minute = std::ranges::find(unitRules, NSCalendarUnitMinute, &UnitRule::unit);
    const bool ambiguous = numeral(*minute, part.amount, UNUM_UNIT_WIDTH_NARROW).text == narrow.text;
    return ambiguous ? closedUp(numeral(part.rule, part.amount, UNUM_UNIT_WIDTH_SHORT)) : narrow.text;
  }

  icu::UnicodeString spelledOut(const Part& part) {
    Numeral full = numeral(part.rule, std::abs(part.amount), UNUM_UNIT_WIDTH_FULL_NAME);
    if (full.end == 0) return numeral(part.rule, part.amount, UNUM_UNIT_WIDTH_FULL_NAME).text;
    icu::UnicodeString words = spelledOut(part.amount, full.nounClass);
    words.findAndReplace(icu::UnicodeString(u'\u00AD'), {});  // soft hyphens, which hinder searching and comparing
    full.text.replaceBetween(full.start, full.end, words);
    full.end = full.start + words.length();
    // Number words of East Asia are written together with what they count.
    const UChar32 lastCharacter = words.char32At(words.length() - 1);
    return u_hasBinaryProperty(lastCharacter, UCHAR_IDEOGRAPHIC) != 0 ? closedUp(full) : full.text;
  }

  // In the gender of the noun that is counted.
  icu::UnicodeString spelledOut(NSInteger amount, UDisplayOptionsNounClass nounClass) {
    const icu::RuleBasedNumberFormat format(icu::URBNF_SPELLOUT, locale_, status_);
    icu::UnicodeString words;
    icu::FieldPosition ignored;
    for (const char* name : ruleSetNames(nounClass)) {
      UErrorCode status = U_ZERO_ERROR;
      format.format(amount, icu::UnicodeString::fromUTF8(name), words.remove(), ignored, status);
      if (U_SUCCESS(status)) return words;
    }
    return format.format(amount, words.remove(), ignored, status_);
  }

  // In the order of preference; a language has those that it needs.
  static std::vector<const char*> ruleSetNames(UDisplayOptionsNounClass nounClass) {
    switch (nounClass) {
      case UDISPOPT_NOUN_CLASS_FEMININE:
        return {"%spellout-cardinal-feminine", "%spellout-cardinal"};
      case UDISPOPT_NOUN_CLASS_NEUTER:
        return {"%spellout-cardinal-neuter", "%spellout-cardinal"};
      case UDISPOPT_NOUN_CLASS_COMMON:
        return {"%spellout-cardinal-common", "%spellout-cardinal-reale", "%spellout-cardinal"};
      default:
        return {"%spellout-cardinal-masculine", "%spellout-cardinal"};
    }
  }

  static bool canStandBetweenColons(const Parts& parts) {
    if (parts.size() < 2) return false;
    const auto gap = std::ranges::adjacent_find(
        parts, [](const Part& left, const Part& right) { return right.rule.unit != NSUInteger{2} * left.rule.unit; });
    return gap == parts.end();
  }

  icu::UnicodeString betweenColons(const Parts& parts) {
    std::vector<icu::Measure> measures;
    for (const Part& part : parts) {
      const icu::Formattable amount(static_cast<double>(std::abs(part.amount)));
      measures.emplace_back(amount, new icu::MeasureUnit(part.rule.measure()), status_);
    }
    const icu::MeasureFormat format(locale_, UMEASFMT_WIDTH_NUMERIC, status_);
    icu::FieldPosition ignored;
    icu::UnicodeString text;
    const bool negative = std::ranges::any_of(parts, [](const Part& part) { return part.amount < 0; });
    if (negative) text = minusSign();
    return format.formatMeasures(measures.data(), static_cast<std::int32_t>(measures.size()), text, ignored, status_);
  }

  icu::UnicodeString minusSign() {
    const icu::DecimalFormatSymbols symbols(locale_, status_);
    return symbols.getSymbol(icu::DecimalFormatSymbols::kMinusSignSymbol);
  }

  icu::UnicodeString bareNumber(NSInteger amount) {
    return icu::number::NumberFormatter::withLocale(locale_).formatInt(amount, status_).toString(status_);
  }

  icu::UnicodeString list(const std::vector<icu::UnicodeString>& texts) {
    const std::unique_ptr<icu::ListFormatter> format(
        icu::ListFormatter::createInstance(locale_, ULISTFMT_TYPE_UNITS, listWidth(), status_));
    icu::UnicodeString text;
    return failed() ? text : format->format(texts.data(), static_cast<std::int32_t>(texts.size()), text, status_);
  }

  UListFormatterWidth listWidth() const {
    switch (style_) {
      case NSDateComponentsFormatterUnitsStyleFull:
      case NSDateComponentsFormatterUnitsStyleSpellOut:
        return ULISTFMT_WIDTH_WIDE;
      case NSDateComponentsFormatterUnitsStyleShort:
        return ULISTFMT_WIDTH_SHORT;
      default:
        return ULISTFMT_WIDTH_NARROW;
    }
  }

  icu::Locale locale_;
  NSDateComponentsFormatterUnitsStyle style_;
  UErrorCode status_ = U_ZERO_ERROR;
};

}  // namespace

Class NSDateComponentsFormatter::classObject() {
  static const NSClass object(
      "NSDateComponentsFormatter", NSObject::classObject(),
      {
          method("stringFromTimeInterval:"_sel, &NSDateComponentsFormatter::stringFromTimeInterval),
          method("setUnitsStyle:"_sel, &NSDateComponentsFormatter::setUnitsStyle),
          method("setAllowedUnits:"_sel, &NSDateComponentsFormatter::setAllowedUnits),
          method("setMaximumUnitCount:"_sel, &NSDateComponentsFormatter::setMaximumUnitCount),
          method("setZeroFormattingBehavior:"_sel, &NSDateComponentsFormatter::setZeroFormattingBehavior),
      });
  return &object;
}

Ref<NSString> NSDateComponentsFormatter::stringFromTimeInterval(NSTimeInterval interval) const {
  if (!std::isfinite(interval)) return nil;
  const bool positional = isPositional(unitsStyle_);
  NSUInteger behavior = zeroFormattingBehavior_;
  if ((behavior & NSDateComponentsFormatterZeroFormattingBehaviorDefault) != 0) {
    behavior |= positional ? NSDateComponentsFormatterZeroFormattingBehaviorDropLeading
                           : NSDateComponentsFormatterZeroFormattingBehaviorDropAll;
  }

  const Splitter splitter(allowedUnits_);
  NSTimeInterval span = splitter.rounded(std::fabs(interval), splitter.smallestUnit());
  const auto shown = [&] {
    const Parts parts = splitter.split(span);
    return parts.empty() ? parts : withoutZeros(parts, behavior, positional);
  };
  const auto limit = maximumUnitCount_ > 0 ? static_cast<std::size_t>(maximumUnitCount_) : unitRules.size();
  Parts parts = shown();
  if (parts.size() > limit) {
    span = splitter.rounded(span, parts[limit - 1].rule.unit);
    parts = shown();
    if (parts.size() > limit) parts.resize(limit);
  }
  if (parts.empty()) return nil;
  const auto signedPart = std::ranges::find_if_not(parts, isZero);
  if (interval < 0.0 && signedPart != parts.end()) signedPart->amount = -signedPart->amount;

  Writer writer(NSLocale::currentLocale(), unitsStyle_);
  const icu::UnicodeString text = writer.text(parts);
  if (writer.failed()) return nil;
  return NSString::stringWithCharacters_length(text.getBuffer(), static_cast<NSUInteger>(text.length()));
}

}  // namespace telvo
