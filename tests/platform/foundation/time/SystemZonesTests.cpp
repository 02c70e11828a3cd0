// Every zone of the system, compared with what Python's zoneinfo reads from the same zone files.

#include <array>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/text/NSLocale.h"
#include "foundation/text/NSString.h"
#include "foundation/time/NSCalendar.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSDateComponents.h"
#include "foundation/time/NSDateFormatter.h"
#include "foundation/time/NSTimeZone.h"
#include "testing/EnvironmentVariable.h"

namespace {

// Prints for each zone a line with its name, its offset at the beginning of 1970, and each instant up to the end of
// 2040 at which the offset changes, with the new one. Weeks are short enough to miss no change; zones that are the same
// file are looked at once.
constexpr const char* program = R"(
import datetime, hashlib, os, zoneinfo
utc = datetime.timezone.utc
start, end, week = 0, int(datetime.datetime(2041, 1, 1, tzinfo=utc).timestamp()), 7 * 86400
def changes(zone):
    offset = lambda time: int(datetime.datetime.fromtimestamp(time, zone).utcoffset().total_seconds())
    known = offset(start)
    words = [known]
    for time in range(start + week, end + week, week):
        while offset(time) != known:
            low, high = time - week, time
            while high - low > 1:
                middle = (low + high) // 2
                low, high = (middle, high) if offset(middle) == known else (low, middle)
            known = offset(high)
            words += [high, known]
            if high == time:
                break
    return ' '.join(map(str, words))
lines = {}
for name in sorted(zoneinfo.available_timezones()):
    with open(os.path.join('/usr/share/zoneinfo', name), 'rb') as file:
        digest = hashlib.sha256(file.read()).digest()
    if digest not in lines:
        lines[digest] = changes(zoneinfo.ZoneInfo(name))
    print(name, lines[digest])
)";

struct Change {
  NSInteger instant;
  NSInteger offset;  // from then on
};

struct Zone {
  std::string name;
  std::vector<Change> changes;  // the first one is the beginning
};

std::vector<Zone> readZones() {
  const std::string command = std::string("/usr/bin/python3 -c \"$TELVO_PROGRAM\"");
  const EnvironmentVariable variable("TELVO_PROGRAM", program);
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
  std::string output;
  std::array<char, 65536> buffer;
  while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
    output.append(buffer.data(), size);
  }
  std::vector<Zone> zones;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    Zone zone;
    Change change{0, 0};
    words >> zone.name >> change.offset;
    do zone.changes.push_back(change);
    while (words >> change.instant >> change.offset);
    zones.push_back(std::move(zone));
  }
  return zones;
}

const std::vector<Zone>& zones() {
  static const std::vector<Zone>& read = *new std::vector<Zone>(readZones());
  return read;
}

Ref<NSTimeZone> timeZone(const Zone& zone) {
  return NSTimeZone::timeZoneWithName(NSString::stringWithUTF8String(zone.name));
}

Ref<NSDate> at(NSInteger instant) { return NSDate::dateWithTimeIntervalSince1970(static_cast<double>(instant)); }

