#include <cmath>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "categories/NSDate+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/Dates.h"
#include "testing/EnvironmentVariable.h"
#include "tests/categories/LocalDates.h"

// What holds in every zone, on every kind of day.

namespace {

using namespace dates;

// ---- What holds in every zone, on every kind of day

class NSDateTelvoInZone : public testing::TestWithParam<const char*> {
 protected:
  // Times around both changes of the clocks of these zones, leap days, and days of remote ages.
  static std::vector<Ref<NSDate>> dates() {
    std::vector<Ref<NSDate>> dates;
    for (const auto& start : {universalTime(2018, 2, 16), universalTime(2018, 11, 2), universalTime(2024, 2, 28),
                              universalTime(2024, 3, 30), universalTime(2024, 10, 26), universalTime(1969, 12, 30),
                              universalTime(1582, 10, 12), universalTime(1500, 3, 8), universalTime(1, 1, 1),
                              universalTime(-43, 3, 13), universalTime(9999, 12, 30), universalTime(12345, 2, 27)}) {
      for (int halfHours = 0; halfHours < 5 * 48; halfHours += 5) {
        dates.push_back(start->dateByAddingTimeInterval(halfHours * 1800.0 + halfHours % 7));
      }
    }
    return dates;
  }

 private:
  EnvironmentVariable zone_{"TZ", GetParam()};
  EnvironmentVariable language_{"LC_ALL", "en_US.UTF-8"};
};

TEST_P(NSDateTelvoInZone, NoonIsTheNoonOfTheSameDay) {
  for (const auto& date : dates()) {
    const auto noon = telvo_dateAsDateWithoutTime(date);
    EXPECT_EQ(localText(noon), localText(date).substr(0, localText(date).size() - 8) + "12:00:00");
    EXPECT_EQ(telvo_dayOfYear(noon), telvo_dayOfYear(date));
    EXPECT_FALSE(telvo_includesTime(noon));
    EXPECT_EQ(telvo_includesTime(date), !isSameDate(date, noon));
    EXPECT_SAME_DATE(telvo_dateWithTime(noon, date), date);
  }
}

// The clock of the C library, an independent witness, agrees; its calendar has always been the Gregorian one.
TEST_P(NSDateTelvoInZone, ComponentsAreWhatTheSystemsClockShows) {
  tzset();
  for (const auto& date : dates()) {
    const auto seconds = static_cast<std::time_t>(std::floor(date->timeIntervalSince1970()));
    std::tm local{};
    ASSERT_TRUE(localtime_r(&seconds, &local));
    EXPECT_EQ(telvo_hour(date), local.tm_hour) << localText(date);
    EXPECT_EQ(telvo_minute(date), local.tm_min) << localText(date);
    EXPECT_EQ(telvo_second(date), local.tm_sec) << localText(date);
    EXPECT_EQ(telvo_weekday(date), local.tm_wday + 1) << localText(date);
    if (local.tm_year + 1900 < 1583) continue;
    EXPECT_EQ(telvo_year(date), local.tm_year + 1900);
    EXPECT_EQ(telvo_month(date), local.tm_mon + 1);
    EXPECT_EQ(telvo_day(date), local.tm_mday);
    EXPECT_EQ(telvo_dayOfYear(date), local.tm_yday + 1);
  }
}

TEST_P(NSDateTelvoInZone, DaysOfTheYearAreCountedFromItsFirst) {
  for (const auto& date : dates()) {
    const bool beforeChrist = telvo_components(date, NSCalendarUnitEra)->era() == 0;
    const auto newYearsDay = localTime(beforeChrist ? 1 - telvo_year(date) : telvo_year(date), 1, 1, 12);
    const auto noon = telvo_dateAsDateWithoutTime(date);
    EXPECT_EQ(telvo_dayOfYear(date), telvo_differenceInDaysTo(newYearsDay, noon) + 1) << localText(date);
  }
}

TEST_P(NSDateTelvoInZone, TimeOfDayKeepsItsDistanceFromNoon) {
  const auto all = dates();
  for (std::size_t index = 0; index < all.size(); ++index) {
    const auto& day = all[index];
    const auto& time = all[(index * 7 + 3) % all.size()];
    const NSTimeInterval fromNoon = time->timeIntervalSinceDate(telvo_dateAsDateWithoutTime(time));
    EXPECT_SAME_DATE(telvo_dateWithTime(day, time),
                     telvo_dateAsDateWithoutTime(day)->dateByAddingTimeInterval(fromNoon));
  }
}

TEST_P(NSDateTelvoInZone, AligningTakesNoNoticeOfTheZone) {
  for (const auto& date : dates()) {
    for (const NSInteger minutes : {1, 15, 60, 7 * 60}) {
      const auto seconds = static_cast<NSInteger>(date->timeIntervalSinceReferenceDate());
      const NSInteger remainder = seconds % (minutes * 60);
      const NSInteger aligned = seconds - remainder + (remainder > minutes * 30 ? minutes * 60 : 0);
      EXPECT_SAME_DATE(telvo_dateByAligningToMinuteIncrement(date, minutes),
                       NSDate::dateWithTimeIntervalSinceReferenceDate(static_cast<double>(aligned)));
    }
  }
}

TEST_P(NSDateTelvoInZone, TextsShowTheLocalClock) {
  for (const auto& date : dates()) {
    const auto twoDigits = [](NSInteger number) { return NSString::stringWithFormat("%02ld"_ns, number % 100); };
    const NSInteger hour = telvo_hour(date) % 12 == 0 ? 12 : telvo_hour(date) % 12;
    const std::string time = utf8(NSString::stringWithFormat("%ld:%@ %s"_ns, hour, twoDigits(telvo_minute(date)),
                                                             telvo_hour(date) < 12 ? "AM" : "PM"));
    const std::string day = utf8(
        NSString::stringWithFormat("%ld/%ld/%@"_ns, telvo_month(date), telvo_day(date), twoDigits(telvo_year(date))));
    EXPECT_EQ(utf8(telvo_descriptionWithTime(date)), time);
    EXPECT_EQ(utf8(telvo_descriptionWithShortDate(date)), day);
    EXPECT_EQ(utf8(telvo_formattedShortDateString(date)), day);
    EXPECT_EQ(utf8(telvo_descriptionWithShortDateTime(date)), day + ", " + time);
    EXPECT_EQ(utf8(telvo_formattedStringUsingDateStyle_timeStyle(date, 1, 1)), day + ", " + time);
    const auto month = telvo_stringWithFormat(date, "MMMM d, y"_ns);
    EXPECT_EQ(utf8(telvo_formattedDateString(date)).substr(0, month->length()), utf8(month));
  }
}

TEST_P(NSDateTelvoInZone, TextByAPatternIsReadAgain) {
  for (const auto& date : dates()) {
    const auto pattern = "yyyy-MM-dd HH:mm:ss xxxxx G"_ns;
    EXPECT_SAME_DATE(telvo_dateWithString_format(telvo_stringWithFormat(date, pattern), pattern), date);
    // Without the offset a repeated hour is read as its first occurrence.
    const auto local = telvo_dateWithString_format(telvo_stringWithFormat(date, "yyyy-MM-dd HH:mm:ss G"_ns),
                                                   "yyyy-MM-dd HH:mm:ss G"_ns);
    EXPECT_EQ(localText(local), localText(date));
  }
}

TEST_P(NSDateTelvoInZone, OldStyleTextIsShiftedAlikeInSummerAndWinter) {
  for (const auto& date : dates()) {
    const auto shifted = date->dateByAddingTimeInterval(telvo_localTimeOffset());
    EXPECT_EQ(utf8(telvo_oldStyleJSONStringValue(date)),
              utf8(NSString::stringWithFormat("/Date(%.0f)/"_ns, shifted->timeIntervalSince1970() * 1000.0)));
    EXPECT_SAME_DATE(telvo_dateWithJSONString(telvo_oldStyleJSONStringValue(date)), shifted);
  }
}

TEST_P(NSDateTelvoInZone, TextWithoutZIsShiftedAlikeInSummerAndWinter) {
  for (const auto& date : dates()) {
    if (telvo_components(date, NSCalendarUnitEra)->era() == 0) continue;  // the text has no era
    const auto universal = telvo_JSONStringValue(date);
    const auto local = universal->substringToIndex(universal->length() - 1);
    EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder(local, true),
                     date->dateByAddingTimeInterval(telvo_localTimeOffset()));
  }
}

