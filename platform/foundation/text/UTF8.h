#pragma once

#include <string>
#include <string_view>

inline namespace telvo {

// Conversion between bytes and UTF-16 that loses nothing, and plain number reading. Any thread.
namespace foundation {

// UTF-8 as UTF-16. A byte that is not part of valid UTF-8 (RFC 3629) becomes the unit 0xDC00 + byte.
std::u16string unitsFromUTF8(std::string_view utf8);

// UTF-16 as UTF-8: the units U+DC80...U+DCFF that stand alone become their byte again, other unpaired surrogates
// become three bytes in the manner of UTF-8, which reads back as three bytes of no valid text.
std::string UTF8FromUnits(std::u16string_view units);

// Appends one character as UTF-8; a surrogate in the manner of UTF-8.
void appendUTF8(std::string& utf8, char32_t character);

// Whether the bytes are valid UTF-8 as a whole.
bool isUTF8(std::string_view bytes);

// A number in the form of the C language, whatever the process's locale; what is out of range becomes 0 or infinity.
double doubleFromASCII(const std::string& text);

}  // namespace foundation

}  // namespace telvo
