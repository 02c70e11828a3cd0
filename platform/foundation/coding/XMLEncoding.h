#pragma once

#include <optional>
#include <string>
#include <string_view>

inline namespace telvo {

// The encoding of an XML text. Any thread.
namespace foundation {

// The text as UTF-8, without its byte order mark; nothing when that is what it is already. What counts is, in this
// order, the byte order mark, zero bytes beside the first "<" (UTF-16), and the encoding that the text declares. Raises
// PropertyListFailure for an unknown encoding and for bytes that the encoding does not know.
std::optional<std::string> UTF8FromXML(std::string_view bytes);

// Whether an XML text in one of the encodings can begin with these bytes.
bool canBeginXML(std::string_view bytes);

}  // namespace foundation

}  // namespace telvo
