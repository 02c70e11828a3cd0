#pragma once

#include <optional>
#include <string>
#include <string_view>

inline namespace telvo {

// Base64 with the standard alphabet and padding (RFC 4648, section 4). Any thread.
namespace foundation {

std::string base64FromBytes(std::string_view bytes);

// Nothing when the length is wrong, padding is missing or out of place, or a character is unknown and not to be
// ignored.
std::optional<std::string> bytesFromBase64(std::u16string_view text, bool ignoreUnknownCharacters);

}  // namespace foundation

}  // namespace telvo
