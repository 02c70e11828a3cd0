#include <cmath>
#include <ctime>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"
#include "foundation/time/NSTimeZone.h"
#include "testing/EnvironmentVariable.h"

namespace {

constexpr NSTimeInterval winter2024 = 1705320000.0;  // 2024-01-15 12:00 UTC, since 1970
constexpr NSTimeInterval summer2024 = 1721044800.0;  // 2024-07-15 12:00 UTC

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

TEST(NSTimeZone, VariableMayHoldARule) {
  const EnvironmentVariable zone("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
  const auto found = NSTimeZone::defaultTimeZone();
  EXPECT_EQ(found->secondsFromGMTForDate(at(winter2024)), 3600);
  EXPECT_EQ(found->secondsFromGMTForDate(at(summer2024)), 7200);

  setenv("TZ", "<+0545>-5:45", 1);
  EXPECT_EQ(defaultName(), "GMT+0545");
  // Signs of rules point the other way: three hours west of Greenwich.
  setenv("TZ", "GMT+3", 1);
  EXPECT_EQ(NSTimeZone::defaultTimeZone()->secondsFromGMT(), -10800);
}

TEST(NSTimeZone, RuleThatDeclaresWinterTheExceptionKeepsItsClock) {
  const EnvironmentVariable zone("TZ", "IST-1GMT0,M10.5.0,M3.5.0/1");
  const auto found = NSTimeZone::defaultTimeZone();
  EXPECT_EQ(found->secondsFromGMTForDate(at(winter2024)), 0);
  EXPECT_EQ(found->secondsFromGMTForDate(at(summer2024)), 3600);
}

TEST(NSTimeZone, RuleThatNoPlaceKeepsGivesItsStandardTime) {
  const EnvironmentVariable zone("TZ", "AAA-1:07BBB,M3.2.0,M11.1.0");
  EXPECT_EQ(defaultName(), "GMT+0107");
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
