#pragma once

#include <string>
#include <string_view>

inline namespace telvo {

// Unicode's canonical forms (Unicode Standard Annex 15), in linear time however many combining marks a text has.
// Surrogates that stand alone, carried bytes among them, stay as they are. Any thread.
namespace foundation {

std::u16string canonicallyDecomposed(std::u16string_view text);
std::u16string canonicallyComposed(std::u16string_view text);

}  // namespace foundation

}  // namespace telvo
