#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "foundation/text/NSString.h"
#include "foundation/time/NSDateComponentsFormatter.h"
#include "testing/EnvironmentVariable.h"
#include "testing/PlainSpaces.h"

namespace {

constexpr NSTimeInterval minute = 60.0;
constexpr NSTimeInterval hour = 3600.0;
constexpr NSTimeInterval day = 86400.0;

constexpr auto positional = NSDateComponentsFormatterUnitsStylePositional;
constexpr auto abbreviated = NSDateComponentsFormatterUnitsStyleAbbreviated;
constexpr auto shortStyle = NSDateComponentsFormatterUnitsStyleShort;
constexpr auto full = NSDateComponentsFormatterUnitsStyleFull;
constexpr auto spellOut = NSDateComponentsFormatterUnitsStyleSpellOut;
constexpr auto brief = NSDateComponentsFormatterUnitsStyleBrief;

constexpr NSUInteger dropLeading = NSDateComponentsFormatterZeroFormattingBehaviorDropLeading;
constexpr NSUInteger dropMiddle = NSDateComponentsFormatterZeroFormattingBehaviorDropMiddle;
constexpr NSUInteger dropTrailing = NSDateComponentsFormatterZeroFormattingBehaviorDropTrailing;
constexpr NSUInteger dropAll = NSDateComponentsFormatterZeroFormattingBehaviorDropAll;
constexpr NSUInteger none = NSDateComponentsFormatterZeroFormattingBehaviorNone;

std::string utf8(const Ref<NSString>& text) { return text ? withPlainSpaces(text->UTF8String()) : "nil"; }

// In the language of LC_ALL.
std::string written(NSDateComponentsFormatterUnitsStyle style, NSTimeInterval interval) {
  const auto formatter = make<NSDateComponentsFormatter>();
  formatter->setUnitsStyle(style);
  return utf8(formatter->stringFromTimeInterval(interval));
}

struct Settings {
  NSDateComponentsFormatterUnitsStyle style = full;
  NSUInteger units = 0;
  NSInteger maximum = 0;
  NSUInteger zeros = NSDateComponentsFormatterZeroFormattingBehaviorDefault;
};

std::string english(const Settings& settings, NSTimeInterval interval) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  const auto formatter = make<NSDateComponentsFormatter>();
  formatter->setUnitsStyle(settings.style);
  formatter->setAllowedUnits(settings.units);
  formatter->setMaximumUnitCount(settings.maximum);
  formatter->setZeroFormattingBehavior(settings.zeros);
  return utf8(formatter->stringFromTimeInterval(interval));
}

TEST(NSDateComponentsFormatter, NewFormatterIsPositional) {
  const auto formatter = make<NSDateComponentsFormatter>();
  EXPECT_EQ(formatter->unitsStyle(), positional);
  EXPECT_EQ(formatter->allowedUnits(), 0U);
  EXPECT_EQ(formatter->maximumUnitCount(), 0);
  EXPECT_EQ(formatter->zeroFormattingBehavior(), NSUInteger{NSDateComponentsFormatterZeroFormattingBehaviorDefault});
}

TEST(NSDateComponentsFormatter, StylesInEnglish) {
  const EnvironmentVariable language("LC_ALL", "en_US.UTF-8");
  EXPECT_EQ(written(positional, 3661.0), "1:01:01");
  EXPECT_EQ(written(abbreviated, 3661.0), "1h 1m 1s");
  EXPECT_EQ(written(shortStyle, 3661.0), "1 hr, 1 min, 1 sec");
  EXPECT_EQ(written(full, 3661.0), "1 hour, 1 minute, 1 second");
  EXPECT_EQ(written(spellOut, 3661.0), "one hour, one minute, one second");
  EXPECT_EQ(written(brief, 3661.0), "1hr 1min 1sec");
  EXPECT_EQ(written(positional, 90061.0), "1d 1:01:01");
  EXPECT_EQ(written(abbreviated, 90061.0), "1d 1h 1m 1s");
  EXPECT_EQ(written(shortStyle, 90061.0), "1 day, 1 hr, 1 min, 1 sec");
  EXPECT_EQ(written(full, 90061.0), "1 day, 1 hour, 1 minute, 1 second");
  EXPECT_EQ(written(spellOut, 90061.0), "one day, one hour, one minute, one second");
  EXPECT_EQ(written(brief, 90061.0), "1day 1hr 1min 1sec");
}

