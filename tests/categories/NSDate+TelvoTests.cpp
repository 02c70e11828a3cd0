#include <cmath>
#include <thread>

#include <gtest/gtest.h>

#include "categories/NSDate+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/Dates.h"
#include "testing/EnvironmentVariable.h"
#include "tests/categories/LocalDates.h"

namespace {

using namespace dates;

// ---- Shared objects

TEST(NSDateTelvo, OneGregorianCalendarServesTheWholeProcess) {
  const auto calendar = telvo_gregorianCalendar();
  EXPECT_EQ(calendar->calendarIdentifier()->UTF8String(), "gregorian");
  EXPECT_EQ(telvo_gregorianCalendar(NSDate::date()), calendar);
  EXPECT_EQ(telvo_gregorianCalendar(nil), nil);
  Ref<NSCalendar> seenByAnotherThread;
  std::thread([&] { seenByAnotherThread = telvo_gregorianCalendar(); }).join();
  EXPECT_EQ(seenByAnotherThread, calendar);
}

TEST(NSDateTelvo, OneInternetFormatterServesTheWholeProcessInUniversalTime) {
  const EnvironmentVariable zone("TZ", "Asia/Tokyo");
  const auto formatter = telvo_internetDateFormatter();
  EXPECT_EQ(telvo_internetDateFormatter(), formatter);
  EXPECT_EQ(formatter->locale()->localeIdentifier()->UTF8String(), "en_US_POSIX");
  EXPECT_EQ(formatter->dateFormat()->UTF8String(), "yyyy-MM-dd'T'HH:mm:ss'Z'");
  // The zone set last, whatever the default was when the formatter was made and is now.
  EXPECT_EQ(formatter->timeZone()->secondsFromGMT(), 0);
  EXPECT_EQ(utf8(telvo_JSONStringValue(universalTime(2024, 3, 5, 14, 7, 9))), "2024-03-05T14:07:09Z");
}

TEST(NSDateTelvo, SharedCalendarFollowsTheDefaultZone) {
  const EnvironmentVariable zone("TZ", "Asia/Tokyo");
  EXPECT_SAME_DATE(localTime(2024, 3, 5), universalTime(2024, 3, 4, 15));
  setenv("TZ", "America/New_York", 1);
  EXPECT_SAME_DATE(localTime(2024, 3, 5), universalTime(2024, 3, 5, 5));
}

// ---- Making dates

TEST(NSDateTelvo, DatesAreMadeInTheLocalZoneOrInGMT) {
  const EnvironmentVariable zone("TZ", "Asia/Kolkata");
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2024, 3, 5, true), universalTime(2024, 3, 4, 18, 30));
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2024, 3, 5, false), universalTime(2024, 3, 5));
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(2024, 3, 5, 14, 7, 9, false),
                   universalTime(2024, 3, 5, 14, 7, 9));
}

TEST(NSDateTelvo, DatesAreGregorianWhateverTheUsersCalendar) {
  const EnvironmentVariable zone("TZ", "UTC");
  const EnvironmentVariable language("LC_ALL", "th_TH.UTF-8");
  const auto date = telvo_dateWithYear_month_day_localTimeZone(2024, 2, 29, true);
  EXPECT_SAME_DATE(date, universalTime(2024, 2, 29));
  EXPECT_EQ(telvo_year(date), 2567);
  EXPECT_EQ(utf8(telvo_stringWithFormat(date, "yyyy"_ns)), "2024");
}

TEST(NSDateTelvo, ValuesOutsideTheirRangeCarryOver) {
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2023, 14, 30, false), universalTime(2024, 3, 1));
  EXPECT_SAME_DATE(telvo_dateWithYear_month_day_localTimeZone(2024, 3, 0, false), universalTime(2024, 2, 29));
  EXPECT_EQ(telvo_dateWithYear_month_day_localTimeZone(farthestInteger, 1, 1, false), nil);
}

TEST(NSDateTelvo, DefaultFormatterReadsNothing) {
  EXPECT_EQ(telvo_dateWithString(nil), nil);
  EXPECT_EQ(telvo_dateWithString(""_ns), nil);
  EXPECT_EQ(telvo_dateWithString("2024-03-05"_ns), nil);
  EXPECT_EQ(telvo_dateWithString("3/5/24"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format("3/5/24"_ns, nil), nil);
}

TEST(NSDateTelvo, TextIsReadByAPatternInEnglish) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");
  const EnvironmentVariable language("LC_ALL", "de_DE.UTF-8");
  EXPECT_SAME_DATE(telvo_dateWithString_format("5 October 2024 14:07"_ns, "d MMMM yyyy HH:mm"_ns),
                   universalTime(2024, 10, 5, 12, 7));
  EXPECT_EQ(telvo_dateWithString_format("5 Oktober 2024"_ns, "d MMMM yyyy"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format("2024-02-30"_ns, "yyyy-MM-dd"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format(""_ns, "yyyy-MM-dd"_ns), nil);
  EXPECT_EQ(telvo_dateWithString_format(nil, "yyyy-MM-dd"_ns), nil);
}

TEST(NSDateTelvo, LocalTimeOffsetIsTheNegatedStandardOffset) {
  const EnvironmentVariable zone("TZ", "Europe/Berlin");  // whatever the season
  EXPECT_EQ(telvo_localTimeOffset(), -3600.0);
  setenv("TZ", "Europe/London", 1);
  EXPECT_EQ(telvo_localTimeOffset(), 0.0);
  EXPECT_FALSE(std::signbit(telvo_localTimeOffset()));
  setenv("TZ", "America/New_York", 1);
  EXPECT_EQ(telvo_localTimeOffset(), 18000.0);
  setenv("TZ", "Asia/Kolkata", 1);
  EXPECT_EQ(telvo_localTimeOffset(), -19800.0);
  setenv("TZ", "Pacific/Kiritimati", 1);
  EXPECT_EQ(telvo_localTimeOffset(), -50400.0);
  // Opposite seasons: one of these two has daylight saving at any time of the year.
  setenv("TZ", "Australia/Sydney", 1);
  EXPECT_EQ(telvo_localTimeOffset(), -36000.0);
}

// ---- By name

TEST(NSDateTelvo, MethodsAreCalledByName) {
  const EnvironmentVariable zone("TZ", "UTC");
  const id date = universalTime(2024, 3, 5, 14, 7, 9);
  EXPECT_EQ(utf8(as<NSString>(date->performSelector("telvo_JSONStringValue"_sel))), "2024-03-05T14:07:09Z");
  const id later = date->performSelector_withObject("telvo_dateByAddingDays:"_sel, NSNumber::numberWithInteger(2));
  EXPECT_SAME_DATE(as<NSDate>(later), universalTime(2024, 3, 7, 14, 7, 9));
  EXPECT_EQ(as<NSNumber>(date->valueForKey("telvo_hour"_ns))->integerValue(), 14);
  EXPECT_EQ(date->performSelector("telvo_gregorianCalendar"_sel), telvo_gregorianCalendar());
  EXPECT_TRUE(date->respondsToSelector("telvo_relativeStringWithStyle:maximumUnits:keepZero:defaultValue:"_sel));
}

}  // namespace
