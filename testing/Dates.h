#pragma once

#include <chrono>
#include <ostream>

#include <gtest/gtest.h>

#include "foundation/text/NSString.h"
#include "foundation/time/NSDate.h"

// The instant at which clocks in GMT show that date of the Gregorian calendar, extended to all times, counted by the
// standard library. Years before 1 are 0 (1 BC), -1 and so on.
inline Ref<NSDate> universalTime(int year, unsigned month, unsigned day, int hour = 0, int minute = 0, int second = 0) {
  using namespace std::chrono;
  const sys_days midnight = year_month_day(std::chrono::year(year), std::chrono::month(month), std::chrono::day(day));
  const auto days = static_cast<double>(midnight.time_since_epoch().count());
  return NSDate::dateWithTimeIntervalSince1970(days * 86400.0 + hour * 3600.0 + minute * 60.0 + second);
}

inline bool isSameDate(const Ref<NSDate>& left, const Ref<NSDate>& right) { return NSEqualObjects(left, right); }

#define EXPECT_SAME_DATE(left, right) EXPECT_PRED2(isSameDate, left, right)

inline void PrintTo(const Ref<NSDate>& date, std::ostream* stream) {
  *stream << (date ? date->description()->UTF8String() : std::string("nil"));
}
