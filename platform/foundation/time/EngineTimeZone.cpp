#include "foundation/time/EngineTimeZone.h"

#include <utility>

#include <unicode/timezone.h>

#include "foundation/text/NSString.h"
#include "foundation/time/CivilTime.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/ZoneRules.h"

inline namespace telvo {

namespace {

constexpr double millisecondsPerSecond = 1000.0;

std::int32_t milliseconds(std::int64_t seconds) { return static_cast<std::int32_t>(seconds * 1000); }

class SystemTimeZone final : public icu::TimeZone {
 public:
  SystemTimeZone(const icu::UnicodeString& name, std::shared_ptr<const foundation::ZoneRules> rules)
      : TimeZone(name), rules_(std::move(rules)) {}

  // The engine tells its classes apart by the address of this.
  static UClassID getStaticClassID() {
    static char identity = 0;
    return &identity;
  }
  UClassID getDynamicClassID() const override { return getStaticClassID(); }
  SystemTimeZone* clone() const override { return new SystemTimeZone(*this); }

  void getOffset(UDate date, UBool local, std::int32_t& rawOffset, std::int32_t& daylightSaving,
                 UErrorCode& status) const override {
    if (U_FAILURE(status)) return;
    const double seconds = date / millisecondsPerSecond;
    const auto offsets = local ? rules_->offsetsAtLocalTime(seconds) : rules_->offsetsAt(seconds);
    rawOffset = milliseconds(offsets.standard);
    daylightSaving = milliseconds(offsets.daylightSaving);
  }

  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                         std::uint8_t dayOfWeek, std::int32_t millis, std::int32_t, UErrorCode& status) const override {
    return getOffset(era, year, month, day, dayOfWeek, millis, status);
  }

  // Fields of standard time: "millis" counts from midnight.
  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day, std::uint8_t,
                         std::int32_t millis, UErrorCode& status) const override {
    constexpr std::uint8_t beforeChrist = 0;
    foundation::CivilTime midnight;
    midnight.year = era == beforeChrist ? 1 - year : year;
    midnight.month = static_cast<unsigned>(month + 1);
    midnight.day = static_cast<unsigned>(day);
    const auto start = foundation::secondsSince1970From(midnight);
    if (!start) {
      status = U_ILLEGAL_ARGUMENT_ERROR;
      return 0;
    }
    const double standardTime = *start + millis / millisecondsPerSecond;
    const auto standard = static_cast<double>(rules_->offsetsAtLocalTime(standardTime).standard);
    return milliseconds(rules_->offsetsAt(standardTime - standard).total());
  }

  std::int32_t getRawOffset() const override { return milliseconds(rules_->offsetsAt(now()).standard); }
  void setRawOffset(std::int32_t) override {}  // the rules are the system's

  UBool useDaylightTime() const override {
    constexpr int monthsAhead = 12;
    constexpr double month = 30.0 * 86400.0;
    for (int count = 0; count <= monthsAhead; ++count) {
      if (rules_->offsetsAt(now() + count * month).daylightSaving != 0) return 1;
    }
    return 0;
  }
  UBool inDaylightTime(UDate date, UErrorCode& status) const override {
    const bool saves = rules_->offsetsAt(date / millisecondsPerSecond).daylightSaving != 0;
    return U_SUCCESS(status) && saves ? 1 : 0;
  }

 private:
  static double now() { return NSDate::timeIntervalSinceReferenceDateNow() + NSTimeIntervalSince1970; }

  std::shared_ptr<const foundation::ZoneRules> rules_;
};

}  // namespace

std::unique_ptr<icu::TimeZone> foundation::engineTimeZone(const Ref<NSString>& name) {
  const std::u16string_view units = name->units();
  const icu::UnicodeString engineName(units.data(), static_cast<std::int32_t>(units.size()));
  if (auto rules = ZoneRules::ofZone(name->UTF8String())) {
    return std::make_unique<SystemTimeZone>(engineName, std::move(rules));
  }
  return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(engineName));
}

}  // namespace telvo
