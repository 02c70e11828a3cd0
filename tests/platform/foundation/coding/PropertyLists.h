#pragma once

#include <limits>
#include <string>
#include <utility>

#include "foundation/Foundation.h"
#include "foundation/coding/NSPropertyList.h"
#include "foundation/coding/NSPropertyListUID.h"

// Property lists for tests, and shorter calls for writing and reading them.

inline constexpr NSPropertyListFormat XML = NSPropertyListXMLFormat_v1_0;
inline constexpr NSPropertyListFormat binary = NSPropertyListBinaryFormat_v1_0;

inline Ref<NSData> encoded(const id& list, NSPropertyListFormat format) {
  return NSPropertyListSerialization::dataWithPropertyList_format_options_error(list, format, 0, nullptr);
}

inline id decoded(const Ref<NSData>& data, NSUInteger options = NSPropertyListImmutable) {
  return NSPropertyListSerialization::propertyListWithData_options_format_error(data, options, nullptr, nullptr);
}

inline id decodedText(const std::string& text) { return decoded(NSData::dataWithBytes(text)); }

inline id decodedElement(const std::string& element) {
  return decodedText("<plist version=\"1.0\">" + element + "</plist>");
}

inline id again(const id& list, NSPropertyListFormat format) { return decoded(encoded(list, format)); }

inline Ref<NSString> textOf(std::u16string units) { return NSString::stringWithUnits(std::move(units)); }

inline Ref<NSDictionary> everyType() {
  const auto number = [](auto value) { return NSNumber::numberWithInteger(value); };
  std::string allBytes;
  for (int i = 0; i < 256; ++i) allBytes.push_back(static_cast<char>(i));
  return NSDictionary::dictionary({
      {"text"_ns, "a < b & c > d \"e\" 'f' \t \n é 漢 \xF0\x9F\x98\x80"_ns},
      {"carriage return"_ns, "a\r\nb\rc"_ns},
      {"spaces"_ns, "  a  "_ns},
      {""_ns, ""_ns},
      {"long text"_ns, NSString::stringWithUTF8String(std::string(70000, 'x'))},
      {"true"_ns, NSNumber::numberWithBool(true)},
      {"false"_ns, NSNumber::numberWithBool(false)},
      {"zero"_ns, number(0)},
      {"one"_ns, number(1)},
      {"minus"_ns, number(-1)},
      {"255"_ns, number(255)},
      {"65536"_ns, number(65536)},
      {"lowest"_ns, number(std::numeric_limits<NSInteger>::min())},
      {"highest"_ns, number(NSIntegerMax)},
      {"unsigned"_ns, NSNumber::numberWithUnsignedInteger(NSUIntegerMax)},
      {"real"_ns, NSNumber::numberWithDouble(0.1)},
      {"tiny"_ns, NSNumber::numberWithDouble(std::numeric_limits<double>::denorm_min())},
      {"infinite"_ns, NSNumber::numberWithDouble(-std::numeric_limits<double>::infinity())},
      {"date"_ns, NSDate::dateWithTimeIntervalSinceReferenceDate(-12345678901.0)},
      {"data"_ns, NSData::dataWithBytes(allBytes)},
      {"no data"_ns, NSData::data()},
      {"array"_ns, NSArray::arrayWithObjects({"a"_ns, NSArray::array(), NSDictionary::dictionary()})},
      {"uid"_ns, NSPropertyListUID::uidWithValue(70000)},
  });
}