TEST(NSDateComponentsFormatter, StylesInGerman) {
  const EnvironmentVariable language("LC_ALL", "de_DE.UTF-8");
  EXPECT_EQ(written(positional, 90061.0), "1 T 1:01:01");
  EXPECT_EQ(written(abbreviated, 90061.0), "1 T, 1 Std., 1 Min. und 1 Sek.");
  EXPECT_EQ(written(shortStyle, 90061.0), "1 Tg., 1 Std., 1 Min. und 1 Sek.");
  EXPECT_EQ(written(full, 90061.0), "1 Tag, 1 Stunde, 1 Minute und 1 Sekunde");
  EXPECT_EQ(written(spellOut, 90061.0), "ein Tag, eine Stunde, eine Minute und eine Sekunde");
  EXPECT_EQ(written(brief, 90061.0), "1Tg., 1Std., 1Min. und 1Sek.");
  EXPECT_EQ(written(full, 2.0 * 90061.0), "2 Tage, 2 Stunden, 2 Minuten und 2 Sekunden");
  EXPECT_EQ(written(spellOut, 59.0), "neunundfünfzig Sekunden");
}

TEST(NSDateComponentsFormatter, StylesInFrench) {
  const EnvironmentVariable language("LC_ALL", "fr_FR.UTF-8");
  EXPECT_EQ(written(positional, 90061.0), "1j 1:01:01");
  EXPECT_EQ(written(abbreviated, 90061.0), "1j 1h 1min 1s");
  EXPECT_EQ(written(full, 90061.0), "1 jour, 1 heure, 1 minute et 1 seconde");
  EXPECT_EQ(written(spellOut, 90061.0), "un jour, une heure, une minute et une seconde");
  EXPECT_EQ(written(brief, 90061.0), "1j 1h 1min 1s");
  EXPECT_EQ(written(full, 2.0 * 90061.0), "2 jours, 2 heures, 2 minutes et 2 secondes");
  EXPECT_EQ(written(full, 0.0), "0 seconde");
}

TEST(NSDateComponentsFormatter, StylesInJapanese) {
  const EnvironmentVariable language("LC_ALL", "ja_JP.UTF-8");
  EXPECT_EQ(written(positional, 90061.0), "1d 1:01:01");
  EXPECT_EQ(written(abbreviated, 90061.0), "1d1h1m1s");
  EXPECT_EQ(written(shortStyle, 90061.0), "1 日 1 時間 1 分 1 秒");
  EXPECT_EQ(written(full, 90061.0), "1 日 1 時間 1 分 1 秒");
  EXPECT_EQ(written(spellOut, 90061.0), "一日 一時間 一分 一秒");
  EXPECT_EQ(written(brief, 90061.0), "1日1時間1分1秒");
}

TEST(NSDateComponentsFormatter, NumberWordsTakeTheGenderOfTheUnit) {
  const EnvironmentVariable language("LC_ALL", "sv_SE.UTF-8");
  EXPECT_EQ(written(spellOut, 90061.0), "ett dygn, en timme, en minut, en sekund");
  setenv("LC_ALL", "ru_RU.UTF-8", 1);
  EXPECT_EQ(written(spellOut, 2.0 * 90061.0), "два дня два часа две минуты две секунды");
  setenv("LC_ALL", "es_ES.UTF-8", 1);
  EXPECT_EQ(written(spellOut, 90061.0), "un día, una hora, un minuto y un segundo");
}

TEST(NSDateComponentsFormatter, LanguagesHaveTheirOwnDigitsAndSeparators) {
  const EnvironmentVariable language("LC_ALL", "da_DK.UTF-8");
  EXPECT_EQ(written(positional, 3661.0), "1.01.01");
  setenv("LC_ALL", "ar_EG.UTF-8", 1);
  EXPECT_EQ(written(positional, 3661.0), "١:٠١:٠١");
  EXPECT_EQ(written(full, 3.0), "٣ ثوان");
}