TEST_P(NSDateTelvoInZone, DaysAroundTodayAreCountedAcrossEveryChangeOfTheClocks) {
  const auto today = telvo_dateWithoutTime();
  for (NSInteger offset = -400; offset <= 400; ++offset) {
    const auto noon = telvo_dateByAddingDays(today, offset);
    for (const double hours : {-9.5, 0.0, 9.5}) {
      const auto date = noon->dateByAddingTimeInterval(hours * 3600.0);
      EXPECT_EQ(telvo_isToday(date), offset == 0) << offset;
      EXPECT_EQ(telvo_isBetweenDaysBefore_daysAfter(date, 200, 100), offset >= -200 && offset <= 100) << offset;
      EXPECT_TRUE(telvo_isBetweenDaysBefore_daysAfter(date, -offset, offset)) << offset;
      EXPECT_FALSE(telvo_isBetweenDaysBefore_daysAfter(date, -offset - 1, offset - 1)) << offset;
    }
  }
}

TEST_P(NSDateTelvoInZone, DistanceFromNowIsTheSameEverywhere) {
  const auto date = NSDate::dateWithTimeIntervalSinceNow(200.0 * 86400.0 + 1800.0);  // half a year: another season
  EXPECT_EQ(utf8(telvo_relativeStringWithStyle_maximumUnits_keepZero_defaultValue(date, 3, 1, false, nil)), "7 months");
}

