#include <cmath>
#include <ctime>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSTimeZone.h"
#include "testing/EnvironmentVariable.h"
#include "testing/TemporaryDirectory.h"

namespace {

constexpr NSTimeInterval winter2024 = 1705320000.0;  // 2024-01-15 12:00 UTC, since 1970
constexpr NSTimeInterval summer2024 = 1721044800.0;  // 2024-07-15 12:00 UTC
constexpr NSTimeInterval march2024 = 1710936000.0;   // 2024-03-20 12:00 UTC
constexpr NSTimeInterval summer1971 = 48427200.0;    // 1971-07-15 12:00 UTC
constexpr NSTimeInterval winter2013 = 1358251200.0;  // 2013-01-15 12:00 UTC
constexpr NSTimeInterval summer2021 = 1626350400.0;  // 2021-07-15 12:00 UTC
constexpr NSTimeInterval summer2039 = 2194344000.0;  // 2039-07-15 12:00 UTC

Ref<NSDate> at(NSTimeInterval since1970) { return NSDate::dateWithTimeIntervalSince1970(since1970); }

std::string defaultName() { return NSTimeZone::defaultTimeZone()->name()->UTF8String(); }

TEST(NSTimeZone, DefaultZoneFollowsEveryChangeOfTheEnvironment) {
  {
    const EnvironmentVariable zone("TZ", "Europe/Berlin");
    EXPECT_EQ(defaultName(), "Europe/Berlin");
    setenv("TZ", "Asia/Kolkata", 1);
    EXPECT_EQ(defaultName(), "Asia/Kolkata");
    setenv("TZ", ":America/New_York", 1);
    EXPECT_EQ(defaultName(), "America/New_York");
  }
  const EnvironmentVariable zone("TZ", "");
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->secondsFromGMT(), 0);
}

TEST(NSTimeZone, WithoutTheVariableTheSystemsZoneIsTheDefault) {
  const EnvironmentVariable zone("TZ", nullptr);
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();
  localtime_r(&now, &local);
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->secondsFromGMT(), local.tm_gmtoff);
}

TEST(NSTimeZone, VariableMayHoldThePathOfAZoneFile) {
  const EnvironmentVariable zone("TZ", "/usr/share/zoneinfo/Asia/Kolkata");
  EXPECT_EQ(defaultName(), "Asia/Kolkata");
}

std::string zoneFile(const std::string& name) {
  std::ifstream file("/usr/share/zoneinfo/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

NSInteger offsetAt(NSTimeInterval since1970) {
  return NSTimeZone::defaultTimeZone()->secondsFromGMTForDate(at(since1970));
}

// What containers have for a setting is a copy of a zone file. Today's clock of the zone does not tell its history:
// Mexico gave up daylight saving in 2022, Moscow its winters from 2011 to 2014.
TEST(NSTimeZone, ACopyOfAZoneFileIsThatZone) {
  const TemporaryDirectory folder;
  const std::string copy = folder.write("localtime", zoneFile("America/Mexico_City"));
  const EnvironmentVariable zone("TZ", copy.c_str());
  EXPECT_EQ(defaultName(), "America/Mexico_City");
  EXPECT_EQ(offsetAt(summer2021), -5 * 3600);
  EXPECT_EQ(offsetAt(summer2024), -6 * 3600);
  folder.write("localtime", zoneFile("Europe/Moscow"));
  EXPECT_EQ(defaultName(), "Europe/Moscow") << "the file is another one now";
  EXPECT_EQ(offsetAt(winter2013), 4 * 3600);
  setenv("TZ", (":" + copy).c_str(), 1);
  EXPECT_EQ(defaultName(), "Europe/Moscow");
}

TEST(NSTimeZone, AZoneFileThatIsNoCopyGivesAZoneWithItsClock) {
  const TemporaryDirectory folder;
  std::string own = zoneFile("Europe/Berlin");
  own.replace(own.rfind(std::string("CEST") + '\0'), 1, "X");  // the summer time's abbreviation
  const EnvironmentVariable zone("TZ", folder.write("own", own).c_str());
  EXPECT_EQ(offsetAt(winter2024), 3600);
  EXPECT_EQ(offsetAt(summer2024), 7200);
  setenv("TZ", folder.write("none", "no zone file").c_str(), 1);
  EXPECT_EQ(offsetAt(summer2024), 0);
}

TEST(NSTimeZone, VariableMayHoldARule) {
  const EnvironmentVariable zone("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(defaultName(), "CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(offsetAt(winter2024), 3600);
  EXPECT_EQ(offsetAt(summer2024), 7200);
  // A rule has no history: in 1971 no place in Europe that keeps it now put its clocks forward.
  EXPECT_EQ(offsetAt(summer1971), 7200);
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->daylightSavingTimeOffsetForDate(at(summer1971)), 3600.0);
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->daylightSavingTimeOffsetForDate(at(winter2024)), 0.0);
  EXPECT_NE(NSTimeZone::timeZoneWithName("CET-1CEST,M3.5.0,M10.5.0/3"_ns), nil);
  EXPECT_EQ(NSTimeZone::timeZoneWithName("CET-1CEST,M3.5.0,nonsense"_ns), nil);

  setenv("TZ", "<+0545>-5:45", 1);
  EXPECT_EQ(defaultName(), "GMT+0545");
  // Signs of rules point the other way: three hours west of Greenwich.
  setenv("TZ", "GMT+3", 1);
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->secondsFromGMT(), -10800);
}

TEST(NSTimeZone, RuleThatDeclaresWinterTheExceptionKeepsItsClock) {
  const EnvironmentVariable zone("TZ", "IST-1GMT0,M10.5.0,M3.5.0/1");
  EXPECT_EQ(offsetAt(winter2024), 0);
  EXPECT_EQ(offsetAt(summer2024), 3600);
  EXPECT_EQ(offsetAt(summer1971), 3600);
}