TEST(NSDateComponentsFormatter, WordThatImpliesItsNumberCanBeNegative) {
  const EnvironmentVariable language("LC_ALL", "ar_EG.UTF-8");
  const std::string oneHour = written(full, hour);
  EXPECT_EQ(oneHour, "ساعة");
  EXPECT_NE(written(full, -hour), oneHour);
  EXPECT_NE(written(spellOut, -hour), oneHour);
}

TEST(NSDateComponentsFormatter, UnitsFromYearsToSeconds) {
  EXPECT_EQ(english({}, 365.0 * day), "1 year");
  EXPECT_EQ(english({}, 365.0 * day + 40.0 * day + 3661.0),
            "1 year, 1 month, 1 week, 2 days, 1 hour, 1 minute, 1 second");
  EXPECT_EQ(english({}, 14.0 * day), "2 weeks");
  EXPECT_EQ(english({}, 3650.0 * day), "9 years, 11 months, 4 weeks, 1 day");
}

TEST(NSDateComponentsFormatter, SingularAndPlural) {
  EXPECT_EQ(english({}, 1.0), "1 second");
  EXPECT_EQ(english({}, 2.0), "2 seconds");
  EXPECT_EQ(english({}, 0.0), "0 seconds");
  EXPECT_EQ(english({.style = shortStyle}, 2.0 * (day + hour)), "2 days, 2 hr");
  EXPECT_EQ(english({.style = spellOut}, 21.0 * minute), "twenty-one minutes");
}

TEST(NSDateComponentsFormatter, MonthsAreNotTakenForMinutes) {
  EXPECT_EQ(english({.style = abbreviated}, 31.0 * day + minute), "1mth 1m");
}

TEST(NSDateComponentsFormatter, MaximumUnitCountRoundsToTheLastUnit) {
  EXPECT_EQ(english({.maximum = 1}, 90061.0), "1 day");
  EXPECT_EQ(english({.maximum = 2}, 90061.0), "1 day, 1 hour");
  EXPECT_EQ(english({.maximum = 4}, 90061.0), "1 day, 1 hour, 1 minute, 1 second");
  EXPECT_EQ(english({.maximum = 9}, 90061.0), "1 day, 1 hour, 1 minute, 1 second");
  EXPECT_EQ(english({.maximum = 2}, hour + 10.0 * minute + 30.0), "1 hour, 10 minutes");
  EXPECT_EQ(english({.maximum = 2}, hour + 10.0 * minute + 31.0), "1 hour, 11 minutes");
  EXPECT_EQ(english({.maximum = 1}, 59.0 * minute + 31.0), "1 hour");
  EXPECT_EQ(english({.maximum = 1}, 23.0 * hour + 45.0 * minute), "1 day");
  EXPECT_EQ(english({.maximum = -3}, 3661.0), "1 hour, 1 minute, 1 second");
}

TEST(NSDateComponentsFormatter, FractionsOfASecondAreRounded) {
  EXPECT_EQ(english({}, 59.6), "1 minute");
  EXPECT_EQ(english({}, 59.4), "59 seconds");
  EXPECT_EQ(english({}, 0.3), "0 seconds");
}

TEST(NSDateComponentsFormatter, AllowedUnitsTakeOverWhatLargerOnesWouldHold) {
  constexpr NSUInteger time = NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond;
  EXPECT_EQ(english({.units = time}, 90061.0), "25 hours, 1 minute, 1 second");
  EXPECT_EQ(english({.style = positional, .units = time}, 90061.0), "25:01:01");
  EXPECT_EQ(english({.units = NSCalendarUnitSecond}, 3661.0), "3,661 seconds");
  EXPECT_EQ(english({.units = NSCalendarUnitHour | NSCalendarUnitMinute}, 3659.0), "1 hour, 1 minute");
  EXPECT_EQ(english({.units = NSCalendarUnitMinute}, 20.0), "0 minutes");
  EXPECT_EQ(english({.units = NSCalendarUnitEra}, 61.0), "1 minute, 1 second");
}

