#include <cmath>
#include <ctime>
#include <limits>

#include <gtest/gtest.h>

#include "foundation/text/NSString.h"
#include "foundation/time/CivilTime.h"
#include "foundation/time/NSDate.h"

namespace {

using foundation::CivilTime;

std::string text(double secondsSince1970) {
  const CivilTime time = foundation::civilTimeFrom(secondsSince1970);
  std::string result;
  foundation::appendDate(result, time);
  result += 'T';
  foundation::appendTimeOfDay(result, time);
  return result;
}

TEST(CivilTime, AgreesWithTheSystemsCalendar) {
  // Steps that hit every month, weekday and hour in 3,000 years around 1970.
  for (std::int64_t seconds = -50'000'000'000; seconds < 50'000'000'000; seconds += 12'345'679) {
    const auto instant = static_cast<std::time_t>(seconds);
    std::tm expected{};
    ASSERT_TRUE(gmtime_r(&instant, &expected));
    const CivilTime time = foundation::civilTimeFrom(static_cast<double>(seconds));
    ASSERT_EQ(time.year, expected.tm_year + 1900) << seconds;
    ASSERT_EQ(time.month, static_cast<unsigned>(expected.tm_mon + 1)) << seconds;
    ASSERT_EQ(time.day, static_cast<unsigned>(expected.tm_mday)) << seconds;
    ASSERT_EQ(time.hour * 3600 + time.minute * 60 + time.second,
              static_cast<unsigned>(expected.tm_hour * 3600 + expected.tm_min * 60 + expected.tm_sec));
    ASSERT_EQ(foundation::secondsSince1970From(time), static_cast<double>(seconds));
  }
}

TEST(CivilTime, CutsFractionsOffDownward) {
  EXPECT_EQ(text(0.999), "1970-01-01T00:00:00");
  EXPECT_EQ(text(-0.001), "1969-12-31T23:59:59");
  EXPECT_EQ(text(951782400), "2000-02-29T00:00:00");
}

TEST(CivilTime, WritesYearsOfAnyLength) {
  EXPECT_EQ(text(-62167219200), "0000-01-01T00:00:00");
  EXPECT_EQ(text(-62167219201), "-0001-12-31T23:59:59");
  EXPECT_EQ(text(253402300800), "10000-01-01T00:00:00");
}

TEST(CivilTime, EveryInstantThatCanBeWrittenCanBeReadAgain) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {1e18, -1e18, 1e300, -1e300, infinity, -infinity, std::nan("")}) {
    const CivilTime time = foundation::civilTimeFrom(seconds);
    const auto again = foundation::secondsSince1970From(time);
    ASSERT_TRUE(again) << seconds;
    EXPECT_EQ(text(*again), text(seconds));
  }
}

TEST(CivilTime, RefusesDaysAndTimesThatDoNotExist) {
  EXPECT_TRUE(foundation::secondsSince1970From({2000, 2, 29, 23, 59, 59}));
  EXPECT_FALSE(foundation::secondsSince1970From({1900, 2, 29, 0, 0, 0}));
  EXPECT_FALSE(foundation::secondsSince1970From({2001, 4, 31, 0, 0, 0}));
  EXPECT_FALSE(foundation::secondsSince1970From({2001, 0, 1, 0, 0, 0}));
  EXPECT_FALSE(foundation::secondsSince1970From({2001, 13, 1, 0, 0, 0}));
  EXPECT_FALSE(foundation::secondsSince1970From({2001, 1, 0, 0, 0, 0}));
  EXPECT_FALSE(foundation::secondsSince1970From({2001, 1, 1, 24, 0, 0}));
  EXPECT_FALSE(foundation::secondsSince1970From({2001, 1, 1, 0, 60, 0}));
  EXPECT_FALSE(foundation::secondsSince1970From({2001, 1, 1, 0, 0, 60}));
  EXPECT_FALSE(foundation::secondsSince1970From({40'000'000'000, 1, 1, 0, 0, 0}));
}

TEST(CivilTime, IsWhatDatesAreDescribedBy) {
  EXPECT_EQ(NSDate::dateWithTimeIntervalSinceReferenceDate(0)->description()->UTF8String(),
            "2001-01-01 00:00:00 +0000");
  EXPECT_EQ(NSDate::dateWithTimeIntervalSince1970(-0.5)->description()->UTF8String(), "1969-12-31 23:59:59 +0000");
}

}  // namespace
