#pragma once

#include <string>
#include <string_view>

inline namespace telvo {

namespace appkit {

// Text for the bytes of a font of pictures: the Greek letters, operators and marks of the font that is named "Symbol",
// and the private-use characters U+F020...U+F0FF for those of every other one.
std::u16string textOfSymbols(std::string_view bytes, std::u16string_view fontName);

}  // namespace appkit

}  // namespace telvo
