#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

inline namespace telvo {

// Kinds of script, each of which an RTF document may give a font, a size, bold and italic of its own ("associated
// character properties"). Any thread.
namespace appkit {

enum class RTFScript : std::uint8_t { Western, EastAsian, Complex };

// The kind that a unit of UTF-16 belongs to; nothing for digits, punctuation, spaces, and the second half of a pair,
// which go with what is before them.
std::optional<RTFScript> scriptOfUnit(char16_t unit);

bool containsScript(std::u16string_view units, RTFScript script);

// Cuts off and returns the beginning of the units that is of one kind of script. `script` is the kind of what came
// before, and afterwards that of the beginning.
std::u16string_view takeScriptRun(std::u16string_view& units, RTFScript& script);

}  // namespace appkit

}  // namespace telvo
