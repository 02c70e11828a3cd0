#include "foundation/time/ZoneRules.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <regex>
#include <utility>

#include <glib.h>

#include "foundation/time/ZoneFiles.h"

inline namespace telvo {

namespace {

constexpr std::int64_t secondsPerHour = 3600;

// No path that leads out of the folder.
bool isZoneName(std::string_view name) {
  return !name.empty() && !name.starts_with('/') && name.find("..") == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

// The rule at the end of a zone file, which goes on where the file's table of changes ends.
std::string ruleAtEnd(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  const std::size_t end = content.rfind('\n');
  if (end == std::string::npos || end == 0) return {};
  const std::size_t start = content.rfind('\n', end - 1);
  return start == std::string::npos ? std::string() : content.substr(start + 1, end - start - 1);
}

// The reader of zone files takes an exceptional offset of 0 for one that is not given. Ireland's winters are such an
// exception ("IST-1GMT0,M10.5.0,M3.5.0/1"): said the other way round, with the summers as the exception, it is read
// right. Empty for other rules.
std::string turnedRound(const std::string& rule) {
  static const std::regex& exceptionAtZero =
      *new std::regex("([A-Za-z]+|<[^>]+>)([-+0-9:]+)([A-Za-z]+|<[^>]+>)[-+]?0,([^,]+),([^,]+)");
  std::smatch parts;
  if (!std::regex_match(rule, parts, exceptionAtZero)) return {};
  return parts.str(3) + "0" + parts.str(1) + parts.str(2) + "," + parts.str(5) + "," + parts.str(4);
}

std::shared_ptr<const foundation::ZoneRules> openZone(std::string_view name) {
  // By the file's path: as a mere name, "EST5EDT" would be read as a rule. What is no zone file, the reader of them
  // would complain about in the log.
  const std::string path = foundation::zoneFolder() + "/" + std::string(name);
  GTimeZone* zone = foundation::isZoneFile(path) ? g_time_zone_new_identifier(path.c_str()) : nullptr;
  if (!zone) return nullptr;
  const std::string rule = turnedRound(ruleAtEnd(path));
  GTimeZone* later = rule.empty() ? nullptr : g_time_zone_new_identifier(rule.c_str());
  if (!later) return std::make_shared<const foundation::ZoneRules>(zone);
  return std::make_shared<const foundation::ZoneRules>(zone, std::make_shared<const foundation::ZoneRules>(later));
}

// "CET-1CEST,M3.5.0,M10.5.0/3". Those without the dates behind a comma are fixed zones, or the dates are the system's
// own choice.
bool mayBeRule(const std::string& text) { return text.find(',') != std::string::npos; }

std::shared_ptr<const foundation::ZoneRules> rulesFromText(const std::string& text) {
  const std::string turned = turnedRound(text);
  GTimeZone* zone = g_time_zone_new_identifier(turned.empty() ? text.c_str() : turned.c_str());
  return zone ? std::make_shared<const foundation::ZoneRules>(zone) : nullptr;
}

// Zone files list every change up to the year 2037.
constexpr double endOfTables = 2145916800.0;

constexpr double lastKnown = 15e9;  // in the year 2445

// Rules are known for some hundred years ahead. The calendar repeats itself after 400 years, to the weekday, so times
// beyond that are asked for in the last 400 years that are known.
std::int64_t withinKnownYears(double seconds) {
  constexpr double cycle = 146097.0 * 86400.0;
  constexpr double farthest = 1e14;  // three million years
  const double time = std::clamp(std::floor(seconds), -farthest, farthest);
  if (time <= lastKnown) return static_cast<std::int64_t>(time);
  return static_cast<std::int64_t>(time - std::ceil((time - lastKnown) / cycle) * cycle);
}

}  // namespace

namespace foundation {

std::string_view plainZoneName(std::string_view name) {
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (name.starts_with(variant)) name.remove_prefix(variant.size());
  }
  return name;
}

std::shared_ptr<const ZoneRules> ZoneRules::ofZone(const std::string& name) {
  static std::mutex& mutex = *new std::mutex;
  static auto& known = *new std::map<std::string, std::shared_ptr<const ZoneRules>, std::less<>>;
  // There may be any number of rules, and in use is mostly one, the process's own.
  static auto& latest = *new std::pair<std::string, std::shared_ptr<const ZoneRules>>;
  const std::string_view plainName = plainZoneName(name);
  if (!isZoneName(plainName)) return nullptr;
  const std::lock_guard lock(mutex);
  const auto found = known.find(plainName);
  if (found != known.end()) return found->second;
  if (auto rules = openZone(plainName)) return known.emplace(plainName, std::move(rules)).first->second;
  if (!mayBeRule(name)) return nullptr;
  if (latest.first != name) latest = {name, rulesFromText(name)};
  return latest.second;
}

ZoneRules::ZoneRules(GTimeZone* zone, std::shared_ptr<const ZoneRules> laterRules)
    : zone_(zone), laterRules_(std::move(laterRules)) {}

ZoneRules::~ZoneRules() { g_time_zone_unref(zone_); }

int ZoneRules::intervalAt(std::int64_t seconds) const {
  return g_time_zone_find_interval(zone_, G_TIME_TYPE_UNIVERSAL, seconds);
}

std::int64_t ZoneRules::offset(int interval) const { return g_time_zone_get_offset(zone_, interval); }
bool ZoneRules::isDaylightSaving(int interval) const { return g_time_zone_is_dst(zone_, interval) != 0; }

ZoneOffsets ZoneRules::offsetsAt(double secondsSince1970) const {
  if (laterRules_ && secondsSince1970 >= endOfTables) return laterRules_->offsetsAt(secondsSince1970);
  return offsets(intervalAt(withinKnownYears(secondsSince1970)));
}

ZoneOffsets ZoneRules::offsetsAtLocalTime(double seconds) const {
  if (laterRules_ && seconds >= endOfTables) return laterRules_->offsetsAtLocalTime(seconds);
  constexpr std::int64_t farthestOffset = 26 * secondsPerHour;
  const std::int64_t shown = withinKnownYears(seconds);
  const int first = intervalAt(shown - farthestOffset);
  const int last = intervalAt(shown + farthestOffset);
  for (int interval = last; interval >= first; --interval) {
    if (intervalAt(shown - offset(interval)) == interval) return offsets(interval);
  }
  // No clock shows it: the interval before the gap is the first one that is over by then.
  for (int interval = first; interval < last; ++interval) {
    if (intervalAt(shown - offset(interval)) > interval) return offsets(interval);
  }
  return offsets(last);
}

ZoneOffsets ZoneRules::offsets(int interval) const {
  if (isDaylightSaving(interval)) return offsetsOfDaylightSaving(interval);
  const ZoneOffsets standard{offset(interval), 0};
  // Some zone files declare the winter the exception ("negative daylight saving"): then it is the summers in between
  // that clocks are put forward in.
  const auto isWinter = [&](int each) { return isDaylightSaving(each) && offset(each) < standard.standard; };
  const int last = intervalAt(static_cast<std::int64_t>(lastKnown));
  if (interval == 0 || interval >= last || !isWinter(interval - 1) || !isWinter(interval + 1)) return standard;
  return {offset(interval - 1), standard.standard - offset(interval - 1)};
}

// The files say that it is daylight saving time, not of how much: that is told by the standard time before it or, where
// this changed as well, after it.
ZoneOffsets ZoneRules::offsetsOfDaylightSaving(int interval) const {
  constexpr std::int64_t mostSaved = 2 * secondsPerHour;
  const std::int64_t total = offset(interval);
  const int last = intervalAt(static_cast<std::int64_t>(lastKnown));
  int before = interval;
  while (before > 0 && isDaylightSaving(before)) --before;
  int after = interval;
  while (after < last && isDaylightSaving(after)) ++after;
  for (const int standard : {before, after}) {
    const std::int64_t saved = total - offset(standard);
    if (!isDaylightSaving(standard) && saved > 0 && saved <= mostSaved) return {total - saved, saved};
  }
  return {total, 0};
}

}  // namespace foundation

}  // namespace telvo
