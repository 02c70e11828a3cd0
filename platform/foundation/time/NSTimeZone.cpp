#include "foundation/time/NSTimeZone.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <unicode/strenum.h>
#include <unicode/timezone.h>

#include "foundation/text/NSString.h"
#include "foundation/time/EngineTimeZone.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/ZoneRules.h"

inline namespace telvo {

namespace {

constexpr NSInteger secondsPerHour = 3600;
constexpr NSInteger hoursPerYear = NSInteger{366} * 24;
constexpr NSInteger farthestOffset = 18 * secondsPerHour;

foundation::ZoneOffsets offsetsAt(const icu::TimeZone& rules, double secondsSince1970) {
  constexpr double farthest = 1e14;  // three million years
  if (!(std::fabs(secondsSince1970) < farthest)) return {};
  std::int32_t standard = 0;
  std::int32_t daylightSaving = 0;
  UErrorCode status = U_ZERO_ERROR;
  rules.getOffset(std::floor(secondsSince1970) * 1000.0, 0, standard, daylightSaving, status);
  if (U_FAILURE(status)) return {};
  return {standard / 1000, daylightSaving / 1000};
}

// The names of the system's zone files, and of the engine's own where there is no file. Names like "GMT+3" are neither:
// as a TZ they lie west of GMT, as the name of a zone east of it.
bool isInZoneData(const std::string& name) {
  if (foundation::ZoneRules::ofZone(name)) return true;
  icu::UnicodeString canonical;
  UBool inZoneData = false;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(icu::UnicodeString::fromUTF8(name), canonical, inZoneData, status);
  return U_SUCCESS(status) && inZoneData && name != "Etc/Unknown";
}

// "Europe/Berlin" for "/usr/share/zoneinfo/Europe/Berlin" and for every link to it; empty for other files.
std::string nameFromZoneFile(const std::string& path) {
  constexpr std::string_view folder = "/zoneinfo/";
  std::error_code error;
  const std::string file = std::filesystem::canonical(path, error).string();
  const std::size_t found = file.find(folder);
  if (error || found == std::string::npos) return {};
  const std::string name(foundation::plainZoneName(std::string_view(file).substr(found + folder.size())));
  return isInZoneData(name) ? name : std::string();
}

// The clock of the C library, which knows rules and zone files of every kind: its offset at each hour of this year.
struct LocalClock {
  std::vector<std::time_t> hours;
  std::vector<NSInteger> offsets;
  // The smallest one. What the C library calls daylight saving is not asked for: a rule may declare winter the
  // exception.
  NSInteger standardOffset() const { return *std::ranges::min_element(offsets); }
};

LocalClock localClockThisYear() {
  tzset();
  const std::time_t now = std::time(nullptr);
  std::tm fields{};
  gmtime_r(&now, &fields);
  const std::time_t yearStart = now - (fields.tm_yday * 24 + fields.tm_hour) * secondsPerHour - now % secondsPerHour;
  LocalClock clock;
  for (NSInteger hour = 0; hour < hoursPerYear; ++hour) {
    const std::time_t instant = yearStart + hour * secondsPerHour;
    localtime_r(&instant, &fields);
    clock.hours.push_back(instant);
    clock.offsets.push_back(fields.tm_gmtoff);
  }
  return clock;
}

bool agrees(const icu::TimeZone& rules, const LocalClock& clock) {
  for (std::size_t i = 0; i < clock.hours.size(); ++i) {
    if (offsetsAt(rules, static_cast<double>(clock.hours[i])).total() != clock.offsets[i]) return false;
  }
  return true;
}

Ref<NSString> nameOfFixedZone(NSInteger seconds) {
  if (seconds == 0) return "GMT"_ns;
  const NSInteger distance = std::abs(seconds);
  const auto name =
      NSString::stringWithFormat("GMT%s%02ld%02ld"_ns, seconds < 0 ? "-" : "+", distance / 3600, distance / 60 % 60);
  return distance % 60 == 0 ? name : name->stringByAppendingFormat("%02ld"_ns, distance % 60);
}

Ref<NSString> nameOfZoneLikeLocalClock() {
  const LocalClock clock = localClockThisYear();
  auto fixed = nameOfFixedZone(std::clamp(clock.standardOffset(), -farthestOffset, farthestOffset));
  if (std::ranges::count(clock.offsets, clock.offsets.front()) == std::ssize(clock.offsets)) return fixed;

  const auto rawOffset = static_cast<std::int32_t>(clock.standardOffset() * 1000);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::StringEnumeration> names(
      icu::TimeZone::createTimeZoneIDEnumeration(UCAL_ZONE_TYPE_CANONICAL_LOCATION, nullptr, &rawOffset, status));
  if (U_FAILURE(status)) return fixed;
  while (const icu::UnicodeString* name = names->snext(status)) {
    auto found = NSString::stringWithCharacters_length(name->getBuffer(), static_cast<NSUInteger>(name->length()));
    if (agrees(*foundation::engineTimeZone(found), clock)) return found;
  }
  return fixed;
}

// The search takes milliseconds, so the answer is kept for as long as TZ stays the same.
Ref<NSString> cachedNameOfZoneLikeLocalClock(const std::string& setting) {
  static std::mutex& mutex = *new std::mutex;
  static std::string& knownSetting = *new std::string;
  static Ref<NSString>& knownName = *new Ref<NSString>;
  const std::lock_guard lock(mutex);
  if (!knownName || knownSetting != setting) {
    knownName = nameOfZoneLikeLocalClock();
    knownSetting = setting;
  }
  return knownName;
}

std::string nameFromSetting(const std::string& setting) {
  const std::string_view named(setting);
  const std::string name(foundation::plainZoneName(named.starts_with(':') ? named.substr(1) : named));
  if (name.starts_with('/')) return nameFromZoneFile(name);
  return isInZoneData(name) ? name : std::string();
}

Ref<NSString> nameOfDefaultZone() {
  const char* value = std::getenv("TZ");
  const std::string setting = value ? value : "";
  if (value && setting.empty()) return "GMT"_ns;
  const std::string name = value ? nameFromSetting(setting) : nameFromZoneFile("/etc/localtime");
  return name.empty() ? cachedNameOfZoneLikeLocalClock(setting) : NSString::stringWithUTF8String(name);
}

foundation::ZoneOffsets offsetsOfZoneAt(const NSTimeZone& zone, const Ref<NSDate>& date) {
  if (!date) return {};
  return offsetsAt(*foundation::engineTimeZone(zone.name()), date->timeIntervalSince1970());
}

}  // namespace

Class NSTimeZone::classObject() {
  static const NSClass object(
      "NSTimeZone", NSObject::classObject(),
      {
          method("name"_sel, &NSTimeZone::name),
          method("secondsFromGMT"_sel, &NSTimeZone::secondsFromGMT),
          method("secondsFromGMTForDate:"_sel, &NSTimeZone::secondsFromGMTForDate),
          method("daylightSavingTimeOffset"_sel, &NSTimeZone::daylightSavingTimeOffset),
          method("daylightSavingTimeOffsetForDate:"_sel, &NSTimeZone::daylightSavingTimeOffsetForDate),
      });
  return &object;
}

Ref<NSTimeZone> NSTimeZone::defaultTimeZone() { return make<NSTimeZone>(nameOfDefaultZone()); }

Ref<NSTimeZone> NSTimeZone::timeZoneWithName(const Ref<NSString>& name) {
  constexpr NSUInteger longestName = 64;
  if (!name || name->length() > longestName) return nil;
  if (*foundation::engineTimeZone(name) == icu::TimeZone::getUnknown()) return nil;
  return make<NSTimeZone>(NSString::stringWithString(name));
}

Ref<NSTimeZone> NSTimeZone::timeZoneForSecondsFromGMT(NSInteger seconds) {
  if (seconds < -farthestOffset || seconds > farthestOffset) return nil;
  return make<NSTimeZone>(nameOfFixedZone(seconds));
}

NSInteger NSTimeZone::secondsFromGMT() const { return secondsFromGMTForDate(NSDate::date()); }

NSInteger NSTimeZone::secondsFromGMTForDate(const Ref<NSDate>& date) const {
  return offsetsOfZoneAt(*this, date).total();
}

NSTimeInterval NSTimeZone::daylightSavingTimeOffset() const { return daylightSavingTimeOffsetForDate(NSDate::date()); }

NSTimeInterval NSTimeZone::daylightSavingTimeOffsetForDate(const Ref<NSDate>& date) const {
  return static_cast<NSTimeInterval>(offsetsOfZoneAt(*this, date).daylightSaving);
}

bool NSTimeZone::isEqual(const id& other) const {
  const auto zone = as<NSTimeZone>(other);
  return zone && name_->isEqualToString(zone->name_);
}

NSUInteger NSTimeZone::hash() const { return name_->hash(); }

}  // namespace telvo
