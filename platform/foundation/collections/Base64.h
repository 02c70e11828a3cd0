#pragma once

#include <optional>
#include <string>
#include <string_view>

inline namespace telvo {

// Base64 with the standard alphabet and padding (RFC 4648, section 4). Any thread.
namespace foundation {

std::string base64FromBytes(std::string_view bytes);

enum class UnknownCharacters { AreRefused, ArePassedOver };

// Nothing when the length is wrong, padding is missing or out of place, or an unknown character is refused.
std::optional<std::string> bytesFromBase64(std::u16string_view text, UnknownCharacters unknownCharacters);

}  // namespace foundation

}  // namespace telvo
