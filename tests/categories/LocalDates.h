#pragma once

#include <limits>
#include <string>

#include "categories/NSDate+Telvo.h"
#include "foundation/Foundation.h"
#include "testing/Dates.h"
#include "testing/PlainSpaces.h"

// Dates in the default time zone, and how they are written.
namespace dates {

inline constexpr NSInteger farthestInteger = std::numeric_limits<NSInteger>::min();

inline std::string utf8(const Ref<NSString>& text) { return text ? withPlainSpaces(text->UTF8String()) : "nil"; }

inline Ref<NSString> text(const char* utf8Text) { return NSString::stringWithUTF8String(utf8Text); }

inline Ref<NSDate> localTime(NSInteger year, NSInteger month, NSInteger day, NSInteger hour = 0, NSInteger minute = 0,
                             NSInteger second = 0) {
  return telvo_dateWithYear_month_day_hour_minute_second_localTimeZone(year, month, day, hour, minute, second, true);
}

// "2024-03-05 14:07:09" in the default time zone.
inline std::string localText(const Ref<NSDate>& date) {
  return utf8(telvo_stringWithFormat(date, "yyyy-MM-dd HH:mm:ss"_ns));
}

inline Ref<NSDate> instant(NSTimeInterval since1970) { return NSDate::dateWithTimeIntervalSince1970(since1970); }

}  // namespace dates
