#include "foundation/time/NSDateFormatter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>

#include <unicode/decimfmt.h>
#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/EngineTimeZone.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSTimeZone.h"

inline namespace telvo {

namespace {

constexpr double farthestMilliseconds = 3e16;  // about a million years

constexpr std::size_t longestText = std::numeric_limits<std::int32_t>::max();

icu::UnicodeString unicodeString(const Ref<NSString>& text) {
  const std::u16string_view units = text->units();
  return {units.data(), static_cast<std::int32_t>(std::min(units.size(), longestText))};
}

// Reads no number of more than nine digits and no exponents. The engine takes time by the square of the digits, and its
// arithmetic on fractions of a second overflows, down to a division by zero.
class NumbersOfDates : public icu::DecimalFormat {
 public:
  explicit NumbersOfDates(const icu::DecimalFormat& numbers) : DecimalFormat(numbers) { setParseNoExponent(true); }
  NumbersOfDates* clone() const override { return new NumbersOfDates(*this); }

  using DecimalFormat::parse;
  void parse(const icu::UnicodeString& text, icu::Formattable& result, icu::ParsePosition& position) const override {
    constexpr std::int32_t farEnough = 64;  // for nine digits and the marks between them
    constexpr std::int32_t mostDigits = 9;
    const std::int32_t start = position.getIndex();
    const std::int32_t end = text.length() - start < farEnough ? text.length() : start + farEnough;
    DecimalFormat::parse(text.tempSubStringBetween(0, end), result, position);
    std::int32_t digits = 0;
    for (std::int32_t index = start; index < position.getIndex(); index = text.moveIndex32(index, 1)) {
      if (u_isdigit(text.char32At(index)) != 0) ++digits;
    }
    if (digits <= mostDigits) return;
    position.setIndex(start);
    position.setErrorIndex(start);
  }
};

icu::DateFormat::EStyle engineStyle(NSDateFormatterStyle style) {
  switch (style) {
    case NSDateFormatterShortStyle:
      return icu::DateFormat::kShort;
    case NSDateFormatterMediumStyle:
      return icu::DateFormat::kMedium;
    case NSDateFormatterLongStyle:
      return icu::DateFormat::kLong;
    case NSDateFormatterFullStyle:
      return icu::DateFormat::kFull;
    case NSDateFormatterNoStyle:
      break;
  }
  return icu::DateFormat::kNone;
}

// The engine's own strictness still lets month names pass for "MM".
void makeStrict(icu::SimpleDateFormat& format) {
  UErrorCode status = U_ZERO_ERROR;
  format.setBooleanAttribute(UDAT_PARSE_PARTIAL_LITERAL_MATCH, false, status);
  format.setBooleanAttribute(UDAT_PARSE_MULTIPLE_PATTERNS_FOR_MATCH, false, status);
  if (const auto* numbers = dynamic_cast<const icu::DecimalFormat*>(format.getNumberFormat())) {
    format.adoptNumberFormat(new NumbersOfDates(*numbers));
  }
}

// A calendar of the format's kind that holds 1 January 2000, strict, in a zone that stands for "no zone was read".
std::unique_ptr<icu::Calendar> calendarToReadInto(const icu::DateFormat& format, const icu::TimeZone& noZone) {
  constexpr UDate noonOf1January2000 = 946728000000.0;
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Calendar> calendar(format.getCalendar()->clone());
  calendar->setTimeZone(noZone);
  calendar->setTime(noonOf1January2000, status);
  const std::int32_t era = calendar->get(UCAL_ERA, status);
  const std::int32_t year = calendar->get(UCAL_YEAR, status);
  const std::int32_t month = calendar->get(UCAL_MONTH, status);
  const std::int32_t day = calendar->get(UCAL_DATE, status);
  calendar->clear();
  calendar->set(UCAL_ERA, era);
  calendar->set(year, month, day);
  calendar->setLenient(false);
  calendar->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
  return calendar;
}

// The format's zone where the text named none, and the system's rules for the one that it named: the engine has read it
// as one of its own.
void setZoneThatApplies(icu::Calendar& calendar, const icu::TimeZone& noZone, const icu::TimeZone& zoneOfFormat) {
  if (calendar.getTimeZone() == noZone) {
    calendar.setTimeZone(zoneOfFormat);
    return;
  }
  icu::UnicodeString name;
  calendar.getTimeZone().getID(name);
  const auto text = NSString::stringWithCharacters_length(name.getBuffer(), static_cast<NSUInteger>(name.length()));
  calendar.adoptTimeZone(foundation::engineTimeZone(text).release());
}

}  // namespace

struct NSDateFormatter::Engine {
  std::mutex mutex;
  std::string localeIdentifier;  // that `format` was made for
  std::unique_ptr<icu::DateFormat> format;
};

Class NSDateFormatter::classObject() {
  static const NSClass object("NSDateFormatter", NSObject::classObject(),
                              {
                                  method("stringFromDate:"_sel, &NSDateFormatter::stringFromDate),
                                  method("dateFromString:"_sel, &NSDateFormatter::dateFromString),
                                  method("setDateFormat:"_sel, &NSDateFormatter::setDateFormat),
                                  method("dateFormat"_sel, &NSDateFormatter::dateFormat),
                              });
  return &object;
}

NSDateFormatter::NSDateFormatter() : engine_(std::make_unique<Engine>()) {}

NSDateFormatter::~NSDateFormatter() = default;

void NSDateFormatter::settingsChanged() { engine_->format.reset(); }

void NSDateFormatter::setLocale(const Ref<NSLocale>& locale) {
  locale_ = locale;
  settingsChanged();
}

void NSDateFormatter::setTimeZone(const Ref<NSTimeZone>& timeZone) { timeZone_ = timeZone; }

void NSDateFormatter::setDateFormat(const Ref<NSString>& format) {
  dateFormat_ = format ? NSString::stringWithString(format) : nil;
  settingsChanged();
}

void NSDateFormatter::setDateStyle(NSDateFormatterStyle style) {
  dateStyle_ = style;
  settingsChanged();
}

void NSDateFormatter::setTimeStyle(NSDateFormatterStyle style) {
  timeStyle_ = style;
  settingsChanged();
}

void NSDateFormatter::setDoesRelativeDateFormatting(bool relative) {
  doesRelativeDateFormatting_ = relative;
  settingsChanged();
}

NSDateFormatter::Engine* NSDateFormatter::preparedEngine() const {
  Engine& engine = *engine_;
  const auto locale = locale_ ? locale_ : NSLocale::currentLocale();
  const std::string identifier = locale->localeIdentifier()->UTF8String();
  if (!engine.format || engine.localeIdentifier != identifier) {
    const icu::Locale place(identifier.c_str());
    engine.localeIdentifier = identifier;
    auto dateStyle = engineStyle(dateStyle_);
    const auto timeStyle = engineStyle(timeStyle_);
    if (dateFormat_ || (dateStyle == icu::DateFormat::kNone && timeStyle == icu::DateFormat::kNone)) {
      UErrorCode status = U_ZERO_ERROR;
      const icu::UnicodeString pattern = dateFormat_ ? unicodeString(dateFormat_) : icu::UnicodeString();
      engine.format = std::make_unique<icu::SimpleDateFormat>(pattern, place, status);
      if (U_FAILURE(status)) engine.format.reset();
    } else {
      if (doesRelativeDateFormatting_ && dateStyle != icu::DateFormat::kNone) {
        dateStyle = static_cast<icu::DateFormat::EStyle>(dateStyle | icu::DateFormat::kRelative);
      }
      engine.format.reset(icu::DateFormat::createDateTimeInstance(dateStyle, timeStyle, place));
    }
    if (!engine.format) return nullptr;
    engine.format->setLenient(false);
    if (auto* simple = dynamic_cast<icu::SimpleDateFormat*>(engine.format.get())) makeStrict(*simple);
  }
  const auto zone = timeZone_ ? timeZone_ : NSTimeZone::defaultTimeZone();
  engine.format->adoptTimeZone(foundation::engineTimeZone(zone->name()).release());
  return &engine;
}

Ref<NSString> NSDateFormatter::stringFromDate(const Ref<NSDate>& date) const {
  if (!date) return nil;
  const double milliseconds = std::floor(date->timeIntervalSince1970() * 1000.0);
  if (!(std::fabs(milliseconds) <= farthestMilliseconds)) return nil;
  const std::lock_guard lock(engine_->mutex);
  const Engine* engine = preparedEngine();
  if (!engine) return nil;
  icu::UnicodeString text;
  UErrorCode status = U_ZERO_ERROR;
  // Only patterns can be wrong, and only this kind of format tells.
  if (const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(engine->format.get())) {
    simple->format(milliseconds, text, nullptr, status);
  } else {
    engine->format->format(milliseconds, text);
  }
  if (U_FAILURE(status)) return nil;
  return NSString::stringWithCharacters_length(text.getBuffer(), static_cast<NSUInteger>(text.length()));
}

Ref<NSDate> NSDateFormatter::dateFromString(const Ref<NSString>& text) const {
  if (!text || text->length() == 0 || text->length() > longestText) return nil;
  const std::lock_guard lock(engine_->mutex);
  const Engine* engine = preparedEngine();
  if (!engine) return nil;

  static const icu::SimpleTimeZone& noZone = *new icu::SimpleTimeZone(0, "no zone");
  const auto calendar = calendarToReadInto(*engine->format, noZone);
  const icu::UnicodeString units = unicodeString(text);
  icu::ParsePosition position(0);
  engine->format->parse(units, *calendar, position);
  if (position.getIndex() != units.length()) return nil;

  // Without a zone of its own every time of day exists, so that only what exists in no zone at all is turned down.
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Calendar> strict(calendar->clone());
  strict->getTime(status);
  if (U_FAILURE(status)) return nil;
  setZoneThatApplies(*calendar, noZone, engine->format->getTimeZone());
  calendar->setLenient(true);
  const UDate milliseconds = calendar->getTime(status);
  if (U_FAILURE(status) || !(std::fabs(milliseconds) <= farthestMilliseconds)) return nil;
  return NSDate::dateWithTimeIntervalSince1970(milliseconds / 1000.0);
}

}  // namespace telvo
