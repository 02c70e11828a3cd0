#include "foundation/time/CivilTime.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

inline namespace telvo {

namespace {

constexpr std::int64_t secondsPerDay = 86400;
constexpr unsigned secondsPerHour = 3600;
constexpr unsigned secondsPerMinute = 60;

// The calendar repeats itself every 400 years. Counting years from March puts the leap day at the end of a year, so
// that the length of the months before it no longer depends on the year.
constexpr std::int64_t yearsPerCycle = 400;
constexpr std::int64_t daysPerCycle = 146097;
constexpr std::int64_t daysFromYear0MarchTo1970 = 719468;

std::int64_t floorDivide(std::int64_t dividend, std::int64_t divisor) {
  const std::int64_t quotient = dividend / divisor;
  return quotient * divisor > dividend ? quotient - 1 : quotient;
}

constexpr unsigned dayOfYearFromMarch(unsigned monthFromMarch) { return (153 * monthFromMarch + 2) / 5; }

bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % yearsPerCycle == 0); }

unsigned daysInMonth(std::int64_t year, unsigned month) {
  constexpr std::array<unsigned, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : days[month - 1];
}

void appendTwoDigits(std::string& text, unsigned value) {
  text.push_back(static_cast<char>('0' + value / 10 % 10));
  text.push_back(static_cast<char>('0' + value % 10));
}

}  // namespace

namespace foundation {

CivilTime civilTimeFrom(double secondsSince1970) {
  constexpr double farthest = 1152921504606846976.0;  // 2^60
  const double whole = std::isnan(secondsSince1970) ? 0.0 : std::floor(secondsSince1970);
  const auto seconds = static_cast<std::int64_t>(std::clamp(whole, -farthest, farthest));
  const std::int64_t day = floorDivide(seconds, secondsPerDay);
  const auto inDay = static_cast<unsigned>(seconds - day * secondsPerDay);

  const std::int64_t sinceYear0 = day + daysFromYear0MarchTo1970;
  const std::int64_t cycle = floorDivide(sinceYear0, daysPerCycle);
  const auto dayOfCycle = static_cast<unsigned>(sinceYear0 - cycle * daysPerCycle);
  const unsigned yearOfCycle = (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / 146096) / 365;
  const unsigned dayOfYear = dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
  const unsigned monthFromMarch = (5 * dayOfYear + 2) / 153;

  CivilTime time;
  time.month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  time.year = cycle * yearsPerCycle + yearOfCycle + (time.month <= 2 ? 1 : 0);
  time.day = dayOfYear - dayOfYearFromMarch(monthFromMarch) + 1;
  time.hour = inDay / secondsPerHour;
  time.minute = inDay / secondsPerMinute % 60;
  time.second = inDay % secondsPerMinute;
  return time;
}

std::optional<double> secondsSince1970From(const CivilTime& time) {
  constexpr std::int64_t farthestYear = 37'000'000'000;
  if (time.year < -farthestYear || time.year > farthestYear) return std::nullopt;
  if (time.month < 1 || time.month > 12 || time.day < 1 || time.day > daysInMonth(time.year, time.month)) {
    return std::nullopt;
  }
  if (time.hour > 23 || time.minute > 59 || time.second > 59) return std::nullopt;

  const std::int64_t year = time.year - (time.month <= 2 ? 1 : 0);
  const std::int64_t cycle = floorDivide(year, yearsPerCycle);
  const std::int64_t yearOfCycle = year - cycle * yearsPerCycle;
  const unsigned monthFromMarch = time.month > 2 ? time.month - 3 : time.month + 9;
  const unsigned dayOfYear = dayOfYearFromMarch(monthFromMarch) + time.day - 1;
  const std::int64_t dayOfCycle = yearOfCycle * 365 + yearOfCycle / 4 - yearOfCycle / 100 + dayOfYear;
  const std::int64_t day = cycle * daysPerCycle + dayOfCycle - daysFromYear0MarchTo1970;
  const std::int64_t inDay = time.hour * secondsPerHour + time.minute * secondsPerMinute + time.second;
  return static_cast<double>(day * secondsPerDay + inDay);
}

void appendDate(std::string& text, const CivilTime& time) {
  if (time.year >= 0 && time.year <= 9999) {
    appendTwoDigits(text, static_cast<unsigned>(time.year / 100));
    appendTwoDigits(text, static_cast<unsigned>(time.year % 100));
  } else {
    if (time.year < 0) text.push_back('-');
    const std::string digits = std::to_string(std::abs(time.year));
    if (digits.size() < 4) text.append(4 - digits.size(), '0');
    text.append(digits);
  }
  text.push_back('-');
  appendTwoDigits(text, time.month);
  text.push_back('-');
  appendTwoDigits(text, time.day);
}

void appendTimeOfDay(std::string& text, const CivilTime& time) {
  appendTwoDigits(text, time.hour);
  text.push_back(':');
  appendTwoDigits(text, time.minute);
  text.push_back(':');
  appendTwoDigits(text, time.second);
}

}  // namespace foundation

}  // namespace telvo
