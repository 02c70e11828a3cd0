#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

inline namespace telvo {

// Dates of the civil calendar, UTC, proleptic Gregorian and without leap seconds, as property lists count. Any thread.
namespace foundation {

struct CivilTime {
  std::int64_t year = 1970;
  unsigned month = 1;
  unsigned day = 1;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
};

// Whole seconds since 1970; the fraction is cut off downward, so that -0.5 falls into the second before. Seconds that
// lie further away than 2^60 (36 thousand million years) are moved there, not-a-number to 1970.
CivilTime civilTimeFrom(double secondsSince1970);

// Nothing for a day or time that does not exist (24:00:00 and leap seconds included) or a year further away than
// 37 thousand million years.
std::optional<double> secondsSince1970From(const CivilTime& time);

// "2001-02-03" and "04:05:06"; a year takes at least four digits, one before year 0 a minus sign.
void appendDate(std::string& text, const CivilTime& time);
void appendTimeOfDay(std::string& text, const CivilTime& time);

}  // namespace foundation

}  // namespace telvo
