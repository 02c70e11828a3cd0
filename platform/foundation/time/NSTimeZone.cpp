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

#include <sys/stat.h>
#include <unicode/strenum.h>
#include <unicode/timezone.h>

#include "foundation/text/NSString.h"
#include "foundation/time/EngineTimeZone.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/ZoneFiles.h"
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

// What says which zone is the default one.
struct ZoneSetting {
  std::string text;  // of the variable, without the colon that may stand in front
  std::string file;  // that it is the path of, or that the system keeps when there is no variable
};

ZoneSetting zoneSetting() {
  const char* value = std::getenv("TZ");
  if (!value) return {"", "/etc/localtime"};
  const std::string_view named(value);
  const std::string text(foundation::plainZoneName(named.starts_with(':') ? named.substr(1) : named));
  return {text, text.starts_with('/') ? text : ""};
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

Ref<NSString> nameOfZoneLike(const LocalClock& clock) {
  const auto rawOffset = static_cast<std::int32_t>(clock.standardOffset() * 1000);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::StringEnumeration> names(
      icu::TimeZone::createTimeZoneIDEnumeration(UCAL_ZONE_TYPE_CANONICAL_LOCATION, nullptr, &rawOffset, status));
  if (U_FAILURE(status)) return nil;
  while (const icu::UnicodeString* name = names->snext(status)) {
    auto found = NSString::stringWithCharacters_length(name->getBuffer(), static_cast<NSUInteger>(name->length()));
    if (agrees(*foundation::engineTimeZone(found), clock)) return found;
  }
  return nil;
}

// As the C library understands a rule without dates ("EST5EDT4"): those of the United States apply. Empty for what is
// none.
std::string completeRule(const std::string& text) {
  if (text.empty()) return {};
  const bool hasDates = text.find(',') != std::string::npos;
  const std::string rule = hasDates ? text : text + ",M3.2.0,M11.1.0";
  return foundation::ZoneRules::ofZone(rule) ? rule : std::string();
}

Ref<NSString> nameOfZoneWithoutName(const ZoneSetting& setting) {
  const std::string original = foundation::nameOfZoneWithCopy(setting.file);
  if (!original.empty()) return NSString::stringWithUTF8String(original);
  const LocalClock clock = localClockThisYear();
  const auto fixed = nameOfFixedZone(std::clamp(clock.standardOffset(), -farthestOffset, farthestOffset));
  if (std::ranges::count(clock.offsets, clock.offsets.front()) == std::ssize(clock.offsets)) return fixed;
  const std::string rule = completeRule(setting.text);
  if (!rule.empty()) return NSString::stringWithUTF8String(rule);
  const auto similar = nameOfZoneLike(clock);
  return similar ? similar : fixed;
}

// What tells one setting from another, or from what it was before its file was replaced.
std::string keyOf(const ZoneSetting& setting) {
  struct stat status {};
  if (setting.file.empty() || stat(setting.file.c_str(), &status) != 0) return setting.text;
  std::string key = setting.text;
  for (const auto number :
       {static_cast<std::int64_t>(status.st_ino), static_cast<std::int64_t>(status.st_size),
        static_cast<std::int64_t>(status.st_mtim.tv_sec), static_cast<std::int64_t>(status.st_mtim.tv_nsec)}) {
    key += "\n" + std::to_string(number);
  }
  return key;
}

// The search takes milliseconds, so the answer is kept for as long as the setting stays the same.
Ref<NSString> cachedNameOfZoneWithoutName(const ZoneSetting& setting) {
  static std::mutex& mutex = *new std::mutex;
  static std::string& knownKey = *new std::string;
  static Ref<NSString>& knownName = *new Ref<NSString>;
  const std::string key = keyOf(setting);
  const std::lock_guard lock(mutex);
  if (!knownName || knownKey != key) {
    knownName = nameOfZoneWithoutName(setting);
    knownKey = key;
  }
  return knownName;
}

Ref<NSString> nameOfDefaultZone() {
  const ZoneSetting setting = zoneSetting();
  if (setting.text.empty() && setting.file.empty()) return "GMT"_ns;
  const std::string name = !setting.file.empty()        ? nameFromZoneFile(setting.file)
                           : isInZoneData(setting.text) ? setting.text
                                                        : std::string();
  return name.empty() ? cachedNameOfZoneWithoutName(setting) : NSString::stringWithUTF8String(name);
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
