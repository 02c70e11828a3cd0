#pragma once

#include <optional>
#include <string>
#include <string_view>

inline namespace telvo {

// The field instruction that makes its result a link. Any thread.
namespace appkit {

// The address in an instruction such as `HYPERLINK "http://host/" \l "part"`, its bookmark joined by "#"; nothing when
// it is none.
std::optional<std::u16string> addressFromInstruction(std::u16string_view instruction);

std::u16string instructionForAddress(std::u16string_view address);

}  // namespace appkit

}  // namespace telvo