// Whether a place keeps it or not.
TEST(NSTimeZone, RulesAreWhatTheSystemsClockGoesBy) {
  for (const char* rule :
       {"AAA-1:07BBB,M3.2.0,M11.1.0", "CCC-3DDD,M4.1.0,M9.1.0", "AAA3BBB,J60/0,J300/0",
        "<-02>2<-01>,M3.5.0/-1,M10.5.0/0", "EST5EDT4,M3.2.0,M11.1.0", ":NZST-12NZDT,M9.5.0,M4.1.0/3"}) {
    const EnvironmentVariable zone("TZ", rule);
    tzset();
    for (const NSTimeInterval instant : {summer1971, winter2013, summer2021, winter2024, summer2024, summer2039}) {
      const auto seconds = static_cast<std::time_t>(instant);
      std::tm local{};
      localtime_r(&seconds, &local);
      EXPECT_EQ(offsetAt(instant), local.tm_gmtoff) << rule << " " << instant;
    }
  }
}

TEST(NSTimeZone, RuleWithoutDatesHasThoseOfTheUnitedStates) {
  const EnvironmentVariable zone("TZ", "EET-2EEST");
  EXPECT_EQ(offsetAt(winter2024), 7200);
  EXPECT_EQ(offsetAt(summer2024), 10800);
  EXPECT_EQ(offsetAt(march2024), 10800) << "as there, two weeks before Europe";
}

TEST(NSTimeZone, NonsenseInTheVariableIsGMT) {
  const EnvironmentVariable zone("TZ", "Nowhere/At all");
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->secondsFromGMT(), 0);
  setenv("TZ", "\xff\xfe", 1);
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->secondsFromGMT(), 0);
  setenv("TZ", std::string(5000, 'x').c_str(), 1);
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->secondsFromGMT(), 0);
}

TEST(NSTimeZone, SecondsFromGMTIncludeDaylightSaving) {
  const auto berlin = NSTimeZone::timeZoneWithName("Europe/Berlin"_ns);
  EXPECT_EQ(berlin->secondsFromGMTForDate(at(winter2024)), 3600);
  EXPECT_EQ(berlin->daylightSavingTimeOffsetForDate(at(winter2024)), 0.0);
  EXPECT_FALSE(berlin->isDaylightSavingTimeForDate(at(winter2024)));
  EXPECT_EQ(berlin->secondsFromGMTForDate(at(summer2024)), 7200);
  EXPECT_EQ(berlin->daylightSavingTimeOffsetForDate(at(summer2024)), 3600.0);
  EXPECT_TRUE(berlin->isDaylightSavingTimeForDate(at(summer2024)));
  EXPECT_EQ(berlin->secondsFromGMT(), berlin->secondsFromGMTForDate(NSDate::date()));
}

TEST(NSTimeZone, HalfHoursAndZonesBeyondTwelveHours) {
  EXPECT_EQ(NSTimeZone::timeZoneWithName("Asia/Kolkata"_ns)->secondsFromGMTForDate(at(winter2024)), 19800);
  const auto kiritimati = NSTimeZone::timeZoneWithName("Pacific/Kiritimati"_ns);
  EXPECT_EQ(kiritimati->secondsFromGMTForDate(at(winter2024)), 14 * 3600);
  // Half an hour of daylight saving, in the southern summer.
  const auto lordHowe = NSTimeZone::timeZoneWithName("Australia/Lord_Howe"_ns);
  EXPECT_EQ(lordHowe->daylightSavingTimeOffsetForDate(at(winter2024)), 1800.0);
  EXPECT_EQ(lordHowe->daylightSavingTimeOffsetForDate(at(summer2024)), 0.0);
}

TEST(NSTimeZone, FixedZonesAreNamedByTheirDistance) {
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(0)->name()->UTF8String(), "GMT");
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(19800)->name()->UTF8String(), "GMT+0530");
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(-12615)->name()->UTF8String(), "GMT-033015");
  for (const NSInteger seconds : {0, 19800, -12615, 64800, -64800, 1, -1}) {
    EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(seconds)->secondsFromGMT(), seconds);
  }
}

TEST(NSTimeZone, NoFixedZoneBeyondEighteenHours) {
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(64801), nil);
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(-64801), nil);
  EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(NSIntegerMax), nil);
}

TEST(NSTimeZone, UnknownNamesGiveNil) {
  EXPECT_EQ(NSTimeZone::timeZoneWithName(nil), nil);
  EXPECT_EQ(NSTimeZone::timeZoneWithName(""_ns), nil);
  EXPECT_EQ(NSTimeZone::timeZoneWithName("Europe/Atlantis"_ns), nil);
  EXPECT_EQ(NSTimeZone::timeZoneWithName(NSString::stringWithUnits(std::u16string(1'000'000, u'x'))), nil);
}

TEST(NSTimeZone, DatesOutsideAllCalendarsHaveNoOffset) {
  const auto berlin = NSTimeZone::timeZoneWithName("Europe/Berlin"_ns);
  for (const double instant : {1e300, -1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
    EXPECT_EQ(berlin->secondsFromGMTForDate(at(instant)), 0);
  }
  EXPECT_EQ(berlin->secondsFromGMTForDate(nil), 0);
}

TEST(NSTimeZone, EqualByName) {
  EXPECT_TRUE(NSTimeZone::timeZoneWithName("GMT"_ns)->isEqual(NSTimeZone::timeZoneForSecondsFromGMT(0)));
  EXPECT_FALSE(NSTimeZone::timeZoneWithName("UTC"_ns)->isEqual("UTC"_ns));
}

}  // namespace