TEST(SystemZones, HaveTheSystemsRulesFrom1970To2040) {
  ASSERT_GT(zones().size(), 400U);
  NSInteger checks = 0;
  for (const Zone& zone : zones()) {
    const auto ours = timeZone(zone);
    ASSERT_NE(ours, nil) << zone.name;
    for (std::size_t i = 0; i < zone.changes.size(); ++i) {
      const Change& change = zone.changes[i];
      EXPECT_EQ(ours->secondsFromGMTForDate(at(change.instant)), change.offset) << zone.name << " " << change.instant;
      const NSInteger next = i + 1 < zone.changes.size() ? zone.changes[i + 1].instant : 2240611200;  // the year 2041
      EXPECT_EQ(ours->secondsFromGMTForDate(at(next - 1)), change.offset) << zone.name << " " << next;
      EXPECT_EQ(ours->secondsFromGMTForDate(at(change.instant + (next - change.instant) / 2)), change.offset)
          << zone.name;
      checks += 3;
    }
  }
  EXPECT_GT(checks, 50'000);
}

// What a clock shows there, by the calendar and by the formatter.
TEST(SystemZones, AreWhatCalendarsAndFormattersGoBy) {
  const auto english = NSLocale::localeWithLocaleIdentifier("en_US_POSIX"_ns);
  const auto formatter = make<NSDateFormatter>();
  formatter->setLocale(english);
  formatter->setDateFormat("yyyy-MM-dd HH:mm:ss xxxxx"_ns);
  for (const Zone& zone : zones()) {
    const auto ours = timeZone(zone);
    const auto calendar = make<NSCalendar>(NSCalendarIdentifierGregorian(), english, ours);
    const auto inGMT =
        make<NSCalendar>(NSCalendarIdentifierGregorian(), english, NSTimeZone::timeZoneForSecondsFromGMT(0));
    formatter->setTimeZone(ours);
    constexpr NSInteger noonOf15July2024 = 1721044800;
    for (const Change& change :
         {zone.changes.back(), Change{noonOf15July2024, ours->secondsFromGMTForDate(at(noonOf15July2024))}}) {
      const auto components = calendar->components_fromDate(
          NSCalendarUnitDay | NSCalendarUnitHour | NSCalendarUnitMinute, at(change.instant));
      const auto expected = inGMT->components_fromDate(NSCalendarUnitDay | NSCalendarUnitHour | NSCalendarUnitMinute,
                                                       at(change.instant + change.offset));
      EXPECT_EQ(components->day(), expected->day()) << zone.name;
      EXPECT_EQ(components->hour(), expected->hour()) << zone.name;
      EXPECT_EQ(components->minute(), expected->minute()) << zone.name;
      const auto text = formatter->stringFromDate(at(change.instant));
      ASSERT_NE(text, nil) << zone.name;
      EXPECT_TRUE(NSEqualObjects(formatter->dateFromString(text), at(change.instant)))
          << zone.name << " " << text->UTF8String();
    }
  }
}

TEST(SystemZones, LeapSecondsAndVariantsMakeNoDifference) {
  for (const char* setting : {"right/Europe/Berlin", "posix/Europe/Berlin", ":right/Europe/Berlin",
                              "/usr/share/zoneinfo/right/Europe/Berlin"}) {
    const EnvironmentVariable zone("TZ", setting);
    const auto found = NSTimeZone::defaultTimeZone();
    EXPECT_EQ(found->name()->UTF8String(), "Europe/Berlin") << setting;
    EXPECT_EQ(found->secondsFromGMTForDate(at(1705320000)), 3600) << setting;
    EXPECT_EQ(found->secondsFromGMTForDate(at(1721044800)), 7200) << setting;
  }
  const auto right = NSTimeZone::timeZoneWithName("right/Europe/Berlin"_ns);
  ASSERT_NE(right, nil);
  EXPECT_EQ(right->secondsFromGMTForDate(at(1721044800)), 7200);
}

TEST(SystemZones, TellWhatIsDaylightSaving) {
  const auto saving = [](const char* name, NSInteger instant) {
    return NSTimeZone::timeZoneWithName(NSString::stringWithUTF8String(name))
        ->daylightSavingTimeOffsetForDate(at(instant));
  };
  constexpr NSInteger winter2024 = 1705320000;
  constexpr NSInteger summer2024 = 1721044800;
  EXPECT_EQ(saving("Europe/Berlin", summer2024), 3600);
  EXPECT_EQ(saving("Europe/Berlin", winter2024), 0);
  EXPECT_EQ(saving("Africa/Cairo", summer2024), 3600);
  EXPECT_EQ(saving("America/Mexico_City", summer2024), 0);
  // Ireland's law has it that its winters are the exception.
  EXPECT_EQ(saving("Europe/Dublin", summer2024), 3600);
  EXPECT_EQ(saving("Europe/Dublin", winter2024), 0);
  // In the year 3000.
  EXPECT_EQ(saving("Europe/Berlin", 32520528000), 3600);
}

TEST(SystemZones, NamesThatLeadOutOfTheFolderAreNone) {
  for (const auto& name : {"../zoneinfo/Europe/Berlin"_ns, "/usr/share/zoneinfo/Europe/Berlin"_ns, "zone.tab"_ns,
                           "Europe"_ns, "posix"_ns, "right/"_ns}) {
    EXPECT_EQ(NSTimeZone::timeZoneWithName(name), nil) << name->UTF8String();
  }
}

// The clocks show 2:30 twice on 27 October 2024, and never on 31 March.
TEST(SystemZones, TimesShownTwiceAndNeverAreReadAsBefore) {
  const auto berlin = NSTimeZone::timeZoneWithName("Europe/Berlin"_ns);
  const auto calendar =
      make<NSCalendar>(NSCalendarIdentifierGregorian(), NSLocale::localeWithLocaleIdentifier("en_US_POSIX"_ns), berlin);
  const auto halfPastTwo = [&](NSInteger month, NSInteger day) {
    const auto components = make<NSDateComponents>();
    components->setYear(2024);
    components->setMonth(month);
    components->setDay(day);
    components->setHour(2);
    components->setMinute(30);
    return calendar->dateFromComponents(components)->timeIntervalSince1970();
  };
  EXPECT_EQ(halfPastTwo(10, 27), 1729989000);  // the first time, in summer time
  EXPECT_EQ(halfPastTwo(3, 31), 1711848600);   // as 3:30
}

}  // namespace
