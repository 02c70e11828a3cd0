#pragma once

#include <string_view>

inline namespace telvo {

// What the reader and the writer of binary property lists share: the bytes that tell what an object is. The lower four
// bits of all but the first three are a size or a count.
namespace foundation {

inline constexpr std::string_view binaryPropertyListHeader = "bplist00";

enum class BinaryMarker : unsigned {
  Null = 0x00,
  False = 0x08,
  True = 0x09,
  Integer = 0x10,
  Real = 0x20,
  Date = 0x30,
  Data = 0x40,
  ASCIIText = 0x50,
  UTF16Text = 0x60,
  UID = 0x80,
  Array = 0xA0,
  Dictionary = 0xD0,
};

}  // namespace foundation

}  // namespace telvo