TEST_P(NSDateTelvoInZone, ComponentsMakeTheDateAgain) {
  for (const auto& date : dates()) {
    const bool beforeChrist = telvo_components(date, NSCalendarUnitEra)->era() == 0;
    const NSInteger year = beforeChrist ? 1 - telvo_year(date) : telvo_year(date);
    const auto made =
        localTime(year, telvo_month(date), telvo_day(date), telvo_hour(date), telvo_minute(date), telvo_second(date));
    EXPECT_EQ(localText(made), localText(date));
    // A repeated hour is made into its first occurrence.
    const NSTimeInterval later = date->timeIntervalSinceDate(made);
    EXPECT_TRUE(later == 0.0 || later == 3600.0) << localText(date);
  }
}

TEST_P(NSDateTelvoInZone, DaysAndLongerUnitsAddedAreCountedAgain) {
  for (const auto& date : dates()) {
    for (const NSInteger count : {-400, -1, 1, 30}) {
      EXPECT_EQ(telvo_differenceInDaysTo(date, telvo_dateByAddingDays(date, count)), count);
      EXPECT_EQ(telvo_differenceInWeeksTo(date, telvo_dateByAddingWeeks(date, count)), count);
      EXPECT_EQ(telvo_differenceInMonthsTo(date, telvo_dateByAddingMonths(date, count)), count);
      EXPECT_EQ(telvo_differenceInYearsTo(date, telvo_dateByAddingYears(date, count)), count);
      const auto noon = telvo_dateAsDateWithoutTime(date);
      EXPECT_FALSE(telvo_includesTime(telvo_dateByAddingDays(noon, count)));
    }
  }
}

TEST_P(NSDateTelvoInZone, HoursAndMinutesAreElapsedTime) {
  for (const auto& date : dates()) {
    EXPECT_SAME_DATE(telvo_dateByAddingHours(date, 30), date->dateByAddingTimeInterval(30.0 * 3600.0));
    EXPECT_SAME_DATE(telvo_dateByAddingMinutes(date, -2000), date->dateByAddingTimeInterval(-2000.0 * 60.0));
    EXPECT_EQ(telvo_differenceInHoursTo(date, date->dateByAddingTimeInterval(30.0 * 3600.0)), 30);
    EXPECT_EQ(telvo_differenceInMinutesTo(date, date->dateByAddingTimeInterval(-2000.0 * 60.0)), -2000);
  }
}

TEST_P(NSDateTelvoInZone, EveryDateLiesBetweenTheBoundsOfItsMonth) {
  for (const auto& date : dates()) {
    const auto start = telvo_dateOfMonthStartWithOffset(date, 0);
    const auto end = telvo_dateOfMonthEndWithOffset(date, 0);
    EXPECT_NE(start->compare(date), NSOrderedDescending);
    EXPECT_NE(end->compare(date), NSOrderedAscending);
    EXPECT_EQ(telvo_month(start), telvo_month(date));
    EXPECT_EQ(telvo_month(end), telvo_month(date));
    EXPECT_EQ(telvo_day(start), 1);
    EXPECT_NE(telvo_month(start->dateByAddingTimeInterval(-1.0)), telvo_month(date));
    EXPECT_SAME_DATE(telvo_dateOfMonthStartWithOffset(date, 1), end->dateByAddingTimeInterval(1.0));
    EXPECT_SAME_DATE(telvo_dateOfMonthEndWithOffset(date, -1), start->dateByAddingTimeInterval(-1.0));
  }
}

TEST_P(NSDateTelvoInZone, AligningToNoIncrementGivesTheStartOfTheHour) {
  for (const auto& date : dates()) {
    const auto hour = telvo_dateByAligningToMinuteIncrement(date, 0);
    EXPECT_EQ(telvo_hour(hour), telvo_hour(date));
    EXPECT_EQ(telvo_minute(hour), 0);
    EXPECT_EQ(telvo_second(hour), 0);
    const NSTimeInterval since = date->timeIntervalSinceDate(hour);
    EXPECT_TRUE(since >= 0.0 && since < 3600.0) << localText(date);
  }
}

TEST_P(NSDateTelvoInZone, JSONTextDoesNotDependOnTheZone) {
  for (const auto& date : dates()) {
    if (telvo_components(date, NSCalendarUnitEra)->era() == 0) continue;  // the text has no era
    EXPECT_SAME_DATE(telvo_dateWithJSONString_allowPlaceholder(telvo_JSONStringValue(date), true), date);
  }
}

INSTANTIATE_TEST_SUITE_P(Zones, NSDateTelvoInZone,
                         testing::Values("UTC", "Europe/Berlin", "Asia/Kolkata", "Pacific/Kiritimati",
                                         "America/Sao_Paulo"),
                         [](const testing::TestParamInfo<const char*>& zone) {
                           std::string name;
                           for (const char character : std::string(zone.param)) {
                             if (std::isalpha(static_cast<unsigned char>(character))) name += character;
                           }
                           return name;
                         });

}  // namespace