TEST(NSDateComponentsFormatter, ZerosAreDroppedAsAskedFor) {
  constexpr NSUInteger units = NSCalendarUnitDay | NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond;
  const NSTimeInterval withZeros = 2.0 * hour;
  EXPECT_EQ(english({.units = units, .zeros = none}, withZeros), "0 days, 2 hours, 0 minutes, 0 seconds");
  EXPECT_EQ(english({.units = units, .zeros = dropLeading}, withZeros), "2 hours, 0 minutes, 0 seconds");
  EXPECT_EQ(english({.units = units, .zeros = dropLeading | dropMiddle}, withZeros), "2 hours, 0 minutes, 0 seconds");
  EXPECT_EQ(english({.units = units, .zeros = dropTrailing}, withZeros), "0 days, 2 hours");
  EXPECT_EQ(english({.units = units, .zeros = dropAll}, withZeros), "2 hours");
  EXPECT_EQ(english({.units = units}, withZeros), "2 hours");
  EXPECT_EQ(english({.units = units, .zeros = dropLeading}, day + 1.0), "1 day, 0 hours, 0 minutes, 1 second");
  EXPECT_EQ(english({.units = units, .zeros = dropMiddle}, day + 1.0), "1 day, 1 second");
  EXPECT_EQ(english({.units = units, .zeros = none}, 0.0), "0 days, 0 hours, 0 minutes, 0 seconds");
  EXPECT_EQ(english({.units = units, .zeros = dropMiddle}, 0.0), "0 days, 0 hours, 0 minutes, 0 seconds");
  EXPECT_EQ(english({.units = units, .zeros = dropAll}, 0.0), "0 seconds");
  EXPECT_EQ(english({.maximum = 2, .zeros = dropLeading | dropMiddle}, hour), "1 hour, 0 minutes");
}

TEST(NSDateComponentsFormatter, PositionalTextStaysUnambiguous) {
  EXPECT_EQ(english({.style = positional}, 59.0), "59");
  EXPECT_EQ(english({.style = positional}, 0.0), "0");
  EXPECT_EQ(english({.style = positional, .zeros = dropAll}, minute), "1:00");
  EXPECT_EQ(english({.style = positional, .zeros = dropAll}, hour + 1.0), "1:00:01");
  EXPECT_EQ(english({.style = positional, .zeros = dropAll}, day), "1d");
  EXPECT_EQ(english({.style = positional, .zeros = dropLeading | dropMiddle}, day), "1d 0:00:00");
  EXPECT_EQ(english({.style = positional, .zeros = dropAll}, day + 1.0), "1d 0:00:01");
  EXPECT_EQ(english({.style = positional, .maximum = 1}, 2.0 * hour), "2h");
  EXPECT_EQ(english({.style = positional, .maximum = 2}, 90061.0), "1d 1h");
  EXPECT_EQ(english({.style = positional, .maximum = 2}, 3661.0), "1:01");
  EXPECT_EQ(english({.style = positional, .units = NSCalendarUnitHour | NSCalendarUnitSecond}, 3661.0), "1h 61s");
}

TEST(NSDateComponentsFormatter, NegativeSpansHaveOneSign) {
  EXPECT_EQ(english({}, -3661.0), "-1 hour, 1 minute, 1 second");
  EXPECT_EQ(english({.style = positional}, -3661.0), "-1:01:01");
  EXPECT_EQ(english({.style = positional}, -90061.0), "-1d 1:01:01");
  EXPECT_EQ(english({.style = positional}, -9.0), "-9");
  EXPECT_EQ(english({.style = spellOut}, -61.0), "minus one minute, one second");
  EXPECT_EQ(english({.style = positional, .units = NSCalendarUnitMinute | NSCalendarUnitSecond, .zeros = none}, -9.0),
            "-0:09");
  EXPECT_EQ(english({}, -0.2), "0 seconds");
}

TEST(NSDateComponentsFormatter, UnknownStylesArePositional) {
  EXPECT_EQ(english({.style = static_cast<NSDateComponentsFormatterUnitsStyle>(6)}, 3661.0), "1:01:01");
  EXPECT_EQ(english({.style = static_cast<NSDateComponentsFormatterUnitsStyle>(-1)}, 3661.0), "1:01:01");
}

TEST(NSDateComponentsFormatter, SpansBeyondAllCalendarsGiveNil) {
  for (const double interval : {1e14, -1e14, 1e300, std::numeric_limits<double>::infinity(), std::nan("")}) {
    EXPECT_EQ(english({}, interval), "nil");
  }
}

}  // namespace
